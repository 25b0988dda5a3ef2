"""What ktformula9 raises."""

from __future__ import annotations

from typing import TYPE_CHECKING, Sequence

if TYPE_CHECKING:
    from ._results import Problem


class Error(Exception):
    """What can not be done, and then has changed nothing.

    ``kind`` says why:

    ============= ==================================================================
    "argument"    the argument is no good whatever the notebook: an unknown unit
    "not found"   something of this name, or at this place, is not there
    "gone"        the table or column was removed, or the notebook closed
    "refused"     the edit is refused: a name in use
    "formula"     a formula is wrong, or fails: see FormulaError
    "busy"        another thread is in the notebook
    "memory"      there is not enough memory
    "library"     the library was not found, does not fit, or has a fault
    ============= ==================================================================

    ``argument`` is the name of the argument at fault, "" for none.
    """

    def __init__(self, kind: str, argument: str, message: str) -> None:
        super().__init__(message)
        self.kind = kind
        self.argument = argument


class FormulaError(Error):
    """A formula that is wrong, or fails where its value is asked for.

    ``column`` names the column whose formula it is, or the definition, "" for neither; ``row`` is
    the first row in which it fails, None when that does not depend on rows. ``start`` and
    ``length`` are the place in ``formula`` (``formula[start:start + length]``), None where the
    whole of it is meant. ``problems`` has all that were found, this one first.
    """

    def __init__(
        self,
        message: str,
        *,
        formula: str,
        start: int | None = None,
        length: int | None = None,
        column: str = "",
        row: int | None = None,
        problems: Sequence[Problem] = (),
    ) -> None:
        super().__init__("formula", "formula", message)
        self.formula = formula
        self.start = start
        self.length = length
        self.column = column
        self.row = row
        self.problems = list(problems)


def pointed_out(formula: str, start: int | None, length: int | None) -> str:
    """The line of the formula with the place in it, and under it a line that points there."""
    if start is None or length is None:
        return "  " + " ".join(formula.split())
    begin = formula.rfind("\n", 0, start) + 1
    end = formula.find("\n", start)
    line = formula[begin:] if end < 0 else formula[begin:end]
    place = start - begin
    marks = "^" * max(1, min(length, len(line) - place))
    return f"  {line}\n  {' ' * place}{marks}"
