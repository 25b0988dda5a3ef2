"""Finds libktformula9 and calls it: ktformula9.h has the manual of its functions."""

from __future__ import annotations

import ctypes
import os
import weakref
from array import array
from itertools import accumulate
from operator import index
from pathlib import Path
from typing import Any, Iterable, Sequence, TypeVar

from ._errors import Error

ABI_VERSION = 0

ANY_NUMBER = ctypes.c_size_t(-1).value

_KINDS = {
    1: "argument",
    2: "not found",
    3: "gone",
    4: "refused",
    5: "formula",
    6: "argument",
    7: "busy",
    8: "memory",
}


# Arguments that go by another name in Python.
_PYTHON_NAMES = {"bytes": "texts"}


# ---- Structs, as the header has them.
class Text(ctypes.Structure):
    _fields_ = [("data", ctypes.c_void_p), ("length", ctypes.c_size_t)]

    def __str__(self) -> str:
        return decoded(ctypes.string_at(self.data, self.length)) if self.data else ""


class Sized(ctypes.Structure):
    """A struct that tells its size."""

    def __init__(self, **members: Any) -> None:
        super().__init__(ctypes.sizeof(self), **members)


def _members(*members: tuple[str, Any]) -> list[tuple[str, Any]]:
    return [("size", ctypes.c_size_t), *members]


_size, _int, _double, _string = ctypes.c_size_t, ctypes.c_int, ctypes.c_double, ctypes.c_char_p

COMPUTE = ctypes.CFUNCTYPE(
    _int, ctypes.c_void_p, ctypes.POINTER(ctypes.c_void_p), _size, ctypes.c_void_p
)


class ColumnOptions(Sized):
    _fields_ = _members(
        ("type", _int),
        ("unit", _string),
        ("formula", _string),
        ("format", _string),
        ("is_unformatted", _int),
    )


class CellView(Sized):
    _fields_ = _members(
        ("text", Text),
        ("min", _double),
        ("max", _double),
        ("unit", Text),
        ("origin", _int),
        ("is_error", _int),
        ("error", Text),
    )


class RecalculationView(Sized):
    _fields_ = _members(("settled", _int), ("rounds", _int), ("columns", _size))


class ChangedView(Sized):
    _fields_ = _members(
        ("table", Text),
        ("column", Text),
        ("rows", ctypes.POINTER(_size)),
        ("row_count", _size),
    )


class ValueView(Sized):
    _fields_ = _members(
        ("kind", _int), ("min", _double), ("max", _double), ("boolean", _int), ("text", Text)
    )


class FunctionStruct(Sized):
    _fields_ = _members(
        ("name", _string),
        ("least", _size),
        ("most", _size),
        ("help", _string),
        ("compute", COMPUTE),
        ("context", ctypes.c_void_p),
        ("destroy", ctypes.c_void_p),
        ("takes_errors", _int),
        ("is_pure", _int),
    )


class FunctionHelpView(Sized):
    _fields_ = _members(("name", Text), ("least", _size), ("most", _size), ("help", Text))


class ProblemView(Sized):
    _fields_ = _members(
        ("code", Text),
        ("severity", _int),
        ("table", Text),
        ("column", Text),
        ("definition", Text),
        ("row", _size),
        ("rows", _size),
        ("formula", Text),
        ("start", _size),
        ("length", _size),
        ("message", Text),
        ("help", Text),
    )


class ExplanationView(Sized):
    _fields_ = _members(
        ("cell", Text),
        ("text", Text),
        ("origin", Text),
        ("formula", Text),
        ("error_from", Text),
        ("steps", _size),
        ("pattern", Text),
        ("digits_from", Text),
        ("unit", Text),
        ("unit_from", Text),
        ("story", Text),
    )


class StepView(Sized):
    _fields_ = _members(
        ("source", Text),
        ("origin", Text),
        ("cell", Text),
        ("text", Text),
        ("formula", Text),
        ("error_from", Text),
        ("steps", _size),
        ("more_rows", _size),
    )


# ---- Functions: their arguments but for the last one, which takes the error. A struct stands for
# a pointer to one.
_TYPES: dict[str, Any] = {
    "handle": ctypes.c_void_p,
    "new": ctypes.POINTER(ctypes.c_void_p),  # where a handle is put
    "string": _string,
    "strings": ctypes.POINTER(_string),
    "int": _int,
    "double": _double,
    "size": _size,
    "data": ctypes.c_void_p,  # the first of many
    "to_int": ctypes.POINTER(_int),
    "to_size": ctypes.POINTER(_size),
    "to_data": ctypes.POINTER(ctypes.c_void_p),
    "text": ctypes.POINTER(Text),
    **{
        struct.__name__: ctypes.POINTER(struct)
        for struct in (
            ColumnOptions,
            CellView,
            RecalculationView,
            ChangedView,
            ValueView,
            FunctionStruct,
            FunctionHelpView,
            ProblemView,
            ExplanationView,
            StepView,
        )
    },
}

