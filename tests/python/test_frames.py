"""Tables from and to pandas frames, and computed columns of these."""

import datetime
import decimal

import numpy
import pandas
import pytest

import ktformula9
from ktformula9 import calculate

NAN = numpy.nan


def frame_of(**columns):
    return pandas.DataFrame(columns)


MEASURED = frame_of(conc=[0.5, 1.5, 2.5], rate=[1, 2, 5], name=["a", "b", None])


def test_a_table_becomes_a_frame_and_comes_back(notebook, reactants):
    reactants.define("total", "SUM([Mass])")
    reactants["Moles"].set_formula("[Mass]/[MW]", "0.00")
    reactants.add_column("Note", type="string")
    reactants.add_column("Done", type="boolean")
    reactants.add_column("On", type="date")
    reactants.add_row("n.d.", "100", "", "µ", "true", "2026-11-22 10:20:30", id="C")
    reactants.add_row("1", "2", "7 mmol")
    notebook.recalculate()
    frame = reactants.to_frame()
    assert list(frame.index) == ["1", "B", "C", "4"]
    assert frame.attrs["units"] == {"Mass": "g", "MW": "g/mol", "Moles": "mmol"}
    assert frame["Mass_max"].tolist()[:2] == [1.22, 0.6] and "MW_max" not in frame
    assert frame["Moles_error"].tolist() == [None, None, 'the value "n.d." is not a number', None]
    assert frame["Moles_origin"].tolist() == ["computed"] * 3 + ["typed"]
    assert frame["On"][2] == pandas.Timestamp(2026, 11, 22, 10, 20, 30) and pandas.isna(frame["On"][0])
    assert frame["Done"].tolist() == [pandas.NA, pandas.NA, True, pandas.NA]
    copy = notebook.add_table("Copy", frame)
    notebook.recalculate()
    # What was no number has another text.
    again = copy.to_frame().replace({"Moles_error": {'the value "nan" is not a number': frame["Moles_error"][2]}})
    pandas.testing.assert_frame_equal(again, frame)
    assert copy.definitions == {"total": "SUM([Mass])"} and again.attrs == frame.attrs
    part = notebook.add_table("Part", frame[["Mass", "Note"]])
    assert ([c.name for c in part], part["Mass"].unit) == (["Mass", "Note"], "g")
    exact = notebook.add_table("Exact", reactants.to_frame(texts=True))
    notebook.recalculate()
    assert [column.texts() for column in exact] == [column.texts() for column in reactants]


def test_what_is_said_of_a_frame(notebook):
    frame = frame_of(Mass=["1.22 g", "5 ± 1"], MW=[10.0, 20.0], up=[11.0, NAN], Moles=[NAN, 3.0])
    table = notebook.add_table(
        "T",
        frame.set_index(pandas.Index([7, 8])),
        units={"Mass": "g", "MW": "g/mol", "Moles": "mmol", "Half": "mmol"},
        ranges={"MW": "up"},
        formulas={"Moles": "[Mass]/[MW]", "Half": "[Moles]/2"},
        formats={"Half": "0.0"},
        missing="",
    )
    notebook.recalculate()
    assert table.row_ids == ["7", "8"]
    assert table["MW"].texts() == ["10 .. 11", ""]
    assert [str(cell.origin) for cell in table["Moles"]] == ["computed", "typed"]
    assert table["Half"].texts() == ["61.0 mmol", "1.5 mmol"]


