"""Sizes: functions that fit a screen, files that hold one thing, lines of 100 columns."""

from __future__ import annotations

import ast
from pathlib import Path

from tree import ROOT, files, functions, nothing_of

LINES_OF_FUNCTION = 60
LINES_OF_FILE = 500
COLUMNS = 100

# Drivers and tables that may be longer: "path" for a file, "path:function" for a function, and the
# reason. An entry that is no longer needed is a fault too.
LONGER: dict[str, str] = {
    "src/link/packets.h": "the wire is one table: every structure that crosses the link",
}

CPP = (".cpp", ".h")
SCRIPTS = {"setup", "test", "orbitrax", ".ci/run"}
FOLDERS = ("src/", "tests/", "benchmarks/", "python/", "examples/", "web/")


def python_functions(text: str) -> list[tuple[str, int, int]]:
    """Name, first line and number of lines of each function of a Python text."""
    nodes = (ast.FunctionDef, ast.AsyncFunctionDef)
    return [
        (node.name, node.lineno, (node.end_lineno or node.lineno) - node.lineno + 1)
        for node in ast.walk(ast.parse(text))
        if isinstance(node, nodes)
    ]


def too_large(root: Path) -> dict[str, str]:
    """Keys as in LONGER, with what is too large about each."""
    found = {}
    for path in files(root, *CPP, ".py", below=FOLDERS):
        name = path.relative_to(root).as_posix()
        text = path.read_text(encoding="utf-8")
        count = len(text.splitlines())
        if count > LINES_OF_FILE:
            found[name] = f"{count} lines"
        if path.suffix == ".py":
            spans = python_functions(text)
        else:
            spans = [(f.name, f.line, f.lines) for f in functions(text) if f.defined]
        for function, line, lines in spans:
            if lines > LINES_OF_FUNCTION:
                found[f"{name}:{function}"] = f"{lines} lines, from line {line}"
    return found


def long_lines(root: Path) -> list[str]:
    """Lines of C++, Python, CMake and shell with more than COLUMNS characters, or loose blanks.

    Tables that are kept from the formatter may be wider, so that their columns stay columns.
    """
    found = []
    for path in files(root):
        name = path.relative_to(root).as_posix()
        if path.suffix not in (*CPP, ".py", ".cmake", ".sh") and name not in SCRIPTS:
            if path.name != "CMakeLists.txt":
                continue
        table = False
        for i, line in enumerate(path.read_text(encoding="utf-8").split("\n"), 1):
            if path.suffix in CPP and line.strip().startswith("// clang-format o"):
                table = line.strip() == "// clang-format off"
            if len(line) > COLUMNS and not table:
                found.append(f"{name}:{i}: {len(line)} columns")
            if line != line.rstrip() or "\t" in line:
                found.append(f"{name}:{i}: a blank at the end, or a tab")
    return found


def test_functions_and_files_keep_their_size():
    found = too_large(ROOT)
    assert {key: said for key, said in found.items() if key not in LONGER} == {}
    assert [key for key in LONGER if key not in found] == [], "these need no exemption any more"


def test_lines_have_at_most_a_hundred_columns():
    nothing_of(long_lines(ROOT))


def test_a_long_function_is_caught(plant):
    body = "    n += 1;\n" * 59
    head = "namespace qsolve {\nint Long(int n) {\n"
    root = plant(
        {
            "src/scf/a.cpp": f"{head}{body}    return n;\n}}\n}}\n",
            "src/scf/b.cpp": f"namespace qsolve {{\nint Fits(int n) {{\n{body[12:]}}}\n}}\n",
            "tests/unit/scf/a_test.cpp": f"TEST(Scf, Is) {{\n{body}{body}}}\n",
            "python/orbitrax/a.py": "def long():\n" + "    pass\n" * 60,
        }
    )
    assert sorted(too_large(root)) == [
        "python/orbitrax/a.py:long",
        "src/scf/a.cpp:Long",
        "tests/unit/scf/a_test.cpp:Scf.Is",
    ]


def test_a_long_file_is_caught(plant):
    root = plant({"src/scf/a.cpp": "int a;\n" * 501, "src/scf/b.cpp": "int a;\n" * 500})
    assert list(too_large(root)) == ["src/scf/a.cpp"]


def test_a_long_line_and_a_loose_blank_are_caught(plant):
    wide, fits = "// " + "µ" * 98, "// " + "µ" * 97
    table = f"// clang-format off\n{wide}\n// clang-format on\n{wide}\n"
    root = plant({"src/scf/a.h": f"{wide}\n{fits}\nint a; \n{table}", "CMakeLists.txt": "a\t\n"})
    assert [said.split(" ")[0] for said in long_lines(root)] == [
        "CMakeLists.txt:1:",
        "src/scf/a.h:1:",
        "src/scf/a.h:3:",
        "src/scf/a.h:7:",
    ]