_FUNCTIONS = """
texts_all handle to_data to_size to_data to_size
texts_destroy handle
notebook_create string string new
notebook_destroy handle
notebook_name handle text
notebook_add_table handle string new
notebook_table handle string new
notebook_tables handle new
notebook_recalculate handle int new
notebook_undo handle to_int
notebook_redo handle to_int
notebook_forget_history handle
notebook_add_function handle FunctionStruct
notebook_functions handle new
notebook_check handle new
notebook_explain handle string int new
recalculation_get handle RecalculationView
recalculation_changed handle size ChangedView
recalculation_destroy handle
table_destroy handle
table_name handle text
table_add_column handle string ColumnOptions new
table_column handle string new
table_columns handle new
table_row_count handle to_size
table_add_row handle strings size string to_size
table_add_rows handle size
table_add_rows_with_ids handle size data size data
table_remove_row handle size
table_move_row handle size size
table_row_id handle size text
table_row_ids handle new
table_rename_row handle size string
table_find_row handle string to_size
table_set_definition handle string string
table_definition handle string text
table_definitions handle new
table_set_result_format handle string
table_rename handle string
table_move handle size
table_remove handle
column_destroy handle
column_name handle text
column_type handle to_int
column_unit handle text
column_formula handle text
column_format handle text
column_set_formula handle string string
column_rename handle string
column_move handle size
column_remove handle
column_get handle size CellView
column_set_text handle size string
column_set_number handle size double
column_set_numbers handle size size data string
column_set_ranges handle size size data data string
column_set_texts handle size size data size data
column_numbers handle size size data data
column_texts handle new
column_origins handle size size data
column_errors handle size size data
column_evaluate handle size string new
column_explain handle size int new
value_get handle ValueView
value_destroy handle
value_set_nothing handle
value_set_number handle double
value_set_range handle double double
value_set_missing handle string
value_set_text handle string
value_set_boolean handle int
value_set_error handle string
functions_count handle to_size
functions_get handle size FunctionHelpView
functions_destroy handle
problems_count handle to_size
problems_get handle size ProblemView
problems_destroy handle
explanation_get handle ExplanationView
explanation_value handle ValueView
explanation_step handle size new
explanation_destroy handle
step_get handle StepView
step_value handle ValueView
step_step handle size new
"""


def _place() -> str:
    """Where the library is: where the environment says, or beside this file, as a wheel has it, or
    where the system finds it."""
    name = "libktformula9.so.0"
    beside = Path(__file__).with_name(name)
    return os.environ.get("KTFORMULA9_LIBRARY") or (str(beside) if beside.exists() else name)


def _load() -> ctypes.CDLL:
    place = _place()
    try:
        library = ctypes.CDLL(place)
    except OSError as error:
        raise Error(
            "library",
            "",
            f"the library of ktformula9 was not found: {error}. Install the package"
            " libktformula9-0, or say where it is with the environment variable"
            " KTFORMULA9_LIBRARY",
        ) from None
    try:
        found = library.ktf9_abi_version()
    except AttributeError:
        raise Error("library", "", f"{place} is no library of ktformula9") from None
    if found != ABI_VERSION:
        raise Error(
            "library",
            "",
            f"{place} has the interface {found}; this module needs {ABI_VERSION}: install both"
            " from the same version",
        )
    return library


_library = _load()


def _declare(line: str) -> tuple[str, Any]:
    name, *arguments = line.split()
    function = getattr(_library, "ktf9_" + name)
    function.argtypes = [*(_TYPES[each] for each in arguments), _TYPES["new"]]
    return name, function


_functions = dict(map(_declare, _FUNCTIONS.strip().splitlines()))


def _plain(name: str, result: Any, *arguments: str) -> Any:
    """A function that gives what it tells."""
    function = getattr(_library, "ktf9_" + name)
    function.restype = result
    function.argtypes = [_TYPES[each] for each in arguments]
    return function


_version = _plain("version", _string)
_error_message = _plain("error_message", _string, "handle")
_error_argument = _plain("error_argument", _string, "handle")
_error_place = _plain("error_place", _int, "handle", "to_size", "to_size")
_error_destroy = _plain("error_destroy", None, "handle")


class CallError(Error):
    """Of a call, with the place in a formula in bytes; never leaves the package."""

    place: tuple[int, int] | None = None


def call(name: str, *arguments: Any) -> None:
    """Calls ktf9_NAME; raises Error where it can not do it."""
    error = ctypes.c_void_p()
    status = _functions[name](*arguments, ctypes.byref(error))
    if status != 0:
        raise _error_of(status, error)


