"""The Python package: its floors, its types and remarks, units and paths in one place each."""

from __future__ import annotations

import ast
import re
import subprocess
from pathlib import Path

import pytest
from tree import ROOT, files, nothing_of

# The rooms and lone modules of the package by floors, from the top; what stands on one line may not
# import each other. Imports for type checkers alone count for nothing here.
FLOORS = (
    ("__main__", "ase", "openff", "qcengine", "serve", "sqm"),
    ("cli",),
    ("about", "api", "atomic_charges", "bridges", "bulk", "reactions"),
    ("tasks", "pictures"),
    ("backend",),
    ("orbitals",),
    ("results",),
    ("session",),
    ("job",),
    ("grids", "motion", "tables", "vibrations"),
    ("molecules", "link"),
    ("settings", "methods", "files", "arrays", "jsontext", "memory", "minimise"),
    ("errors", "interrupts", "units", "paths"),
)
FLOOR_OF = {room: floor for floor, rooms in enumerate(FLOORS) for room in rooms}
HEAD = "__init__"  # of the package: its version, which everybody may ask for

CONVERSIONS = re.compile(r"(?<![\d.])(0\.5291\d|1\.8897\d|627\.5\d|23\.06\d|27\.211\d|0\.04336)")


def package(root: Path) -> list[Path]:
    """The files of the package."""
    return files(root, ".py", below=("python/orbitrax/",))


def room_of(path: Path, root: Path) -> str:
    """The room of a file: the folder below the package, or the module itself."""
    parts = path.relative_to(root / "python" / "orbitrax").parts
    return parts[0].removesuffix(".py")


def imports(tree: ast.AST) -> list[tuple[int, str]]:
    """Line and module of each import of the package's own, those for type checkers apart."""
    found: list[tuple[int, str]] = []
    for node in ast.iter_child_nodes(tree):
        if isinstance(node, ast.If) and getattr(node.test, "id", "") == "TYPE_CHECKING":
            found += [place for other in node.orelse for place in imports(other)]
            continue
        if isinstance(node, ast.ImportFrom) and (node.module or "").split(".")[0] == "orbitrax":
            names = [node.module or ""]
            if node.module == "orbitrax":
                names = [f"orbitrax.{alias.name}" for alias in node.names]
            found += [(node.lineno, name) for name in names]
        elif isinstance(node, ast.Import):
            found += [(node.lineno, alias.name) for alias in node.names
                      if alias.name.split(".")[0] == "orbitrax"]
        found += imports(node)
    return found


def wrong_arrows(root: Path) -> list[str]:
    """Imports that point up or sideways, and rooms that stand on no floor."""
    found = []
    for path in package(root):
        name, room = path.relative_to(root).as_posix(), room_of(path, root)
        if room == HEAD:
            continue
        if room not in FLOOR_OF:
            found.append(f"{name}: '{room}' stands on no floor")
            continue
        for line, module in imports(ast.parse(path.read_text(encoding="utf-8"))):
            other = module.split(".")[1] if "." in module else HEAD
            if other in (room, HEAD, "__version__"):
                continue
            if FLOOR_OF.get(other, -1) <= FLOOR_OF[room]:
                found.append(f"{name}:{line}: {room} imports {other}")
    return found


def untyped(root: Path) -> list[str]:
    """Functions that anybody may call without types or without a remark."""
    found = []
    for path in package(root):
        name = path.relative_to(root).as_posix()
        tree = ast.parse(path.read_text(encoding="utf-8"))
        if not ast.get_docstring(tree):
            found.append(f"{name}: says nothing of itself")
        for node in _public(tree):
            place = f"{name}:{node.lineno}: {node.name}"
            if not ast.get_docstring(node) and not _is_overload(node):
                found.append(f"{place} has no remark")
            if isinstance(node, ast.ClassDef):
                continue
            given = [*node.args.posonlyargs, *node.args.args, *node.args.kwonlyargs]
            bare = [one.arg for one in given if one.annotation is None and one.arg not in (
                "self", "cls")]
            if bare or node.returns is None:
                found.append(f"{place} lacks types of {', '.join(bare) or 'what it returns'}")
    return found


