import pytest

import ktformula9


@pytest.fixture
def notebook():
    with ktformula9.Notebook("Amide") as made:
        yield made


@pytest.fixture
def reactants(notebook):
    """Three columns, of which the last is computed, and two rows."""
    table = notebook.add_table("Reactants")
    table.add_column("Mass", unit="g")
    table.add_column("MW", unit="g/mol")
    table.add_column("Moles", unit="mmol", formula="[Mass]/[MW]")
    table.add_row("1.22", 122.12)
    table.add_row("0.500 .. 0.600", "100.0 g/mol", id="B")
    return table
