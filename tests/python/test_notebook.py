"""Notebooks, tables and columns without pandas."""

import gc
import math
import os
import subprocess
import sys
import threading
from array import array

import pytest

import ktformula9
from ktformula9 import ErrorValue


def test_computes_and_tells_what_changed(notebook, reactants):
    first = notebook.recalculate()
    assert first.settled
    assert [(c.table, c.column, c.rows) for c in first.changed] == [("Reactants", "Moles", [0, 1])]
    assert reactants["Moles"].texts() == ["9.99 mmol", "5.00 mmol"]
    reactants["Mass"][0] = 2.44
    assert [c.rows for c in notebook.recalculate().changed] == [[0]]
    assert notebook.undo() and notebook.recalculate().changed and str(reactants["Moles"][0]) == "9.99 mmol"
    assert notebook.redo() and not notebook.redo()


def test_cells(notebook, reactants):
    notebook.recalculate()
    mass, moles = reactants["Mass"], reactants["Moles"]
    assert mass[1] == ktformula9.Cell("0.500 .. 0.600", 0.5, 0.6, "", "typed", None)
    assert (moles[1].unit, moles[1].origin, moles[1].error) == ("mmol", "computed", None)
    assert mass.ranges() == (array("d", [1.22, 0.5]), array("d", [1.22, 0.6]))
    assert moles.origins() == ["computed", "computed"]
    mass.set_texts(["n.d.", "µ\0\0"])
    assert mass.texts() == ["n.d.", "µ\0\0"] and math.isnan(mass.numbers()[0])
    mass.set_numbers([3], first=1)
    mass.set_ranges(array("f", [1]), iter([2]))
    assert mass.texts() == ["1 .. 2", "3"]
    mass.set_numbers(memoryview(array("d", [1, 2, math.nan, 4]))[1:3], missing="")
    assert mass.texts() == ["2", ""]
    notebook.recalculate()
    assert moles.errors() == [False, False]


def test_numbers_are_typed_in_the_locale_of_the_notebook():
    table = ktformula9.Notebook(locale="de_DE").add_table("T")
    table.add_column("a")
    table.add_row(0.25)
    assert (table["a"][0].text, table["a"][0].min) == ("0,25", 0.25)


def test_the_parts_of_a_notebook(notebook, reactants):
    reactants.add_rows(["µ\0", "D"])
    reactants.add_rows(1)
    assert reactants.row_ids == ["1", "B", "µ\0", "D", "5"] and len(reactants) == 5
    reactants.rename_row(4, "E")
    reactants.move_row(4, 0)
    reactants.remove_row(1)
    assert (reactants.row_id(0), reactants.find_row("E"), reactants.find_row("F")) == ("E", 0, None)
    reactants.define("total", "SUM([Mass])")
    reactants["Mass"].rename("m")
    assert reactants.definitions == {"total": "SUM([m])"}
    reactants["Moles"].move(0)
    reactants["Moles"].set_formula("[total]", "0.00")
    column = reactants.columns[0]
    assert (column.name, column.type, column.unit) == ("Moles", "number", "mmol")
    assert (column.formula, column.format) == ("[total]", "0.00")
    reactants.rename("R")
    assert [table.name for table in notebook.tables] == ["R"]
    column.remove()
    with pytest.raises(ktformula9.Error, match="was removed"):
        column.texts()
    assert notebook.undo() and column.texts() == [""] * 4
    assert {"SUM", "COUNT"} <= {each.name for each in notebook.functions}


def test_problems_and_explanations_tell_places_in_characters(notebook, reactants):
    reactants.add_column("x", formula='"µ" & [Masss]')
    (problem,) = [each for each in notebook.check() if each.severity == "error"]
    assert (problem.code, problem.column, problem.row) == ("unknown-name", "x", None)
    assert str(problem) == (
        'Reactants:x: nothing here is called "Masss"\n'
        '  "µ" & [Masss]\n'
        "        ^^^^^^^\n"
        "  did you mean [Mass]?"
    )
    told = notebook.explain("Reactants:Moles:B")
    assert "[Mass] is 0.500 .. 0.600 g, typed into Reactants:Mass:B" in str(told)
    assert told.steps[0].value == (0.0005, 0.0006) and told.digits_from == "Reactants:Mass:1"
    assert reactants["Moles"].explain(1) == told