def _public(tree: ast.AST):
    """Classes and functions without an underscore, outside of functions."""
    for node in ast.iter_child_nodes(tree):
        if isinstance(node, (ast.FunctionDef, ast.ClassDef)) and not node.name.startswith("_"):
            yield node
            if isinstance(node, ast.ClassDef):
                yield from _public(node)


def _is_overload(node: ast.AST) -> bool:
    return any(getattr(one, "id", "") == "overload" for one in node.decorator_list)


def scattered_units(root: Path) -> list[str]:
    """Numbers that convert units, outside of the module that has them all."""
    found = []
    for path in package(root):
        name = path.relative_to(root).as_posix()
        if name.endswith("/units.py"):
            continue
        for i, line in enumerate(path.read_text(encoding="utf-8").split("\n"), 1):
            if CONVERSIONS.search(line):
                found.append(f"{name}:{i}: {line.strip()[:60]}")
    return found


def paths_out_of_the_package(root: Path) -> list[str]:
    """Places where the package looks for files outside of itself."""
    return [f"{path.relative_to(root).as_posix()}:{i}" for path in package(root)
            for i, line in enumerate(path.read_text(encoding="utf-8").split("\n"), 1)
            if re.search(r"\bparents\[|\bwine\b", line, re.I)]


def test_imports_point_down():
    nothing_of(wrong_arrows(ROOT))


def test_every_public_function_has_types_and_a_remark():
    nothing_of(untyped(ROOT))


def test_units_are_converted_in_one_place():
    nothing_of(scattered_units(ROOT))


def test_the_package_finds_its_files_in_itself_and_knows_no_wine():
    nothing_of(paths_out_of_the_package(ROOT))


@pytest.mark.timeout(900)
def test_the_package_and_its_use_pass_the_strict_type_checker():
    for what in (["-p", "orbitrax"], ["tests/python/typed_use.py"]):
        run = subprocess.run(["/usr/bin/python3", "-m", "mypy", *what], cwd=ROOT, text=True,
                             capture_output=True)
        assert run.returncode == 0, run.stdout + run.stderr


def test_an_arrow_up_is_caught(plant):
    root = plant({
        "python/orbitrax/__init__.py": "from orbitrax.cli import main\n",
        "python/orbitrax/molecules/a.py": "from orbitrax.job import Job\n",
        "python/orbitrax/molecules/b.py": "from orbitrax import __version__, errors, link\n",
        "python/orbitrax/job.py": "def f():\n    import orbitrax.cli.run\n",
        "python/orbitrax/attic/a.py": "",
        "python/orbitrax/errors.py": "TYPE_CHECKING = False\nif TYPE_CHECKING:\n"
                                     "    from orbitrax.job import Job\n",
        "python/orbitrax/link/a.py": "from orbitrax.link.b import c\nfrom orbitrax import units\n"})
    assert [said.replace("python/orbitrax/", "") for said in wrong_arrows(root)] == [
        "attic/a.py: 'attic' stands on no floor", "job.py:2: job imports cli",
        "molecules/a.py:1: molecules imports job", "molecules/b.py:1: molecules imports link"]


def test_what_lacks_types_or_a_remark_is_caught(plant):
    root = plant({"python/orbitrax/a.py": '"""A."""\ndef f(x, *y):\n    """F."""\n'
                                          "def _g(x):\n    pass\nclass C:\n    pass\n"
                                          'def h() -> None:\n    """H."""\n'})
    assert [said.split(": ")[1] for said in untyped(root)] == ["f lacks types of x",
                                                               "C has no remark"]


def test_a_conversion_elsewhere_and_a_path_outside_are_caught(plant):
    root = plant({"python/orbitrax/units.py": "A = 0.529177\n",
                  "python/orbitrax/a.py": "B = 1 / 0.5291772\nC = 10.5291\nD = 627.5095\n",
                  "python/orbitrax/b.py": "p = Path(__file__).parents[2]\n# Wine\n"})
    assert [said.split(": ")[0][-6:] for said in scattered_units(root)] == ["a.py:1", "a.py:3"]
    assert [said[-6:] for said in paths_out_of_the_package(root)] == ["b.py:1", "b.py:2"]
