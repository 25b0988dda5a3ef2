"""What a notebook tells of its cells, of what changed and of what is wrong."""

from __future__ import annotations

import ctypes
from dataclasses import dataclass
from typing import Any, Literal

from ._errors import FormulaError, pointed_out
from ._library import (
    ANY_NUMBER,
    CellView,
    ChangedView,
    ExplanationView,
    FunctionHelpView,
    ProblemView,
    RecalculationView,
    StepView,
    Text,
    ask,
    ask_size,
    call,
    new_handle,
)
from ._values import Value, read_value

Origin = Literal["empty", "typed", "noted", "computed"]
ORIGINS: tuple[Origin, ...] = ("empty", "typed", "noted", "computed")
SEVERITIES = ("error", "warning", "note")


@dataclass(frozen=True)
class Cell:
    """What a cell holds. As a str it is what the cell shows."""

    text: str
    #: Both bounds, in the column's unit: equal unless the number is a range; not-a-number for a
    #: text that is no number; 0 where nothing is.
    min: float
    max: float
    #: The unit that the text is in, "" for none.
    unit: str
    #: "typed" by somebody, "noted" (taken as it is), "computed", or "empty".
    origin: Origin
    #: What a computed cell shows behind "#Error: ", None where there is no error.
    error: str | None

    def __str__(self) -> str:
        return self.text


def cell_of(view: CellView) -> Cell:
    error = str(view.error) if view.is_error else None
    return Cell(
        str(view.text), view.min, view.max, str(view.unit), ORIGINS[view.origin], error
    )


@dataclass(frozen=True)
class Changed:
    """Cells of a column that changed, by their rows."""

    table: str
    column: str
    rows: list[int]


@dataclass(frozen=True)
class Recalculation:
    #: False when cells still changed in the last round; check() then tells which.
    settled: bool
    rounds: int
    #: Which cells it changed, column by column in the order of the notebook.
    changed: list[Changed]


def recalculation_view_of(handle: int) -> RecalculationView:
    return ask("recalculation_get", RecalculationView(), handle)


def recalculation_of(handle: int) -> Recalculation:
    view = recalculation_view_of(handle)
    changed = []
    for index in range(view.columns):
        told = ask("recalculation_changed", ChangedView(), handle, index)
        changed.append(Changed(str(told.table), str(told.column), told.rows[: told.row_count]))
    return Recalculation(view.settled != 0, view.rounds, changed)


@dataclass(frozen=True)
class FunctionHelp:
    """What is known of a function that formulas may call."""

    name: str
    #: The numbers of arguments that it takes; ``most`` is None for as many as there are.
    least: int
    most: int | None
    help: str


def function_helps_of(handle: int) -> list[FunctionHelp]:
    return [
        FunctionHelp(str(view.name), view.least, _unless_none(view.most), str(view.help))
        for view in _views("functions", FunctionHelpView, handle)
    ]


@dataclass(frozen=True)
class Problem:
    """What is wrong, or odd, and what may help. As a str it shows the place in the formula."""

    #: "unknown-name", "units", ...
    code: str
    #: "error", "warning" or "note".
    severity: str
    #: Where it is, "" for what does not apply. A definition has no column.
    table: str
    column: str
    definition: str
    #: The first row concerned, and how many are; None when it does not depend on rows.
    row: int | None
    rows: int | None
    #: The formula, or the format, and the place in it: ``formula[start:start + length]``.
    formula: str
    start: int | None
    length: int | None
    #: What is wrong, in a sentence without a full stop; a likely mend, or "".
    message: str
    help: str

    def __str__(self) -> str:
        names = [name for name in (self.table, self.column or self.definition) if name]
        where = ":".join(names + ([f"row {self.row}"] if self.row is not None else []))
        lines = [f"{where}: {self.message}" if where else self.message]
        if self.formula:
            lines.append(pointed_out(self.formula, self.start, self.length))
        if self.help:
            lines.append(f"  {self.help}")
        return "\n".join(lines)


