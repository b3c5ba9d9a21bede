"""Errors: their tree, their texts for the command line and for Python, copies of them."""

import inspect
import pickle

import pytest
from support import ROOT  # noqa: F401

from orbitrax import errors

KINDS = [kind for _, kind in inspect.getmembers(errors, inspect.isclass)
         if issubclass(kind, errors.OrbitraxError)]


def test_the_tree_at_the_head_of_the_module_is_the_tree():
    drawn, above = {}, []
    for line in (errors.__doc__ or "").splitlines():
        words = line.split()
        if line.startswith("    ") and words and hasattr(errors, words[0]):
            depth = (len(line) - len(line.lstrip()) - 4) // 2
            above[depth:] = [words[0]]
            drawn[words[0]] = above[depth - 1] if depth else "Exception"
    assert drawn == {kind.__name__: kind.__bases__[0].__name__ for kind in KINDS}


@pytest.mark.parametrize("typed,python", [
    ("try a higher --scf-iterations, --no-diis or --uhf",
     "try a higher scf_iterations, diis=False or uhf"),
    ("a--b.xyz -- no such --- thing", "a--b.xyz -- no such --- thing"),
    ("choose fewer --points", "choose fewer points"),
    ("not built here; run ./setup --page", "not built here; run ./setup --page")])
def test_settings_are_spelled_for_whoever_reads(typed, python):
    error = errors.UsageError(typed)
    assert (error.typed, str(error)) == (typed, python)


def test_a_setting_that_cannot_be_is_told_the_same_way_everywhere():
    error = errors.SettingError("level_shift_start", 1.5, "should be a whole number")
    assert str(error) == "level_shift_start 1.5: should be a whole number"
    assert error.typed == "--level-shift-start 1.5: should be a whole number"


@pytest.mark.parametrize("kind", KINDS)
def test_every_error_can_be_sent_to_another_process(kind):
    makers = {errors.ParameterError: ("a.abp", 3, 4, "text"), errors.BackendDied: ("text", -9),
              errors.SettingError: ("limit", 0, "should be above 0")}
    error = kind(*makers.get(kind, ("text",)))
    copy = pickle.loads(pickle.dumps(error))
    assert type(copy) is kind and str(copy) == str(error) and copy.__dict__ == error.__dict__
