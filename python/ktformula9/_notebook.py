"""Notebooks, their tables and columns."""

from __future__ import annotations

import ctypes
from array import array
from functools import lru_cache
from numbers import Real
from types import TracebackType
from typing import TYPE_CHECKING, Any, Callable, Iterable, Iterator, Literal, Sequence, TypeVar

from . import _library
from ._errors import Error, FormulaError, pointed_out
from ._library import (
    CallError,
    CellView,
    ColumnOptions,
    RecalculationView,
    address,
    ask,
    ask_int,
    ask_size,
    ask_text,
    ask_texts,
    call,
    doubles,
    encoded,
    limit_of,
    new_handle,
    place_of,
    run_of,
)
from ._results import (
    ORIGINS,
    Cell,
    Explanation,
    FunctionHelp,
    Origin,
    Problem,
    Recalculation,
    cell_of,
    explanation_of,
    function_helps_of,
    in_characters,
    problems_of,
    read_and_destroy,
    recalculation_of,
    recalculation_view_of,
)
from ._values import Function, Value, read_value

if TYPE_CHECKING:
    import pandas

Type = Literal["number", "string", "date", "boolean", "structure"]
TYPES: tuple[Type, ...] = ("number", "string", "date", "boolean", "structure")

_Function = TypeVar("_Function", bound=Callable[..., Any])