def _error_of(status: int, error: ctypes.c_void_p) -> Error:
    start, length = _size(), _size()
    argument = decoded(_error_argument(error))
    try:
        told = (CallError if status == 5 else Error)(
            _KINDS.get(status, "library"),
            _PYTHON_NAMES.get(argument, argument),
            decoded(_error_message(error)) or "there is not enough memory",
        )
        if isinstance(told, CallError) and _error_place(
            error, ctypes.byref(start), ctypes.byref(length)
        ):
            told.place = start.value, length.value
        return told
    finally:
        _error_destroy(error)


def version() -> str:
    return decoded(_version())


def new_handle(name: str, *arguments: Any) -> int:
    """What a call makes."""
    handle = ctypes.c_void_p()
    call(name, *arguments, ctypes.byref(handle))
    return handle.value or 0


_Asked = TypeVar("_Asked", bound=ctypes.Structure)


def ask(name: str, into: _Asked, *arguments: Any) -> _Asked:
    """What a call tells in a struct."""
    call(name, *arguments, ctypes.byref(into))
    return into


def ask_text(name: str, *arguments: Any) -> str:
    return str(ask(name, Text(), *arguments))


def ask_size(name: str, *arguments: Any) -> int:
    number = _size()
    call(name, *arguments, ctypes.byref(number))
    return number.value


def ask_int(name: str, *arguments: Any) -> int:
    number = _int()
    call(name, *arguments, ctypes.byref(number))
    return number.value


class Owner:
    """Has a handle, which it destroys when it goes."""

    def __init__(self, kind: str, handle: int) -> None:
        self._handle = handle
        self._end = weakref.finalize(self, call, kind + "_destroy", handle)


# ---- Arguments.
def decoded(text: bytes) -> str:
    return text.decode("utf-8", "replace")


def encoded(text: str, argument: str) -> bytes:
    """The text for the library, which ends it at a NUL."""
    if not isinstance(text, str):
        raise TypeError(f"{argument} has to be a str, not {type(text).__name__}")
    try:
        told = text.encode()
    except UnicodeEncodeError:
        raise Error("argument", argument, f"{argument} is no valid Unicode") from None
    if b"\0" in told:
        raise Error("argument", argument, f"{argument} has a NUL in it")
    return told


def place_of(number: int, argument: str) -> int:
    """A row, a place or a count, which is not below 0."""
    told = index(number)
    if not 0 <= told < ANY_NUMBER:
        raise Error("argument", argument, f"{argument} is {told}: places count from 0")
    return told


def limit_of(number: int, argument: str) -> int:
    """A number of rounds or steps: as many as there can be, if it is more."""
    return min(place_of(number, argument), 2**31 - 1)


# ---- Many at once.
def doubles(numbers: Any) -> array[float]:
    """Anything that has numbers in it, taken over at once where it is a buffer of them."""
    taken = array("d")
    try:
        view = memoryview(numbers)
    except TypeError:
        taken.extend(numbers)
        return taken
    if view.ndim != 1:
        raise TypeError("numbers have to stand in one dimension")
    if view.format == "d" and view.c_contiguous:
        taken.frombytes(view.cast("B"))
    else:
        taken.extend(view.tolist())
    return taken


def address(values: Any) -> int:
    """Of the first of an array's elements."""
    place: int = values.buffer_info()[0]
    return place


def run_of(texts: Sequence[str], argument: str) -> tuple[bytes, int, Any]:
    """A list of texts for the library: a NUL behind each; how long that is; and where each ends, if
    a NUL does not tell."""
    try:
        run = ("\0".join(texts) + "\0").encode() if texts else b""
    except TypeError:
        wrong = next(each for each in texts if not isinstance(each, str))
        raise TypeError(f"{argument} have to be str, not {type(wrong).__name__}") from None
    except UnicodeEncodeError:
        raise Error("argument", argument, f"{argument} are no valid Unicode") from None
    if run.count(b"\0") == len(texts):
        return run, len(run), None
    ends = accumulate(len(each.encode()) + 1 for each in texts)
    return run, len(run), (_size * len(texts))(*(end - 1 for end in ends))


def ask_texts(name: str, *arguments: Any) -> list[str]:
    """The list of texts that a call makes."""
    handle = new_handle(name, *arguments)
    try:
        run, length = ctypes.c_void_p(), _size()
        ends, count = ctypes.c_void_p(), _size()
        call("texts_all", handle, *map(ctypes.byref, (run, length, ends, count)))
        if not count.value:
            return []
        whole = ctypes.string_at(run.value or 0, length.value)
        texts = decoded(whole[:-1]).split("\0")
        if len(texts) == count.value:
            return texts
        places = (_size * count.value).from_address(ends.value or 0)
        return list(_split(whole, places))
    finally:
        call("texts_destroy", handle)


def _split(whole: bytes, ends: Iterable[int]) -> Iterable[str]:
    begin = 0
    for end in ends:
        yield decoded(whole[begin:end])
        begin = end + 1
