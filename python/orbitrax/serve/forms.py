"""What the page has to know of tasks, settings and methods to make its forms: from the declared
settings, so that a new task has a form as soon as it has a row."""

from __future__ import annotations

from orbitrax.errors import InputError, SettingError, UsageError
from orbitrax.job import MOLECULE, OUTPUT, Job, JobSettings
from orbitrax.methods import METHODS
from orbitrax.molecules.elements import SYMBOLS
from orbitrax.results.document import ROWS
from orbitrax.tables import load_parameters
from orbitrax.tasks.registry import PAGE_TASKS, find_task

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.molecules.molecule import Molecule
    from orbitrax.settings import Option
    from orbitrax.tasks.task import Task

_OF_FILES = ("FILE", "PATH", "FOLDER")  # what a name of a file is written for; the page has none
# What belongs to a file that the command line writes.
_OF_WRITTEN = frozenset(("animate", "beside", "isovalue", "labels", "plane", "plot_state",
                         "squared", "view", "views", "width"))
_CHOICES = {"hessian": ("model", "compute")}  # all that it may be here, where no file is opened
_USUAL = {"vibrations": {"optimize": True}}  # where the page begins elsewhere than the defaults
_FIRST = ("charge", "multiplicity")  # of the shared settings those that stand above all others


def asked(kind: type[Task]) -> list[Option]:
    """The settings of a task that the page asks for: those that are typed, in the order of its
    form, but for the names of files."""
    found = [one for one in kind.options.values()
             if one.typed and one.metavar not in _OF_FILES and one.name not in _OF_WRITTEN]
    own = [one for one in found if one.name not in JobSettings.options]
    shared = [one for one in found if one.name in JobSettings.options]
    shared.sort(key=lambda one: (one.group != MOLECULE, one.group == OUTPUT))
    return own + shared


def task_forms() -> list[dict[str, Any]]:
    """The tasks, each with the fields of its form."""
    found = []
    for row in PAGE_TASKS:
        kind = row.load()
        found.append({"name": row.name, "title": row.title, "description": kind.description,
                      "default_method": kind.default_method,
                      "fields": [_field(one, kind) for one in asked(kind)]})
    return found


def _field(one: Option, kind: type[Task]) -> dict[str, Any]:
    default = kind.options[one.name].default
    if one.kind == "tuple" or one.kind == "Decimal":
        default = " ".join(one.written(default)[1:]) if default else None
    usual = _USUAL.get(kind.name, {}).get(one.name, default)
    return {"name": one.name, "kind": one.kind, "usual": usual,
            "optional": one.optional, "default": default,
            "unit": one.unit, "help": one.help, "group": one.group,
            "choices": one.choices or _CHOICES.get(one.name),
            "least": one.least, "most": one.most, "above": one.above, "repeated": one.repeated,
            "converts": one.convert is not None,
            "first": one.name not in JobSettings.options or one.name in _FIRST}


def method_rows() -> list[dict[str, Any]]:
    """The methods, with the elements that each has parameters for."""
    return [{"key": one.key, "title": one.title, "family": one.family, "source": one.source,
             "elements": [SYMBOLS[z] for z in sorted(load_parameters(one).elements)]}
            for one in METHODS]


def result_rows() -> list[dict[str, Any]]:
    """The entries of a result document, with their units and meanings."""
    return [{"key": one.key, "kind": one.kind, "array": bool(one.shape), "unit": one.unit,
             "meaning": one.meaning} for one in ROWS]


def refusals(molecule: Molecule) -> dict[str, str]:
    """By method, why it cannot calculate a molecule; a method that can is not there."""
    found = {}
    for one in METHODS:
        try:
            Job(molecule, one, JobSettings()).check(load_parameters(one))
        except (InputError, UsageError) as error:
            found[one.key] = error.typed
    return found


def make_task(name: str, given: dict[str, Any]) -> Task:
    """A task with the values of its form. Raises SettingError, with the name of the field, for a
    value that cannot be; UsageError for what belongs to no field, names of files among it."""
    kind = find_task(name, PAGE_TASKS)
    allowed = {one.name: one for one in asked(kind)}
    values = {}
    for key, value in given.items():
        one = allowed.get(key)
        if one is None:
            raise UsageError(f"the page has no setting '{key[:40]}' of the task '{name}'")
        values[key] = _value(one, value)
    return kind(**values)


def _value(one: Option, value: Any) -> Any:
    choices = _CHOICES.get(one.name)
    if choices is not None and value not in (None, *choices):
        raise SettingError(one.name, str(value)[:60], f"choose from {', '.join(choices)}")
    try:
        if one.repeated and isinstance(value, str):
            value = [part.strip() for part in value.split(";") if part.strip()]
        return one.checked(value)
    except SettingError:
        raise
    except (UsageError, TypeError, ValueError, ArithmeticError, AttributeError) as error:
        shown = str(value)[:60]
        raise SettingError(one.name, shown, getattr(error, "typed", str(error))) from None
