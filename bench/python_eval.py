"""ktformula9.calculate next to pandas.DataFrame.eval: the same column of the same frame.

    KTFORMULA9_LIBRARY=build/release/src/notebook/libktformula9.so.0 PYTHONPATH=python \\
        /usr/bin/python3 bench/python_eval.py [RUNS]

Both take turns, so that a busy machine hurts them alike; the results have to be the same to the
last bit. The parts of calculate are timed in runs of their own: numbers in, formulas, numbers out
(with everything else that it does).
"""

import statistics
import sys
import time

import ktformula9
import numpy
import pandas

FORMULA = "[m]/[w]*1000+[d]"
EXPRESSION = "m/w*1000+d"


def frame_of(rows):
    random = numpy.random.default_rng(rows)
    return pandas.DataFrame({name: random.uniform(1, 100, rows) for name in "mwd"})


def by_formula(frame):
    return ktformula9.calculate(frame, {"x": FORMULA})


def by_eval(frame):
    return frame.eval(f"x = {EXPRESSION}")


class Clock:
    """Milliseconds since it was made, or since the last look at it."""

    def __init__(self):
        self.begin = time.perf_counter()

    def look(self):
        now = time.perf_counter()
        passed, self.begin = (now - self.begin) * 1000, now
        return passed


def parts(frame):
    """Numbers in; formulas."""
    notebook = ktformula9.Notebook()
    table = notebook.add_table("Table")
    clock = Clock()
    columns = [table.add_column(name) for name in frame]
    table.add_column("x", formula=FORMULA)
    table.add_rows(len(frame))
    for column in columns:
        column.set_numbers(frame[column.name].to_numpy())
    filled = clock.look()
    notebook._settle()
    return filled, clock.look()


def main(runs=7):
    print("     rows       eval  calculate   ratio  numbers in   formulas  ms")
    for rows in (1_000, 100_000, 1_000_000):
        frame = frame_of(rows)
        expected, found = by_eval(frame), by_formula(frame)
        pandas.testing.assert_frame_equal(expected, found, check_exact=True)
        times = []
        for _ in range(int(runs)):
            clock = Clock()
            by_eval(frame)
            evaluated = clock.look()
            by_formula(frame)
            times.append((evaluated, clock.look(), *parts(frame)))
        theirs, ours, numbers, formulas = map(statistics.median, zip(*times))
        print(
            f"{rows:9}  {theirs:9.2f}  {ours:9.2f}  {ours / theirs:6.0f}"
            f"  {numbers:10.2f}  {formulas:9.2f}"
        )


main(*sys.argv[1:])