@pytest.mark.parametrize(
    ("content", "options", "texts"),
    [
        ([1.5, NAN], {}, ["1.5", "nan"]),
        ([1.5, NAN], {"missing": ""}, ["1.5", ""]),
        (pandas.array([1, None], dtype="Int64"), {}, ["1", "nan"]),
        (numpy.array([0.1], dtype="float32"), {}, ["0.10000000149011612"]),
        ([decimal.Decimal("0.1"), None], {}, ["0.1", "nan"]),
        ([2**63, 1.0], {}, ["9223372036854775808", "1"]),
        (["a\0b", None], {}, ["a\0b", ""]),
        ([True, None], {}, ["true", ""]),
        ([True, False], {"types": {"x": "number"}}, ["1", "0"]),
        (pandas.array([True, None], dtype="boolean"), {}, ["true", ""]),
        (pandas.Categorical(["u", None]), {}, ["u", ""]),
        (pandas.Categorical([2, None]), {}, ["2", "nan"]),
        (pandas.to_datetime(["2026-01-02", None]), {}, ["2026-01-02", ""]),
        (pandas.to_datetime(["2026-01-02 03:04:05.9", None]), {}, ["2026-01-02 03:04:05", ""]),
        ([datetime.date(2026, 1, 2)], {}, ["2026-01-02"]),
        ([None, None], {}, ["", ""]),
        ([1, "n.d.", None], {"types": {"x": "number"}}, ["1", "n.d.", "nan"]),
        ([1, "n.d."], {"types": {"x": "string"}}, ["1", "n.d."]),
        ([1, "n.d."], {}, "the column 'x' is mixed-integer: say which type"),
        ([1j], {}, "the column 'x' is complex: say which type"),
        (pandas.to_datetime(["2026-01-02"], utc=True), {}, "the dates of the column 'x' have a time zone"),
        ([1], {"types": {"x": "text"}}, "there is no type 'text'"),
        ([1], {"units": {"y": "g"}}, "the frame has no column 'y'"),
        ([1], {"ranges": {"x": "y"}}, "the frame has no column 'y'"),
        ([1], {"units": {"x": "stone"}}, 'the unit "stone" is not known'),
    ],
)
def test_what_frames_may_have_in_them(notebook, content, options, texts):
    try:
        found = notebook.add_table("T", frame_of(x=content), **options)["x"].texts()
    except ktformula9.Error as error:
        found = str(error)[: len(texts)]
        assert notebook.tables == []
    assert found == texts


@pytest.mark.parametrize(
    ("formulas", "options", "columns"),
    [
        ({"x": "[rate]/SUM([rate])"}, {}, {"x": [0.125, 0.25, 0.625]}),
        ({"x": "[y]*2", "y": "[conc]+1"}, {}, {"x": [3.0, 5.0, 7.0], "y": [1.5, 2.5, 3.5]}),
        ({"x": '[name] & "!"'}, {}, {"x": ["a!", "b!", "!"]}),
        (
            {"x": 'IF([y], "high", "low")', "y": "[rate] > 1", "z": '[x] & "er"'},
            {},
            {"x": ["low", "high", "high"], "y": [False, True, True], "z": ["lower", "higher", "higher"]},
        ),
        ({"x": 'IF([rate] = 5, "five", [rate])'}, {}, {"x": ["1", "2", "five"]}),
        (
            {"x": "[rate]/[total]"},
            {"definitions": {"total": "SUM([rate])"}, "formats": {"x": "0.0%"}},
            {"x": [0.125, 0.25, 0.625], "x_text": ["12.5%", "25.0%", "62.5%"]},
        ),
        ({"x": "[rate]*[n]"}, {"definitions": {"n": "COUNT([T])"}, "table": "T"}, {"x": [3.0, 6.0, 15.0]}),
        ({"x": "[conc]"}, {"units": {"conc": "g", "x": "mg"}}, {"x": [500.0, 1500.0, 2500.0]}),
        ({"x": "HALF([rate])"}, {"functions": {"HALF": lambda x: x / 2}}, {"x": [0.5, 1.0, 2.5]}),
        ({"x": "[conc]+0,5".replace("0,5", "1")}, {"locale": "de_DE"}, {"x": [1.5, 2.5, 3.5]}),
        (
            {"x": "1/([rate]-2)", "y": "[x] * 2"},
            {"errors": "keep"},
            {
                "x": [-1, NAN, 1 / 3],
                "x_error": [None, "Division by zero", None],
                "y": [-2, NAN, 2 / 3],
                "y_error": [None, "Division by zero", None],
            },
        ),
        (
            {"x": "[ratee]"},
            {"errors": "keep"},
            {"x": [NAN] * 3, "x_error": ['the object of type "Nothing" can not be converted into a value'] * 3},
        ),
    ],
)
def test_calculate(formulas, options, columns):
    found = calculate(MEASURED, formulas, **options)
    pandas.testing.assert_frame_equal(found, MEASURED.assign(**columns)[list(found)])
    assert list(found) == [*MEASURED, *columns] and list(MEASURED) == ["conc", "rate", "name"]