class Notebook(_library.Owner):
    """Tables whose columns compute themselves.

    What somebody types into a cell stays; every other cell of a column with a formula is computed
    by recalculate(). Edits compute nothing by themselves: make as many as you like, then
    recalculate once.

    ``locale`` is how texts and formulas are written: "C", or a name such as "de_DE".

    A notebook ends when nothing in the program means it any more, at close(), or at the end of a
    ``with``. One thread at a time may use it, different notebooks different threads.
    """

    def __init__(self, name: str = "Notebook", locale: str = "C") -> None:
        super().__init__(
            "notebook",
            new_handle("notebook_create", encoded(name, "name"), encoded(locale, "locale")),
        )
        self._locale = locale
        self._functions: list[Function] = []

    def __enter__(self) -> Notebook:
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        error: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.close()

    def close(self) -> None:
        """Ends the notebook: whatever is done with it, its tables and columns then raises Error of
        the kind "gone"."""
        if self._end.alive:
            call("notebook_destroy", self._handle)
            self._end.detach()

    @property
    def name(self) -> str:
        return ask_text("notebook_name", self._handle)

    def __repr__(self) -> str:
        return f"<ktformula9.Notebook {self.name!r}>" if self._end.alive else "<closed notebook>"

    @property
    def tables(self) -> list[Table]:
        return [self.table(name) for name in ask_texts("notebook_tables", self._handle)]

    def table(self, name: str) -> Table:
        """Raises Error when there is none of this name, as ``notebook[name]`` does."""
        return Table(self, new_handle("notebook_table", self._handle, encoded(name, "name")))

    __getitem__ = table

    def add_table(
        self,
        name: str,
        frame: pandas.DataFrame | None = None,
        *,
        units: dict[str, str] | None = None,
        types: dict[str, Type] | None = None,
        ranges: dict[str, str] | None = None,
        formulas: dict[str, str] | None = None,
        formats: dict[str, str] | None = None,
        definitions: dict[str, str] | None = None,
        missing: str = "nan",
        index: bool | None = None,
    ) -> Table:
        """Adds a table, an empty one or what a pandas.DataFrame has.

        The frame's columns become columns of the types that theirs have (see ``types`` below), with
        all cells typed in; then come those of ``formulas`` that the frame has not, whose cells are
        computed. Of a column that both have, cells with something in them are typed in, the others
        computed.

        ``units``
            of columns of numbers, {"Mass": "g"}: what the frame's numbers are in.
        ``types``
            "number", "string", "date" or "boolean", where it is not to be what the frame's column
            says. With "number", or a unit, texts are read as somebody types them: "1.22 g",
            "5 ± 1", "n.d.".
        ``ranges``
            {"Mass": "Mass_max"}: columns that have the upper bounds of others.
        ``missing``
            what missing numbers become (NaN, None, pandas.NA): a text that is no number, so that
            nothing is computed with it silently; or "" for an empty cell, which counts as 0.
        ``index``
            whether the frame's index becomes the rows' ids, by which formulas name them
            ([Reactants:Mass:A]); None for any but the plain one, 0, 1, 2, ….

        Where one of the first seven is None, it is what ``frame.attrs`` says, as Table.to_frame
        writes it: a frame from there comes back as the same table.
        """
        told = encoded(name, "name")
        if frame is None:
            return Table(self, new_handle("notebook_add_table", self._handle, told))
        from ._frames import add_frame

        return add_frame(
            self,
            name,
            frame,
            missing=missing,
            index=index,
            attributes={
                "units": units,
                "types": types,
                "ranges": ranges,
                "formulas": formulas,
                "formats": formats,
                "definitions": definitions,
            },
        )

    def function(
        self, name: str, *, help: str = "", takes_errors: bool = False, pure: bool = False
    ) -> Callable[[_Function], _Function]:
        """Makes a function of the program one that formulas can call, as a decorator::

            @notebook.function("HALF", help="HALF(number): half of the number")
            def half(number):
                return number / 2

        ``name`` has letters, digits and "_", and is known in any letter case. How many arguments
        the function takes its signature says; they are values of formulas (see Value), numbers in
        base units, and so is what it gives: a float, a tuple of two for a range, a str, a bool,
        None. What it raises becomes the error of the cell. It must not edit or recalculate the
        notebook.

        ``takes_errors``: it is called with errors (ErrorValue) and missing numbers (not-a-number)
        too; otherwise a call with one of them comes to that error by itself.

        ``pure``: its value follows from the arguments alone, so that it need not be called again
        until they change. Otherwise every round of each recalculation calls it.
        """

        def add(compute: _Function) -> _Function:
            self.add_function(name, compute, help=help, takes_errors=takes_errors, pure=pure)
            return compute

        return add

    def add_function(
        self,
        name: str,
        compute: Callable[..., Any],
        *,
        help: str = "",
        takes_errors: bool = False,
        pure: bool = False,
    ) -> None:
        """As the decorator function() does."""
        function = Function(name, compute, help, takes_errors, pure)
        call("notebook_add_function", self._handle, ctypes.byref(function.struct))
        self._functions.append(function)

    @property
    def functions(self) -> list[FunctionHelp]:
        """All that formulas may call, the language's own included."""
        made = new_handle("notebook_functions", self._handle)
        told: list[FunctionHelp] = read_and_destroy("functions", function_helps_of, made)
        return told

    def recalculate(self, rounds: int = 0) -> Recalculation:
        """Computes every cell that is to be computed, in rounds until none changes; ``rounds``
        limits them, 0 for the usual limit. Tells which cells changed."""
        made = self._running("notebook_recalculate", self._handle, limit_of(rounds, "rounds"))
        told: Recalculation = read_and_destroy("recalculation", recalculation_of, made)
        return told

    def _settle(self) -> bool:
        """Recalculates, and tells whether all cells came to rest."""
        made = self._running("notebook_recalculate", self._handle, 0)
        told: RecalculationView = read_and_destroy("recalculation", recalculation_view_of, made)
        return bool(told.settled)

    def check(self) -> list[Problem]:
        """Recalculates, and gives all problems in the order of the notebook."""
        made = self._running("notebook_check", self._handle)
        told: list[Problem] = read_and_destroy("problems", problems_of, made)
        return told

    def explain(self, cell: str, depth: int = 3) -> Explanation:
        """Why a cell shows what it shows: ``print(notebook.explain("Reactants:Moles:1"))``, with
        the row's id. To be asked after recalculate(). ``depth`` is how far to follow what cells are
        computed from."""
        told_cell, limit = encoded(cell, "cell"), limit_of(depth, "depth")
        made = self._running("notebook_explain", self._handle, told_cell, limit)
        told: Explanation = read_and_destroy("explanation", explanation_of, made)
        return told

    def undo(self) -> bool:
        """Takes the last edit back; False when there is none. Recalculate then."""
        return ask_int("notebook_undo", self._handle) != 0

    def redo(self) -> bool:
        """Does it again; False when there is none. Recalculate then."""
        return ask_int("notebook_redo", self._handle) != 0

    def forget_history(self) -> None:
        """Lets the history go, and the memory that it takes."""
        call("notebook_forget_history", self._handle)

    def _typed(self, content: str | float | None) -> str:
        """What somebody types to enter it."""
        if content is None:
            return ""
        if isinstance(content, str):
            return content
        if isinstance(content, Real):
            return repr(float(content)).replace(".", _decimal_separator(self._locale))
        raise TypeError(f"a cell takes a str or a number, not {type(content).__name__}")

    def _running(self, name: str, *arguments: Any) -> int:
        """A call that may run functions of the program; what was to interrupt one does it now."""
        try:
            return new_handle(name, *arguments)
        finally:
            for function in self._functions:
                interruption, function.interruption = function.interruption, None
                if interruption is not None:
                    raise interruption


