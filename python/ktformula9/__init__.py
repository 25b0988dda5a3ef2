"""Tables whose columns compute themselves, with units and significant digits.

A column of a pandas.DataFrame from others, in one line::

    import ktformula9
    frame = ktformula9.calculate(frame, {"Share": "[rate]/SUM([rate])"})

A notebook, whose cells show what they came to::

    with ktformula9.Notebook() as notebook:
        table = notebook.add_table("Reactants")
        table.add_column("Mass", unit="g")
        table.add_column("MW", unit="g/mol")
        table.add_column("Moles", unit="mmol", formula="[Mass]/[MW]")
        table.add_row("1.22", "122.12")
        notebook.recalculate()
        print(table["Moles"][0])  # 9.99 mmol

Numbers are given and told in the unit of their column; formulas compute in base units (kg, m3, mol,
kg/mol, mol/kg, kg/m3, mol/m3, m, s, Pa, K), and so do functions of your own. Rows and other places
count from 0. What can not be done raises Error and changes nothing. A formula that fails raises
nothing: its cell shows "#Error: " and the reason, and Notebook.check() tells what to do about it.

Frames need pandas; everything else works without.
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Callable, Literal, Mapping

from ._errors import Error, FormulaError
from ._library import version as _version
from ._notebook import Column, Notebook, Table, Type
from ._results import (
    Cell,
    Changed,
    Explanation,
    FunctionHelp,
    Problem,
    Recalculation,
    Step,
)
from ._values import ErrorValue, Value

if TYPE_CHECKING:
    import pandas

__all__ = [
    "Cell",
    "Changed",
    "Column",
    "Error",
    "ErrorValue",
    "Explanation",
    "FormulaError",
    "FunctionHelp",
    "Notebook",
    "Problem",
    "Recalculation",
    "Step",
    "Table",
    "Type",
    "Value",
    "calculate",
]

__version__ = _version()


def calculate(
    frame: pandas.DataFrame,
    formulas: Mapping[str, str],
    *,
    units: Mapping[str, str] | None = None,
    types: Mapping[str, Type] | None = None,
    formats: Mapping[str, str] | None = None,
    definitions: Mapping[str, str] | None = None,
    functions: Mapping[str, Callable[..., Any]] | None = None,
    missing: str = "nan",
    errors: Literal["raise", "keep"] = "raise",
    table: str = "Table",
    locale: str = "C",
) -> pandas.DataFrame:
    """A copy of the frame with computed columns behind its own::

        ktformula9.calculate(frame, {"Share": "[rate]/SUM([rate])"})
        ktformula9.calculate(
            frame,
            {"Moles": "[Mass]/[MW]", "Share": "[Moles]/[total]"},
            units={"Mass": "g", "MW": "g/mol", "Moles": "mmol"},
            definitions={"total": "SUM([Moles])"},
        )

    Formulas read columns of the frame and each other's. Numbers come out exact, as floats in their
    column's unit: without units what Python computes from the same numbers, to the last bit. A
    formula that gives texts or truth values makes a column of these.

    ``units``, ``types``, ``missing``
        as in Notebook.add_table(), for computed columns too. With a missing number nothing is
        computed: the result is NaN.
    ``formats``
        {"Share": "0.0%"}: puts how the numbers show, "12.3%", into a column "Share_text" behind.
        The numbers keep all digits.
    ``definitions``
        named formulas, computed once for all rows.
    ``functions``
        {"HALF": lambda number: number / 2}: for formulas to call, as Notebook.function() says. They
        are taken for pure ones, called once or twice for a row.
    ``errors``
        "raise": FormulaError where a formula is wrong, or fails in some row for any other reason
        than a missing number. "keep": where it fails is NaN, and what cells would show is kept in a
        column "Share_error" behind.
    ``table``
        what formulas call the table, as in "COUNT([Table])".
    ``locale``
        how formulas and texts are written: "C", or a name such as "de_DE".

    Where formulas read ranges the lower bound of what they come to is told.
    """
    from ._calculate import calculate as calculate_frame

    if not isinstance(formulas, Mapping):
        raise TypeError(f"formulas has to map names to formulas, not be a {type(formulas).__name__}")
    attributes = {"units": units, "types": types, "ranges": None}
    return calculate_frame(
        frame,
        dict(formulas),
        attributes=attributes,
        formats=dict(formats or {}),
        definitions=dict(definitions or {}),
        functions=dict(functions or {}),
        missing=missing,
        errors=errors,
        table_name=table,
        locale=locale,
    )
