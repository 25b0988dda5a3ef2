"""Tables from and to pandas.DataFrames."""

from __future__ import annotations

import copy
from collections import Counter
from typing import Any, Callable, Mapping, Sequence

import numpy
import pandas

from ._errors import Error
from ._notebook import TYPES, Column, Notebook, Table, Type
from ._results import ORIGINS

# What a column of a frame holds, as pandas infers it, and what its column holds then.
_TYPES_OF_INFERRED: dict[str, Type] = {
    "integer": "number",
    "floating": "number",
    "mixed-integer-float": "number",
    "decimal": "number",
    "boolean": "boolean",
    "datetime64": "date",
    "datetime": "date",
    "date": "date",
    "string": "string",
    "empty": "string",
}

_WHICH_TYPE = (
    'say which type it is to have: with types={"NAME": "number"} its texts are read as numbers, with'
    ' "string" all are texts'
)

# What stands behind a column, in this order, and the ending of its name.
ENDINGS = {"ranges": "_max", "errors": "_error", "texts": "_text", "origins": "_origin"}


# ---- From frames.
class Input:
    """A column of a frame, on its way into a table."""

    def __init__(self, series: pandas.Series, name: str, unit: str, type: Type | None) -> None:
        if isinstance(series.dtype, pandas.CategoricalDtype):
            series = series.astype(object)
        self.name = name
        self.unit = unit
        inferred = pandas.api.types.infer_dtype(series, skipna=True)
        self.type: Type = type or ("number" if unit else self._type_of(inferred))
        if self.type not in TYPES:
            raise Error("argument", "types", f"there is no type {type!r}; there are {TYPES}")
        self._series = series
        self._is_of_texts = inferred == "string"
        #: Whether numbers are taken from it, and not read from texts.
        self.has_numbers = self.type == "number" and (
            _TYPES_OF_INFERRED.get(inferred) in ("number", "boolean")
        )
        # The upper bounds of ranges; texts, which are typed instead of numbers then.
        self.high: pandas.Series | None = None
        self.texts: pandas.Series | None = None

    def _type_of(self, inferred: str) -> Type:
        if inferred not in _TYPES_OF_INFERRED:
            what = f"the column {self.name!r} is {inferred}"
            raise Error("argument", "types", f"{what}: {_WHICH_TYPE}")
        return _TYPES_OF_INFERRED[inferred]

    def head(self, rows: int) -> Input:
        """The first rows alone; of the type that the whole has."""
        made = copy.copy(self)
        made._series = self._series.head(rows)
        made.high = self.high.head(rows) if self.high is not None else None
        made.texts = self.texts.head(rows) if self.texts is not None else None
        return made

    def put_into(self, column: Column, missing: str) -> None:
        if self.texts is not None or not self.has_numbers:
            column.set_texts(self.typed(missing))
        elif self.high is None:
            column.set_numbers(_numbers_of(self._series), missing=missing)
        else:
            column.set_ranges(_numbers_of(self._series), _numbers_of(self.high), missing=missing)

    def typed(self, missing: str) -> list[str]:
        """The texts that somebody would type to enter it."""
        none = missing if self.type == "number" else ""
        series = self._series
        if self.texts is not None:
            series, none = self.texts, ""
        elif self.type == "date":
            return _dates_of(series, self.name)
        elif self.type == "boolean":
            series = series.map({True: "true", False: "false"})
        filled = series.astype(object).where(series.notna(), none)
        texts: list[str] = (filled if self._is_of_texts else filled.map(str)).tolist()
        return texts


def _numbers_of(series: pandas.Series) -> Any:
    return series.to_numpy(dtype="float64", na_value=numpy.nan)


def _dates_of(series: pandas.Series, name: str) -> list[str]:
    dates = pandas.to_datetime(series)
    if dates.dt.tz is not None:
        raise Error("argument", "frame", f"the dates of the column {name!r} have a time zone")
    moments: Any = dates.to_numpy("datetime64[s]")
    texts = pandas.Series(numpy.datetime_as_string(moments))
    texts = texts.where(dates.notna().to_numpy(), "")
    typed: list[str] = texts.str.replace("T", " ").str.replace(" 00:00:00", "").tolist()
    return typed