@pytest.mark.parametrize(
    ("formula", "value"),
    [
        ("1=1", True),
        ('"a" & "b"', "ab"),
        ("[Mass]*2", 0.00244),
        ("half([Mass])", 0.00061),
        ("PAIR(2)", (2.0, 3.0)),
        ("PAIR(2, 1)", (1.0, 2.0)),
        ("SAYS(1/0)", "Division by zero"),
        ("WHAT(7)", 7.0),
        ("NOTHING()", None),
        ('WHAT("2026-11-22")', "2026-11-22"),
        ("FAILS(1)", ErrorValue("no äther")),
        ("FAILS()", ErrorValue("IndexError")),
        ("A_LIST()", ErrorValue("the function gave a list, which is no value")),
        ("HALF(1, 2)", "the number of arguments for HALF function (2) is not 1"),
        ("PAIR()", "the number of arguments for PAIR function (0) is not 1 to 2"),
    ],
)
def test_functions_of_the_program(notebook, reactants, formula, value):
    @notebook.function("Half", help="HALF(number): half of the number")
    def half(number):
        return number / 2

    def fails(*values):
        raise ValueError("no äther") if values else IndexError

    notebook.function("PAIR")(lambda low, less=0: (low - less, low - less + 1))
    notebook.function("SAYS", takes_errors=True)(lambda error: error.message)
    notebook.function("WHAT", pure=True)(lambda value: value)
    notebook.function("NOTHING")(lambda: None)
    notebook.function("FAILS")(fails)
    notebook.function("A_LIST")(lambda: [])
    assert half(1) == 0.5
    try:
        found = reactants["Mass"].evaluate(0, formula)
    except ktformula9.FormulaError as error:
        found = str(error).splitlines()[0]
    assert found == value


def test_functions_can_not_change_their_notebook_but_interrupt(notebook, reactants):
    def edit():
        reactants["Mass"][0] = 7

    def interrupt():
        raise KeyboardInterrupt

    notebook.add_function("EDIT", edit)
    column = reactants.add_column("e", formula="EDIT()")
    notebook.recalculate()
    assert "can not edit or recalculate its notebook" in column[0].error
    notebook.add_function("STOP", interrupt)
    column.set_formula("STOP()")
    with pytest.raises(KeyboardInterrupt):
        notebook.recalculate()
    column.set_formula("1")
    assert notebook.recalculate().settled


@pytest.mark.parametrize(
    ("kind", "argument", "call"),
    [
        ("not found", "name", lambda t: t["Volume"]),
        ("not found", "row", lambda t: t["Mass"][2]),
        ("argument", "row", lambda t: t["Mass"][-1]),
        ("argument", "unit", lambda t: t.add_column("V", unit="stone")),
        ("argument", "type", lambda t: t.add_column("V", type="text")),
        ("argument", "name", lambda t: t.add_column("V\0")),
        ("argument", "name", lambda t: t.add_column("\ud800")),
        ("argument", "texts", lambda t: t["Mass"].set_texts(["\ud800"])),
        ("refused", "name", lambda t: t.add_column("Mass")),
        ("refused", "texts", lambda t: t.add_rows(["C", "C"])),
        ("argument", "texts", lambda t: t.add_row(1, 2, 3, 4)),
        ("not found", "first", lambda t: t["Mass"].set_numbers([1, 2, 3])),
        ("argument", "max", lambda t: t["Mass"].set_ranges([1], [])),
        ("not found", "cell", lambda t: t.notebook.explain("nowhere")),
        ("not found", "identifier", lambda t: t.set_result_format("none")),
        ("argument", "locale", lambda t: ktformula9.Notebook(locale="xx")),
        ("argument", "name", lambda t: t.notebook.function("A-B")(len)),
        ("refused", "name", lambda t: t.notebook.function("SUM")(len)),
        ("formula", "formula", lambda t: t["Mass"].evaluate(0, "1/0")),
    ],
)
def test_what_can_not_be_done_is_an_error_that_names_the_argument(reactants, kind, argument, call):
    with pytest.raises(ktformula9.Error) as caught:
        call(reactants)
    assert (caught.value.kind, caught.value.argument) == (kind, argument)


