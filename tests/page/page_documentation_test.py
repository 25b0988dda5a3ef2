"""The lines of docs/page.md that a script can send are answered as the page says.

Usage: page_documentation_test.py PROGRAM SOURCES
"""

import os
import re
import signal
import subprocess
import sys
import tempfile
from pathlib import Path


def examples(page: str) -> list[tuple[str, str]]:
    """Command lines of the page's console blocks, each with what it prints."""
    found = []
    for block in re.findall(r"```console\n(.*?)```", page, re.DOTALL):
        for example in re.split(r"^\$ ", block, flags=re.MULTILINE)[1:]:
            command, _, output = example.partition("\n")
            found.append((command, output))
    return found


def answer(command: str, environment: dict[str, str]) -> str:
    done = subprocess.run(command, shell=True, env=environment, capture_output=True, text=True,
                          timeout=60, check=True)
    return done.stdout


def main(program: str, sources: Path) -> int:
    lines = examples((sources / "docs/page.md").read_text(encoding="utf-8"))
    with tempfile.TemporaryDirectory() as folder:
        database, key = f"{folder}/notebook.db", f"{folder}/key"
        subprocess.run([program, "import", sources / "examples/aspirin.xml", "--db", database],
                       check=True, capture_output=True)
        with subprocess.Popen([program, "serve", "--db", database, "--key-file", key],
                              stdout=subprocess.PIPE, text=True) as server:
            try:
                page = server.stdout.readline().split("/?")[0]
                environment = os.environ | {"PAGE": page, "KEY": Path(key).read_text().strip()}
                wrong = [(command, output, said) for command, output in lines
                         if (said := answer(command, environment)) != output]
            finally:
                server.send_signal(signal.SIGTERM)
        for command, output, said in wrong:
            print(f"$ {command}\nexpected: {output}\nanswered: {said}")
        print(f"{len(lines) - len(wrong)} passed, {len(wrong)} failed")
        return 1 if wrong or not lines or server.returncode != 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], Path(sys.argv[2])))
