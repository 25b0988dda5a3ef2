"""Computed columns of a pandas.DataFrame."""

from __future__ import annotations

import builtins
import math
import re
from datetime import datetime
from typing import Any, Callable, Iterable, Mapping

import pandas

from ._errors import Error, FormulaError
from ._frames import ENDINGS, Given, Input, Output
from ._notebook import Column, Notebook, Table, Type
from ._results import Problem, formula_error_of
from ._values import Value

# What check() finds that depends on the rows.
_OF_ROWS = {"failing", "no-number", "unusable-definition"}

_TYPES: dict[type, Type] = {str: "string", bool: "boolean", datetime: "date"}

_NO_NUMBER = re.compile(r'the value "(.*)" is not a number', re.DOTALL)

# In so many rows is looked, before the rest, what is wrong with the formulas, and of which types
# they are.
_FIRST_ROWS = 64


def calculate(
    frame: pandas.DataFrame,
    formulas: dict[str, str],
    *,
    attributes: Mapping[str, Any],
    formats: dict[str, str],
    definitions: dict[str, str],
    functions: dict[str, Callable[..., Any]],
    missing: str,
    errors: str,
    table_name: str,
    locale: str,
) -> pandas.DataFrame:
    if errors not in ("raise", "keep"):
        raise Error("argument", "errors", f'errors has to be "raise" or "keep", not {errors!r}')
    given = Given(frame, attributes)
    given.require(("units", "types"), formulas)
    for name in formulas:
        if name in given.labels:
            raise Error("argument", "formulas", f"the frame has a column {name!r} already")
    for name in formats:
        if name not in formulas:
            raise Error("argument", "formats", f"there is no formula for a column {name!r}")
    calculation = _Calculation(
        formulas, formats, definitions, functions, given.said["units"], missing, table_name, locale
    )
    calculation.types.update(given.said["types"])
    inputs = [given.input(name) for name in given.names() if calculation.may_read(name)]
    calculation.other_names = sorted(set(given.names()) - {each.name for each in inputs})
    rows = min(len(frame), _FIRST_ROWS)
    table = calculation.compute([each.head(rows) for each in inputs], rows)
    if errors == "raise":
        problems = table.notebook.check()
        _raise_for(each for each in problems if each.code not in _OF_ROWS)
    if rows < len(frame):
        table = calculation.compute(inputs, len(frame))
    outputs = {name: Output(table.column(name)) for name in formulas}
    if errors == "raise":
        calculation.require_success(table, outputs, inputs)
    return _append(frame, outputs, calculation, errors == "keep")