def _names_of(frame: pandas.DataFrame) -> dict[str, Any]:
    """The labels of the frame's columns by their names."""
    if not isinstance(frame, pandas.DataFrame):
        raise TypeError(f"frame has to be a pandas.DataFrame, not {type(frame).__name__}")
    for label in frame.columns:
        if not isinstance(label, (str, int)):
            raise Error("argument", "frame", f"the name of the column {label!r} is no text")
    names = [str(label) for label in frame.columns]
    for name, count in Counter(names).items():
        if count > 1:
            raise Error("argument", "frame", f"{count} columns of the frame are called {name!r}")
    return dict(zip(names, frame.columns))


class Given:
    """What a caller says of a frame's columns, or else its attrs."""

    def __init__(self, frame: pandas.DataFrame, attributes: Mapping[str, Any]) -> None:
        self.frame = frame
        self.labels = _names_of(frame)
        self.said = {
            key: self._in_attrs(key) if value is None else dict(value)
            for key, value in attributes.items()
        }
        self._from_attrs = {key for key, value in attributes.items() if value is None}
        told = {key: self._in_attrs(key) for key in ("errors", "texts", "origins")}
        self._behind = {"ranges": self.said["ranges"], **told}
        if attributes["ranges"]:
            self._require("ranges", {*attributes["ranges"], *attributes["ranges"].values()})

    def _in_attrs(self, key: str) -> dict[str, Any]:
        """What was written there of columns that are there still."""
        told = self.frame.attrs.get(key, {})
        if key == "definitions":
            return dict(told)
        return {name: value for name, value in told.items() if name in self.labels}

    def require(self, keys: Sequence[str], others: Mapping[str, Any]) -> None:
        """Raises Error where something is said of columns that are not there."""
        for key in keys:
            self._require(key, set(self.said[key]) - set(others))

    def _require(self, key: str, names: set[str]) -> None:
        for name in sorted(names - set(self.labels)):
            raise Error("argument", key, f"the frame has no column {name!r}")

    def names(self) -> list[str]:
        """Of all columns but those that stand behind others."""
        behind = {name for columns in self._behind.values() for name in columns.values()}
        return [name for name in self.labels if name not in behind]

    def input(self, name: str) -> Input:
        unit, type = self.said["units"].get(name, ""), self.said["types"].get(name)
        made = Input(self.frame[self.labels[name]], name, unit, type)
        made.high = self._column_behind("ranges", name)
        made.texts = self._column_behind("texts", name)
        return made

    def _column_behind(self, key: str, name: str) -> pandas.Series | None:
        behind = self._behind[key].get(name)
        return self.frame[self.labels[behind]] if behind in self.labels else None

    def is_typed(self, name: str) -> Any:
        """Which cells of a column with a formula are typed in."""
        origins = self._column_behind("origins", name)
        if origins is not None:
            return origins.isin(["typed", "noted"]).to_numpy()
        if "formulas" in self._from_attrs:
            return numpy.zeros(len(self.frame), dtype=bool)
        return self.frame[self.labels[name]].notna().to_numpy()


def add_frame(
    notebook: Notebook,
    name: str,
    frame: pandas.DataFrame,
    *,
    attributes: Mapping[str, Any],
    missing: str,
    index: bool | None,
) -> Table:
    given = Given(frame, attributes)
    said = given.said
    given.require(("units", "types", "formats"), said["formulas"])
    inputs = [given.input(each) for each in given.names()]
    table = notebook.add_table(name)
    try:
        for each in inputs:
            table.add_column(each.name, type=each.type, unit=each.unit)
        for column, formula in said["formulas"].items():
            if column not in given.labels:
                type, unit = said["types"].get(column, "number"), said["units"].get(column, "")
                table.add_column(column, type=type, unit=unit)
            table.column(column).set_formula(formula, said["formats"].get(column, ""))
        for definition, formula in said["definitions"].items():
            table.define(definition, formula)
        if index is False or (index is None and _is_plain(frame.index)):
            table.add_rows(len(frame))
        else:
            table.add_rows(frame.index.map(str).tolist())
        for each in inputs:
            _type_in(each, table.column(each.name), given, missing)
    except BaseException:
        table.remove()
        raise
    return table


def _type_in(each: Input, column: Column, given: Given, missing: str) -> None:
    if each.name not in given.said["formulas"]:
        each.put_into(column, missing)
        return
    # What is not typed in stays empty, to be computed.
    is_typed = given.is_typed(each.name)
    if is_typed.any():
        each.put_into(column, "")
        column.set_texts(pandas.Series(column.texts()).where(is_typed, "").tolist())


