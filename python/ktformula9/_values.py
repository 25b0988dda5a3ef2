"""Values of the formula language, and functions that formulas call."""

from __future__ import annotations

import ctypes
import inspect
import math
import weakref
from dataclasses import dataclass
from datetime import datetime, timedelta
from itertools import count
from numbers import Real
from typing import Any, Callable, Tuple, Union

from . import _library
from ._errors import Error
from ._library import ANY_NUMBER, FunctionStruct, ValueView, ask, call, encoded


@dataclass(frozen=True)
class ErrorValue:
    """An error as a value: what a cell shows behind "#Error: "."""

    message: str


Value = Union[None, float, Tuple[float, float], str, bool, datetime, ErrorValue]
"""A value of the formula language: None for nothing; a number in base units, which is a tuple of
its lower and upper bound where it is a range, and not-a-number where it is missing; a text, which a
structure is too; a truth value; a date; an error."""

_DAY_0 = datetime(1899, 12, 30)


def _date(days: float) -> Value:
    try:
        return _DAY_0 + timedelta(seconds=round(days * 86400))
    except (OverflowError, ValueError):
        return math.nan


_READ: dict[int, Callable[[Any], Any]] = {
    0: lambda view: None,
    1: lambda view: view.min if not view.min < view.max else (view.min, view.max),
    2: lambda view: str(view.text),
    3: lambda view: view.boolean != 0,
    4: lambda view: _date(view.min),
    5: lambda view: str(view.text),
    6: lambda view: ErrorValue(str(view.text)),
}


def read_value(name: str, *arguments: Any) -> Value:
    """The value that a call tells."""
    view = ask(name, ValueView(), *arguments)
    value: Value = _READ[view.kind](view)
    return value


def _write_value(target: int, value: Any) -> None:
    """Gives what a function came to."""
    if hasattr(value, "item") and not isinstance(value, (float, str)):
        value = value.item()  # of numpy
    if value is None:
        call("value_set_nothing", target)
    elif isinstance(value, bool):
        call("value_set_boolean", target, value)
    elif isinstance(value, str):
        call("value_set_text", target, encoded(value, "value"))
    elif isinstance(value, ErrorValue):
        call("value_set_error", target, encoded(value.message, "message"))
    elif isinstance(value, Real):
        _write_range(target, float(value), float(value))
    elif isinstance(value, tuple) and len(value) == 2:
        _write_range(target, float(value[0]), float(value[1]))
    else:
        raise TypeError(f"the function gave a {type(value).__name__}, which is no value")


def _write_range(target: int, low: float, high: float) -> None:
    if math.isnan(low) or math.isnan(high):
        call("value_set_missing", target, b"nan")
    else:
        call("value_set_range", target, low, high)


def _arity(function: Callable[..., Any]) -> tuple[int, int]:
    """The numbers of arguments that it takes."""
    try:
        parameters = inspect.signature(function).parameters.values()
    except ValueError:  # some of Python's own do not tell
        return 0, ANY_NUMBER
    if any(each.kind == each.KEYWORD_ONLY and each.default is each.empty for each in parameters):
        raise TypeError("formulas give no arguments by keyword, which this function needs")
    placed = [
        each.default
        for each in parameters
        if each.kind in (each.POSITIONAL_ONLY, each.POSITIONAL_OR_KEYWORD)
    ]
    least = sum(default is inspect.Parameter.empty for default in placed)
    takes_more = any(each.kind == each.VAR_POSITIONAL for each in parameters)
    return least, ANY_NUMBER if takes_more else len(placed)


class Function:
    """A function of the program. Its notebook's object keeps it; the library knows its number
    alone, so that a function may speak of the notebook and nothing is kept in a circle."""

    def __init__(
        self, name: str, compute: Callable[..., Any], help: str, takes_errors: bool, pure: bool
    ) -> None:
        if not callable(compute):
            raise TypeError(f"a function has to be callable, not {type(compute).__name__}")
        self.compute = compute
        # An exception that is meant for the program, not for a cell: KeyboardInterrupt.
        self.interruption: BaseException | None = None
        self._number = next(_numbers)
        _functions[self._number] = self
        least, most = _arity(compute)
        self.struct = FunctionStruct(
            name=encoded(name, "name"),
            least=least,
            most=most,
            help=encoded(help, "help"),
            compute=_COMPUTE,
            context=self._number,
            takes_errors=takes_errors,
            is_pure=pure,
        )


_numbers = count(1)
_functions: weakref.WeakValueDictionary[int, Function] = weakref.WeakValueDictionary()


def _call_function(number: int, arguments: Any, given: int, target: int) -> int:
    """Puts what the function of this number comes to into the target."""
    function = None
    try:
        function = _functions[number]
        values = [read_value("value_get", arguments[i]) for i in range(given)]
        _write_value(target, function.compute(*values))
    except BaseException as error:
        if function is not None and not isinstance(error, Exception):
            function.interruption = error
        _write_error(target, str(error) or type(error).__name__)
    return 0


# What the library calls; it has to stay.
_COMPUTE = _library.COMPUTE(_call_function)


def _write_error(target: int, message: str) -> None:
    try:
        call("value_set_error", target, message.replace("\0", " ").encode("utf-8", "replace"))
    except Error:  # the library shows that it has failed
        pass
