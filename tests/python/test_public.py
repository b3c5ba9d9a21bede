"""The public face of the package: names, where they come from, what a completion shows."""

import ast
import inspect
import subprocess
import sys

import pytest
from support import ROOT

import orbitrax
from orbitrax import errors

SOURCE = ROOT / "python" / "orbitrax" / "__init__.py"


def typed_names():
    """The names that a type checker sees, with their modules."""
    found = {}
    for node in ast.walk(ast.parse(SOURCE.read_text(encoding="utf-8"))):
        if isinstance(node, ast.If) and getattr(node.test, "id", "") == "TYPE_CHECKING":
            for line in node.body:
                if isinstance(line, ast.ImportFrom) and (line.module or "").startswith("orbitrax"):
                    found.update({alias.name: line.module for alias in line.names})
    return found


def test_the_sorted_list_is_what_the_package_exports():
    assert orbitrax.__all__ == ["__version__", *sorted(orbitrax._MODULES)]
    assert dir(orbitrax) == sorted(orbitrax.__all__)
    namespace = {}
    exec("from orbitrax import *", namespace)
    assert sorted(set(namespace) - {"__builtins__"}) == sorted(orbitrax.__all__)


def test_a_type_checker_sees_the_same_names_in_the_same_places():
    found = {name: f"orbitrax.{module}" for name, module in orbitrax._MODULES.items()}
    assert typed_names() == found


@pytest.mark.parametrize("name", orbitrax.__all__[1:])
def test_a_public_name_is_at_home_where_the_table_says_and_documented(name):
    found = getattr(orbitrax, name)
    if inspect.isclass(found) or inspect.isfunction(found):
        assert found.__module__ == f"orbitrax.{orbitrax._MODULES[name]}"
        assert inspect.getdoc(found)


def test_every_error_is_public():
    kinds = {name for name, kind in vars(errors).items()
             if inspect.isclass(kind) and issubclass(kind, errors.OrbitraxError)}
    assert kinds <= set(orbitrax.__all__)
    with pytest.raises(orbitrax.OrbitraxError):
        orbitrax.find_method("dft")


def test_a_name_that_is_not_public_is_an_attribute_error():
    with pytest.raises(AttributeError, match="no attribute 'nonsense'"):
        orbitrax.nonsense


def test_importing_it_loads_next_to_nothing():
    program = ("import sys\nbefore = set(sys.modules)\nimport orbitrax\ndir(orbitrax)\n"
               "assert set(sys.modules) - before == {'orbitrax', '__future__'}\n")
    subprocess.run([sys.executable, "-c", program], check=True,
                   env={"PYTHONPATH": str(ROOT / "python")})