@pytest.mark.parametrize(
    ("rates", "options", "double", "total"),
    [
        ([1, NAN, 2], {}, [2, NAN, 4], NAN),
        ([1, NAN, 2], {"missing": ""}, [2, 0, 4], 3),
        ([1, numpy.inf, 2], {}, [2, NAN, 4], NAN),
        ([1, None, "<2"], {"types": {"rate": "number"}}, [2, NAN, NAN], NAN),
    ],
)
def test_with_a_missing_number_nothing_is_computed(rates, options, double, total):
    found = calculate(frame_of(rate=rates), {"x": "[rate]*2", "s": "SUM([rate])"}, **options)
    pandas.testing.assert_frame_equal(found[["x", "s"]], frame_of(x=double, s=[total] * 3), check_dtype=False)


def test_no_rows_and_names_of_all_kinds():
    found = calculate(frame_of(**{"a:b": [1.0], "Δµ ]": [2.0]})[:0], {"y": "1"})
    assert found["y"].dtype == float and len(found) == 0
    # What no formula reads may be anything.
    frame = pandas.DataFrame({0: [1.5], "µ": [2], "j": [1j], "long": [[1, "2"]]})
    found = calculate(frame, {"Δ": "[Table:0:1]*[ µ ]"})
    assert found["Δ"].tolist() == [3.0]
    duplicate = pandas.DataFrame([[1, 2]], columns=["a", "a"])
    for frame in (duplicate, pandas.DataFrame({("a", "b"): [1]})):
        with pytest.raises(ktformula9.Error) as caught:
            calculate(frame, {"x": "1"})
        assert caught.value.argument == "frame"


@pytest.mark.parametrize(
    ("formulas", "options", "column", "place", "row"),
    [
        ({"x": '"µ" & [ratee]'}, {}, "x", "[ratee]", None),
        ({"x": "1", "y": "HALV([rate])"}, {}, "y", "HALV", None),
        ({"x": "(1"}, {}, "x", "(", None),
        ({"x": "[d]"}, {"definitions": {"d": "SUM([ratee])"}}, "d", "[ratee]", None),
        ({"x": "[y]", "y": "[x]"}, {}, "x", "[y]", 0),
        ({"x": "1/([rate]-2)"}, {}, "x", "/", 1),
        ({"x": '[name] + "x"'}, {}, "x", "+", 0),
        ({"x": "BAD([rate])"}, {"functions": {"BAD": lambda x: 1 / (x - 5)}}, "x", "BAD([rate])", 2),
    ],
)
def test_formulas_that_are_wrong_or_fail(formulas, options, column, place, row):
    with pytest.raises(ktformula9.FormulaError) as caught:
        calculate(MEASURED, formulas, **options)
    error = caught.value
    found = error.formula[error.start or 0 : (error.start or 0) + (error.length or len(error.formula))]
    assert (error.column, found, error.row) == (column, place, row)
    assert error.problems[0].code and "^" * len(place) in str(error) or error.start is None


def test_types_are_those_of_all_rows():
    late = frame_of(a=[None] * 100 + [decimal.Decimal(2)], b=[1.0] * 100 + [3])
    found = calculate(late, {"x": "[a]*2", "y": 'IF([b] > 2, "high", [b])', "z": '[y] & "!"'})
    assert found["x"].tolist()[-1] == 4 and found["y"].tolist()[-2:] == ["1", "high"]
    assert found["z"].tolist()[-2:] == ["1!", "high!"]


def test_results_are_those_of_python_to_the_last_bit():
    random = numpy.random.default_rng(7)
    frame = frame_of(a=random.normal(0, 1e6, 100_000), b=random.uniform(1e-9, 1, 100_000))
    found = calculate(frame, {"c": "[a]/[b]*1000+[a]", "d": "[c]*3-[b]"})
    expected = frame.eval("c = a/b*1000+a").eval("d = c*3-b")
    pandas.testing.assert_frame_equal(found, expected, check_exact=True)


def test_numbers_are_typed_as_texts_that_read_as_the_same(notebook):
    bits = numpy.random.default_rng(3).integers(0, 2**64, 20_000, dtype="uint64").view("float64")
    numbers = [*bits[numpy.isfinite(bits)], 5e-324, 2.2250738585072014e-308, 1e15, 1e16]
    typed = notebook.add_table("T", frame_of(x=numbers))["x"]
    assert typed.numbers().tolist() == numbers
    read = notebook.add_table("U", frame_of(x=typed.texts()), types={"x": "number"})["x"]
    assert read.numbers() == typed.numbers()