class Table(_library.Owner):
    """A table of a notebook; notebook.table(name) finds it, notebook.add_table(name) makes one.

    Rows and other places count from 0. ``len(table)`` tells how many rows there are.
    """

    def __init__(self, notebook: Notebook, handle: int) -> None:
        super().__init__("table", handle)
        #: The notebook that it belongs to.
        self.notebook = notebook

    def __repr__(self) -> str:
        return _shown("Table", lambda: self.name)

    def __len__(self) -> int:
        return ask_size("table_row_count", self._handle)

    # A table without rows is one, too.
    def __bool__(self) -> bool:
        return True

    def __iter__(self) -> Iterator[Column]:
        return iter(self.columns)

    @property
    def name(self) -> str:
        return ask_text("table_name", self._handle)

    @property
    def columns(self) -> list[Column]:
        return [self.column(name) for name in ask_texts("table_columns", self._handle)]

    def column(self, name: str) -> Column:
        """Raises Error when there is none of this name, as ``table[name]`` does."""
        return Column(self, new_handle("table_column", self._handle, encoded(name, "name")))

    __getitem__ = column

    def add_column(
        self,
        name: str,
        *,
        type: Type = "number",
        unit: str = "",
        formula: str = "",
        format: str = "",
        formatted: bool = True,
    ) -> Column:
        """Adds a column.

        ``unit``, of numbers: "g", "mmol", "°C". ``formula`` computes the column, "" for nothing.
        ``format`` is how computed numbers are shown: a pattern such as "0.00", or "%"; "" for as
        many digits as the typed numbers have. It is the text of a cell that shows it; the number
        behind has all digits. Not ``formatted``, computed numbers are shown bare, in base units
        with 15 digits, and have no more; this is fast.
        """
        if type not in TYPES:
            raise Error("argument", "type", f"there is no type {type!r}; there are {TYPES}")
        options = ColumnOptions(
            type=TYPES.index(type),
            unit=encoded(unit, "unit"),
            formula=encoded(formula, "formula"),
            format=encoded(format, "format"),
            is_unformatted=not formatted,
        )
        told = encoded(name, "name")
        return Column(
            self, new_handle("table_add_column", self._handle, told, ctypes.byref(options))
        )

    def add_row(self, *texts: str | float | None, id: str = "") -> int:
        """Types texts or numbers into the cells of a new row, from the first column on; None and ""
        leave a cell empty. ``id`` is the name of the row, "" for its number, which counts from 1.
        Gives the row's place."""
        typed = [encoded(self.notebook._typed(text), "texts") for text in texts]
        row = ctypes.c_size_t()
        run = (ctypes.c_char_p * len(typed))(*typed)
        call("table_add_row", self._handle, run, len(typed), encoded(id, "id"), ctypes.byref(row))
        return row.value

    def add_rows(self, rows: int | Iterable[str]) -> None:
        """Empty ones: so many, whose ids are their numbers, or with these ids."""
        if isinstance(rows, int):
            call("table_add_rows", self._handle, place_of(rows, "rows"))
        else:
            ids = list(rows)
            call("table_add_rows_with_ids", self._handle, len(ids), *run_of(ids, "rows"))

    def remove_row(self, row: int) -> None:
        call("table_remove_row", self._handle, place_of(row, "row"))

    def move_row(self, row: int, place: int) -> None:
        """To the place that it has then."""
        call("table_move_row", self._handle, place_of(row, "row"), place_of(place, "place"))

    def row_id(self, row: int) -> str:
        """Formulas name rows by their ids: [Reactants:Mass:A]."""
        return ask_text("table_row_id", self._handle, place_of(row, "row"))

    @property
    def row_ids(self) -> list[str]:
        return ask_texts("table_row_ids", self._handle)

    def rename_row(self, row: int, id: str) -> None:
        call("table_rename_row", self._handle, place_of(row, "row"), encoded(id, "id"))

    def find_row(self, id: str) -> int | None:
        """The row of this id, None when there is none."""
        try:
            return ask_size("table_find_row", self._handle, encoded(id, "id"))
        except Error as error:
            if error.kind != "not found":
                raise
            return None

    def define(self, name: str, formula: str) -> None:
        """A named formula for all columns, computed once: ``define("total", "SUM([Mass])")``. An
        empty one removes it."""
        call(
            "table_set_definition",
            self._handle,
            encoded(name, "name"),
            encoded(formula, "formula"),
        )

    @property
    def definitions(self) -> dict[str, str]:
        """Names and formulas."""
        return {
            name: ask_text("table_definition", self._handle, encoded(name, "name"))
            for name in ask_texts("table_definitions", self._handle)
        }

    def set_result_format(self, identifier: str) -> None:
        """How numbers without a format are shown: "KtFormula9.DefaultFormulaFormat", which is also
        "", or "KtFormula9.MinDigitFormulaFormat"."""
        call("table_set_result_format", self._handle, encoded(identifier, "identifier"))

    def rename(self, name: str) -> None:
        """All formulas follow."""
        call("table_rename", self._handle, encoded(name, "name"))

    def move(self, place: int) -> None:
        """To the place that it has then."""
        call("table_move", self._handle, place_of(place, "place"))

    def remove(self) -> None:
        call("table_remove", self._handle)

    def to_frame(
        self,
        *,
        ranges: bool | None = None,
        errors: bool | None = None,
        texts: bool | Sequence[str] = False,
        origins: bool | None = None,
    ) -> pandas.DataFrame:
        """What all cells hold, as a pandas.DataFrame.

        Numbers are floats in their column's unit, exact; of a range its lower bound; NaN for an
        empty cell and for a text that is no number, such as "n.d." or an error. Texts and
        structures are str, truth values "boolean", dates datetime64. The index has the rows' ids,
        or is a plain one where these are 1, 2, ….

        Behind a column stand, where they are wanted:

        ``ranges``
            "Mass_max", the upper bounds; None for columns that have a range.
        ``errors``
            "Moles_error", what cells show behind "#Error: ", None where there is no error; None for
            columns that have one.
        ``texts``
            "Mass_text", what the cells show; of all columns of numbers, or those named.
        ``origins``
            "Mass_origin": "typed", "noted", "computed" or "empty"; None for columns with a formula
            in which cells are typed in.

        ``frame.attrs`` has dicts by columns: "units", "types", "formulas" and "formats", where
        there is one; and "ranges", "errors", "texts" and "origins", the names of the columns that
        stand behind. "definitions" has those of the table.
        """
        from ._frames import to_frame

        return to_frame(self, ranges=ranges, errors=errors, texts=texts, origins=origins)