@pytest.mark.parametrize(
    "call",
    [
        lambda t: t[3],
        lambda t: t["Mass"]["a"],
        lambda t: t["Mass"][0.5],
        lambda t: t.add_row([1]),
        lambda t: t["Mass"].set_texts(["a", 1]),
        lambda t: t["Mass"].set_numbers("ab"),
        lambda t: t.notebook.explain("Reactants:Mass:1", "deep"),
        lambda t: t.notebook.function("F")(3),
        lambda t: t.notebook.function("F")(lambda *, by: by),
        lambda t: t.notebook.add_table("T", [1]),
    ],
)
def test_what_is_of_another_type_is_a_type_error(reactants, call):
    with pytest.raises(TypeError):
        call(reactants)


def test_a_place_in_a_formula_that_can_not_be_read(reactants):
    with pytest.raises(ktformula9.FormulaError) as caught:
        reactants["Mass"].evaluate(0, '"µ" & (1')
    error = caught.value
    assert (error.formula[error.start :], error.length) == ("(1", 1)


def test_closed_notebooks_are_gone(notebook, reactants):
    column = reactants["Mass"]
    notebook.close()
    notebook.close()
    for call in (notebook.check, column.texts, lambda: reactants["Mass"], notebook.undo):
        with pytest.raises(ktformula9.Error) as caught:
            call()
        assert caught.value.kind == "gone"


def test_another_thread_finds_the_notebook_busy(notebook, reactants):
    kinds = []

    def other():
        try:
            reactants["Mass"].texts()
        except ktformula9.Error as error:
            kinds.append(error.kind)

    def wait():
        thread = threading.Thread(target=other)
        thread.start()
        thread.join()
        return 1

    notebook.add_function("WAIT", wait)
    reactants["Mass"].evaluate(0, "WAIT()")
    assert kinds == ["busy"]


def _resident_kib():
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))


def _make_and_drop(count):
    for _ in range(count):
        notebook = ktformula9.Notebook()

        # Speaks of the notebook that keeps it.
        def fails(number, notebook=notebook):
            raise ValueError(f"{notebook.name} {number}" * 100)

        notebook.add_function("FAILS", fails)
        table = notebook.add_table("T")
        column = table.add_column("a", formula="FAILS(1)")
        table.add_rows(3)
        notebook.recalculate()
        assert column[0].error.startswith("Notebook 1.0")
    gc.collect()


def test_10000_notebooks_made_and_dropped_leave_nothing():
    _make_and_drop(1000)
    before = _resident_kib()
    _make_and_drop(10000)
    assert _resident_kib() - before < 2048


@pytest.mark.parametrize(
    ("library", "says"),
    [("/nowhere.so", "KTFORMULA9_LIBRARY"), ("libm.so.6", "libm.so.6 is no library of ktformula9")],
)
def test_a_library_that_is_not_there_is_told(library, says):
    code = "import os\ntry:\n import ktformula9\nexcept Exception as e: print(e)"
    environment = {**os.environ, "KTFORMULA9_LIBRARY": library}
    done = subprocess.run([sys.executable, "-c", code], env=environment, capture_output=True, text=True)
    assert says in done.stdout


def test_works_without_pandas():
    code = (
        "import sys; sys.modules['pandas'] = sys.modules['numpy'] = None\n"
        "import ktformula9\n"
        "column = ktformula9.Notebook().add_table('T').add_column('a')\n"
        "column.table.add_row(1.5)\n"
        "print(list(column.numbers()))\n"
        "column.table.to_frame()\n"
    )
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True)
    assert done.stdout == "[1.5]\n" and "import of pandas halted" in done.stderr.replace("numpy", "pandas")