def problems_of(handle: int) -> list[Problem]:
    return [_problem_of(view) for view in _views("problems", ProblemView, handle)]


def _problem_of(view: ProblemView) -> Problem:
    start, length = _unless_none(view.start), _unless_none(view.length)
    if start is not None and length is not None:
        start, length = in_characters(str(view.formula), start, length)
    return Problem(
        **_texts_in(view),
        severity=SEVERITIES[view.severity],
        row=_unless_none(view.row),
        rows=_unless_none(view.rows),
        start=start,
        length=length,
    )


def in_characters(formula: str, start: int, length: int) -> tuple[int, int]:
    """A place in bytes, in characters."""
    run = formula.encode()
    begin = len(run[:start].decode("utf-8", "replace"))
    return begin, len(run[: start + length].decode("utf-8", "replace")) - begin


def formula_error_of(problems: list[Problem]) -> FormulaError:
    """What to raise where there are problems."""
    first = problems[0]
    more = f"\n({len(problems) - 1} more: see problems)" if len(problems) > 1 else ""
    return FormulaError(
        str(first) + more,
        formula=first.formula,
        start=first.start,
        length=first.length,
        column=first.column or first.definition,
        row=first.row,
        problems=problems,
    )


@dataclass(frozen=True)
class Step:
    """An operand of a formula, or a call, with what it came to."""

    #: As the formula of the cell above has it.
    source: str
    value: Value
    #: "typed", "noted", "computed", "empty", "definition", "column" or "constant"; "" for a name
    #: that nothing answers.
    origin: str
    #: "TABLE:COLUMN:ROW" and what the cell shows, "" for what is no cell.
    cell: str
    text: str
    #: Of a computed cell or a definition.
    formula: str
    #: The cell in which its error arose, "" for no error.
    error_from: str
    steps: list[Step]
    #: How many more rows have such steps.
    more_rows: int


@dataclass(frozen=True)
class Explanation:
    """Why a cell shows what it shows. As a str it is the story, told to people in lines."""

    cell: str
    text: str
    origin: str
    formula: str
    value: Value
    #: The cell in which its error arose, "" for no error.
    error_from: str
    steps: list[Step]
    #: How the number is shown: the pattern, and the cells that decided on digits and unit; "" for
    #: what does not apply.
    pattern: str
    digits_from: str
    unit: str
    unit_from: str
    story: str

    def __str__(self) -> str:
        return self.story.rstrip("\n")


def explanation_of(handle: int) -> Explanation:
    view = ask("explanation_get", ExplanationView(), handle)
    return Explanation(
        **_texts_in(view),
        value=read_value("explanation_value", handle),
        steps=_steps("explanation_step", handle, view.steps),
    )


def _steps(name: str, handle: int, count: int) -> list[Step]:
    return [_step_of(new_handle(name, handle, index)) for index in range(count)]


def _step_of(handle: int) -> Step:
    view = ask("step_get", StepView(), handle)
    return Step(
        **_texts_in(view),
        value=read_value("step_value", handle),
        steps=_steps("step_step", handle, view.steps),
        more_rows=view.more_rows,
    )


def _texts_in(view: ctypes.Structure) -> dict[str, Any]:
    return {
        member[0]: str(getattr(view, member[0])) for member in view._fields_ if member[1] is Text
    }


def _views(kind: str, view: Any, handle: int) -> Any:
    """What a list holds, one after the other, each good until the next."""
    told = view()
    for index in range(ask_size(kind + "_count", handle)):
        yield ask(kind + "_get", told, handle, index)


def _unless_none(number: int) -> int | None:
    return None if number == ANY_NUMBER else number


def read_and_destroy(kind: str, read: Any, handle: int) -> Any:
    """What a list or an explanation tells, which goes then."""
    try:
        return read(handle)
    finally:
        call(kind + "_destroy", handle)