class Column(_library.Owner):
    """A column of a table; table.column(name) finds it, table.add_column(name) makes one.

    ``column[row]`` is the Cell of a row, ``column[row] = "1.22 g"`` types into it, and iterating
    gives all cells. For many rows numbers(), texts(), set_numbers() and set_texts() are fast.
    """

    def __init__(self, table: Table, handle: int) -> None:
        super().__init__("column", handle)
        #: The table that it belongs to.
        self.table = table

    def __repr__(self) -> str:
        return _shown("Column", lambda: self.name)

    def __len__(self) -> int:
        return len(self.table)

    def __bool__(self) -> bool:
        return True

    def __getitem__(self, row: int) -> Cell:
        return cell_of(ask("column_get", CellView(), self._handle, place_of(row, "row")))

    def __iter__(self) -> Iterator[Cell]:
        return (self[row] for row in range(len(self)))

    def __setitem__(self, row: int, content: str | float | None) -> None:
        """Types a text, "1.22 g", "5 ± 1", "1 .. 2" or "n.d.", or a number in the column's unit; ""
        or None empties the cell, which is computed again."""
        typed = encoded(self.table.notebook._typed(content), "text")
        call("column_set_text", self._handle, place_of(row, "row"), typed)

    @property
    def name(self) -> str:
        return ask_text("column_name", self._handle)

    @property
    def type(self) -> Type:
        return TYPES[ask_int("column_type", self._handle)]

    @property
    def unit(self) -> str:
        """"" for none."""
        return ask_text("column_unit", self._handle)

    @property
    def formula(self) -> str:
        """"" for none."""
        return ask_text("column_formula", self._handle)

    @property
    def format(self) -> str:
        """"" for none."""
        return ask_text("column_format", self._handle)

    def set_formula(self, formula: str, format: str = "") -> None:
        """An empty formula removes it, with what it computed."""
        told = encoded(formula, "formula"), encoded(format, "format")
        call("column_set_formula", self._handle, *told)

    def rename(self, name: str) -> None:
        """All formulas follow."""
        call("column_rename", self._handle, encoded(name, "name"))

    def move(self, place: int) -> None:
        """To the place that it has then."""
        call("column_move", self._handle, place_of(place, "place"))

    def remove(self) -> None:
        call("column_remove", self._handle)

    def numbers(self) -> array[float]:
        """The numbers of all rows, in the column's unit: lower bounds of ranges; not-a-number for a
        text that is no number, 0 for an empty cell. numpy.asarray() takes it without copying."""
        return self.ranges()[0]

    def ranges(self) -> tuple[array[float], array[float]]:
        """The lower and the upper bounds of the numbers of all rows."""
        rows = len(self)
        bounds = array("d", bytes(8 * rows)), array("d", bytes(8 * rows))
        call("column_numbers", self._handle, 0, rows, *map(address, bounds))
        return bounds

    def texts(self) -> list[str]:
        """What the cells of all rows show."""
        return ask_texts("column_texts", self._handle)

    def origins(self) -> list[Origin]:
        """Where the contents of the cells of all rows come from."""
        return list(map(ORIGINS.__getitem__, self._bytes("column_origins")))

    def errors(self) -> list[bool]:
        """Which cells show an error."""
        return list(map(bool, self._bytes("column_errors")))

    def _bytes(self, name: str) -> array[int]:
        told = array("B", bytes(len(self)))
        call(name, self._handle, 0, len(told), address(told))
        return told

    def set_numbers(self, numbers: Iterable[float], first: int = 0, missing: str = "nan") -> None:
        """Types numbers in the column's unit into the cells from row ``first`` on, as one step for
        undo(). Not-a-number becomes ``missing``: a text that is no number, so that nothing is
        computed with it, or "" for an empty cell, which counts as 0. Fast for an array of doubles,
        such as numpy's."""
        told = doubles(numbers)
        call(
            "column_set_numbers",
            self._handle,
            place_of(first, "first"),
            len(told),
            address(told),
            encoded(missing, "missing"),
        )

    def set_ranges(
        self,
        min: Iterable[float],
        max: Iterable[float],
        first: int = 0,
        missing: str = "nan",
    ) -> None:
        """As set_numbers() does, from both bounds."""
        low, high = doubles(min), doubles(max)
        if len(low) != len(high):
            raise Error("argument", "max", "there are not as many upper bounds as lower ones")
        call(
            "column_set_ranges",
            self._handle,
            place_of(first, "first"),
            len(low),
            address(low),
            address(high),
            encoded(missing, "missing"),
        )

    def set_texts(self, texts: Sequence[str], first: int = 0) -> None:
        """Types texts into the cells from row ``first`` on, as one step for undo()."""
        place = place_of(first, "first")
        call("column_set_texts", self._handle, place, len(texts), *run_of(texts, "texts"))

    def evaluate(self, row: int, formula: str) -> Value:
        """The value of a formula as if it stood in the cell. Raises FormulaError where the formula
        raises an error."""
        place, told = place_of(row, "row"), encoded(formula, "formula")
        try:
            made = self.table.notebook._running("column_evaluate", self._handle, place, told)
        except CallError as error:
            raise _formula_error(error, formula) from None
        value: Value = read_and_destroy("value", lambda it: read_value("value_get", it), made)
        return value

    def explain(self, row: int, depth: int = 3) -> Explanation:
        """As Notebook.explain() does."""
        place, limit = place_of(row, "row"), limit_of(depth, "depth")
        made = self.table.notebook._running("column_explain", self._handle, place, limit)
        told: Explanation = read_and_destroy("explanation", explanation_of, made)
        return told


@lru_cache(maxsize=None)
def _shown(kind: str, name: Callable[[], str]) -> str:
    """For repr, which has an answer for what is gone, too."""
    try:
        return f"<ktformula9.{kind} {name()!r}>"
    except Error:
        return f"<ktformula9.{kind}, gone>"


def _decimal_separator(locale: str) -> str:
    if locale == "C":
        return "."
    column = Notebook(locale=locale).add_table("T").add_column("number")
    column.table.add_rows(1)
    column.set_numbers([0.5])
    return column[0].text[1]


def _formula_error(error: CallError, formula: str) -> FormulaError:
    place = in_characters(formula, *error.place) if error.place else (None, None)
    message = f"{error}\n{pointed_out(formula, *place)}"
    return FormulaError(message, formula=formula, start=place[0], length=place[1])