def _is_plain(index: pandas.Index) -> bool:
    return isinstance(index, pandas.RangeIndex) and index.start == 0 and index.step == 1


# ---- To frames.
def to_frame(
    table: Table,
    *,
    ranges: bool | None,
    errors: bool | None,
    texts: bool | Sequence[str],
    origins: bool | None,
) -> pandas.DataFrame:
    made: dict[str, Any] = {}
    attributes: dict[str, dict[str, str]] = {}
    columns = table.columns
    for column in columns:
        name = column.name
        output = Output(column)
        wants_text = column.type == "number" if texts is True else texts and name in texts
        behind = {
            "ranges": output.high(ranges),
            "errors": output.errors(errors),
            "texts": output.shown() if wants_text else None,
            "origins": output.origins(origins),
        }
        _add(made, name, output.content())
        for key, content in behind.items():
            if content is not None:
                _add(made, name + ENDINGS[key], content)
                attributes.setdefault(key, {})[name] = name + ENDINGS[key]
    frame = pandas.DataFrame(made, index=_index_of(table))
    said: dict[str, Callable[[Column], str]] = {
        "units": lambda column: column.unit,
        "types": lambda column: column.type,
        "formulas": lambda column: column.formula,
        "formats": lambda column: column.format,
    }
    for key, ask in said.items():
        attributes[key] = {column.name: told for column in columns if (told := ask(column))}
    frame.attrs.update(attributes, definitions=table.definitions)
    return frame


def _add(made: dict[str, Any], name: str, content: Any) -> None:
    if name in made:
        raise Error("argument", name, f"there would be two columns {name!r}")
    made[name] = content


def _index_of(table: Table) -> pandas.Index:
    ids = table.row_ids
    plain = pandas.RangeIndex(len(ids))
    return plain if ids == (plain + 1).map(str).tolist() else pandas.Index(ids)


class Output:
    """A column of a table, on its way into a frame."""

    def __init__(self, column: Column) -> None:
        self._column = column
        self.type = column.type
        self._low, self._high = map(numpy.asarray, column.ranges())
        self.is_error = numpy.frombuffer(column._bytes("column_errors"), dtype=bool)
        self._origins = numpy.frombuffer(column._bytes("column_origins"), dtype="uint8")
        self._texts: list[str] | None = None

    def texts(self) -> list[str]:
        if self._texts is None:
            self._texts = self._column.texts()
        return self._texts

    def has_texts(self) -> bool:
        """Whether a column of numbers has cells that show something else, but no error."""
        return bool((numpy.isnan(self._low) & ~self.is_error).any())

    def content(self) -> Any:
        if self.type == "number":
            return numpy.where(self._origins == 0, numpy.nan, self._low)
        texts = pandas.Series(self.shown())
        if self.type == "boolean":
            values = texts.str.lower().map({"true": True, "false": False}).astype("boolean")
            return values.array if values.isna().any() else values.to_numpy(dtype=bool)
        if self.type == "date":
            return pandas.to_datetime(texts, errors="coerce").to_numpy()
        return texts.to_numpy()

    def shown(self) -> Any:
        """What the cells show; None for empty ones."""
        texts = numpy.array(self.texts(), dtype=object)
        return _or_none(texts != "", texts)

    def high(self, wanted: bool | None) -> Any:
        is_range = self.type == "number" and (self._low < self._high).any()
        if not (is_range if wanted is None else wanted and self.type == "number"):
            return None
        return numpy.where(self._origins == 0, numpy.nan, self._high)

    def errors(self, wanted: bool | None) -> Any:
        if not (self.is_error.any() if wanted is None else wanted):
            return None
        texts = pandas.Series(self.texts(), dtype=object).str.slice(len("#Error: "))
        return _or_none(self.is_error, texts.to_numpy())

    def origins(self, wanted: bool | None) -> Any:
        is_typed = (self._origins == ORIGINS.index("typed")) | (
            self._origins == ORIGINS.index("noted")
        )
        if not (self._column.formula and is_typed.any() if wanted is None else wanted):
            return None
        return pandas.Categorical.from_codes(self._origins, categories=list(ORIGINS))


def _or_none(is_there: Any, contents: Any) -> Any:
    made = numpy.full(len(contents), None, dtype=object)
    made[is_there] = contents[is_there]
    return made