class _Calculation:
    """The formulas of new columns, and what belongs to them."""

    def __init__(
        self,
        formulas: dict[str, str],
        formats: dict[str, str],
        definitions: dict[str, str],
        functions: dict[str, Callable[..., Any]],
        units: dict[str, str],
        missing: str,
        table_name: str,
        locale: str,
    ) -> None:
        self.formulas = formulas
        self.formats = formats
        self.units = units
        # Of computed columns too, as far as they are known.
        self.types: dict[str, Type] = {}
        # Of columns that no formula mentions: they may have any content.
        self.other_names: list[str] = []
        self._definitions = definitions
        self._functions = functions
        self._missing = missing
        self._table_name = table_name
        self._locale = locale
        self._settled = True
        self._of_numbers: set[str] = set()
        self._all_formulas = "\n".join([*formulas.values(), *definitions.values()])

    def may_read(self, name: str) -> bool:
        """Whether a formula mentions a column, as [name] or as a part of [Table:name:row]."""
        mention = r"[\[:]\s*" + re.escape(name.strip()) + r"\s*[\]:]"
        return re.search(mention, self._all_formulas) is not None

    def compute(self, inputs: list[Input], rows: int) -> Table:
        """All rows. A column of numbers whose results are none gets another type, and all is done
        again, since formulas that read it may have met a missing number."""
        while True:
            table = self._empty_table(inputs)
            table.add_rows(rows)
            for each in inputs:
                each.put_into(table.column(each.name), self._missing)
            self._settled = table.notebook._settle()
            if not self._find_types(table):
                return table

    def _empty_table(self, inputs: list[Input]) -> Table:
        notebook = Notebook("Calculation", self._locale)
        for name, compute in self._functions.items():
            notebook.add_function(name, compute, pure=True)
        table = notebook.add_table(self._table_name)
        for each in inputs:
            table.add_column(each.name, type=each.type, unit=each.unit)
        for name in self.other_names:
            table.add_column(name, type="string")
        for name, formula in self.formulas.items():
            table.add_column(
                name,
                type=self.types.get(name, "number"),
                unit=self.units.get(name, ""),
                formula=formula,
                format=self.formats.get(name, ""),
            )
        for name, formula in self._definitions.items():
            table.define(name, formula)
        return table

    def _find_types(self, table: Table) -> bool:
        found = False
        for name in self.formulas:
            if name in self.types or name in self.units or name in self.formats:
                continue
            column = table.column(name)
            type = self._first_type(column)
            if type == "number" and Output(column).has_texts():
                type = "string"
            if type != "number":
                self.types[name] = type
                found = True
        return found

    def _first_type(self, column: Column) -> Type:
        """Of the first value that tells."""
        if column.name in self._of_numbers:
            return "number"
        for row in range(min(len(column), _FIRST_ROWS)):
            value = _value_or_none(column, row)
            if isinstance(value, (str, bool, datetime)):
                return _TYPES[builtins.type(value)]
            if isinstance(value, tuple) or (isinstance(value, float) and not math.isnan(value)):
                self._of_numbers.add(column.name)
                break
        return "number"

    def require_success(self, table: Table, outputs: dict[str, Output], inputs: list[Input]) -> None:
        """Raises FormulaError where a formula fails for any other reason than a missing number."""
        if not self._settled:
            _raise_for(table.notebook.check())
        missing = {self._missing, "nan", "inf", "-inf"}
        for each in inputs:
            if each.type == "number" and not each.has_numbers:
                missing.update(each.typed(self._missing))

        def is_of_missing_number(message: str) -> bool:
            match = _NO_NUMBER.fullmatch(message)
            return match is not None and match[1] in missing

        for name, output in outputs.items():
            if not output.is_error.any():
                continue
            failures = pandas.Series(output.errors(True))
            others = [each for each in failures.dropna().unique() if not is_of_missing_number(each)]
            if others:
                problems = table.notebook.check()
                _raise_for(
                    each
                    for each in problems
                    if each.code != "no-number" and not is_of_missing_number(each.message)
                )
                row = int((failures == others[0]).argmax())
                formula = self.formulas[name]
                message = f"{self._table_name}:{name}:row {row}: {others[0]}"
                raise FormulaError(message, formula=formula, column=name, row=row)


def _value_or_none(column: Column, row: int) -> Value:
    try:
        return column.evaluate(row, column.formula)
    except FormulaError:
        return None


def _raise_for(problems: Iterable[Problem]) -> None:
    found = [each for each in problems if each.severity == "error"]
    if found:
        raise formula_error_of(found)


def _append(
    frame: pandas.DataFrame,
    outputs: dict[str, Output],
    calculation: _Calculation,
    keeps_errors: bool,
) -> pandas.DataFrame:
    made = frame.copy()
    attributes: dict[str, dict[str, str]] = {"units": {}, "errors": {}, "texts": {}}
    for name, output in outputs.items():
        made[name] = output.content()
        behind = {
            "errors": output.errors(None) if keeps_errors else None,
            "texts": output.shown() if name in calculation.formats else None,
        }
        for key, content in behind.items():
            if content is None:
                continue
            label = name + ENDINGS[key]
            if label in made.columns or label in outputs:
                raise Error("argument", "formulas", f"there would be two columns {label!r}")
            made[label] = content
            attributes[key][name] = label
    attributes["units"].update(calculation.units)
    for key, told in attributes.items():
        if told:
            made.attrs[key] = {**frame.attrs.get(key, {}), **told}
    return made
