"""Declared settings: values, refusals, and what is known of each."""

import copy
import pickle

import numpy as np
import pytest
from support import ROOT  # noqa: F401

from orbitrax.errors import SettingError, UsageError
from orbitrax.job import JobSettings
from orbitrax.settings import Settings, declared, option


@declared
class Base(Settings):
    charge: int | None = option(None, help="total charge")
    diis: bool = option(True, help="extrapolate")


@declared
class Search(Base):
    limit: float = option(0.1, above=0, unit="kcal/mol", help="where it ends")
    cycles: int = option(1000, least=0, help="most cycles")
    width: int = option(1200, least=100, most=4000, unit="pixels", help="pixels across")
    margin: float = option(3.0, least=0, most=10, help="room")
    name: str = option("downhill", choices=("downhill", "uphill"), help="which way")
    atoms: tuple[int, ...] = option((), help="which")


def test_a_class_inherits_the_options_of_its_base_in_their_order():
    assert list(Search.options) == ["charge", "diis", "limit", "cycles", "width", "margin", "name",
                                    "atoms"]
    assert list(Base.options) == ["charge", "diis"]
    about = Search.options["limit"]
    assert (about.name, about.kind, about.optional, about.default) == ("limit", "float", False, 0.1)
    assert Search.options["charge"].optional and Search.options["atoms"].kind == "tuple"


def test_what_is_not_given_has_its_default():
    settings = Search(limit=1, charge=-2)
    assert (settings.limit, settings.charge, settings.diis) == (1.0, -2, True)
    assert isinstance(settings.limit, float)
    assert settings.to_dict() == {"charge": -2, "diis": True, "limit": 1.0, "cycles": 1000,
                                  "width": 1200, "margin": 3.0, "name": "downhill", "atoms": ()}
    assert repr(settings) == "Search(charge=-2, limit=1.0)"


def test_settings_are_values():
    settings = Search(limit=1)
    for other in (settings.replace(), Search(limit=1.0), copy.deepcopy(settings),
                  pickle.loads(pickle.dumps(settings))):
        assert other == settings and hash(other) == hash(settings)
    assert settings.replace(limit=2) == Search(limit=2) and settings.limit == 1
    assert Base() != Search() and Search(limit=0.1) == Search()
    with pytest.raises(AttributeError, match=r"replace\(limit=...\)"):
        settings.limit = 2
    with pytest.raises(AttributeError):
        del settings.limit


@pytest.mark.parametrize("values,words", [
    ({"limit": 0}, "limit 0.0: should be above 0"),
    ({"limit": float("nan")}, "limit nan: is not a number that can be used"),
    ({"limit": 1e39}, r"limit 1e\+39: is not a number that can be used"),
    ({"limit": 10**400}, "limit 10{400}: is not a number that can be used"),
    ({"limit": "much"}, "limit much: should be a number"),
    ({"limit": True}, "limit True: should be a number"),
    ({"cycles": -1}, "cycles -1: should be 0 or above"),
    ({"cycles": 1.5}, "cycles 1.5: should be a whole number"),
    ({"cycles": 2**31}, "cycles 2147483648: choose from 0 to 2147483647"),
    ({"charge": -2**31}, "charge -2147483648: choose from -2147483647 to 2147483647"),
    ({"width": 20}, "width 20: choose from 100 to 4000 pixels"),
    ({"margin": -1}, "margin -1.0: choose from 0 to 10"),
    ({"name": "sideways"}, "name sideways: choose from downhill, uphill"),
    ({"name": 3}, "name 3: should be a text"),
    ({"diis": "no"}, "diis no: should be true or false"),
    ({"atoms": [1, 2.5]}, r"atoms \[1, 2.5\]: should be whole numbers"),
    ({"limit": None}, "limit None: should be a number"),
])
def test_a_value_that_cannot_be_is_refused_in_one_sentence(values, words):
    with pytest.raises(SettingError, match=f"^{words}$"):
        Search(**values)
    with pytest.raises(SettingError, match=f"^{words}$"):
        Search().replace(**values)


def test_numbers_of_numpy_are_numbers():
    settings = Search(cycles=np.int64(3), limit=np.float32(0.5), diis=np.bool_(False),
                      charge=np.float64(2.0))
    assert settings.to_dict() == Search(cycles=3, limit=0.5, diis=False, charge=2).to_dict()
    assert type(settings.cycles) is int and type(settings.diis) is bool


def test_a_name_that_does_not_exist_is_named_with_the_one_that_was_meant():
    with pytest.raises(UsageError, match="no setting 'cycle'; did you mean 'cycles'"):
        Search(cycle=3)
    with pytest.raises(UsageError, match="no setting 'zzz'; there are charge, diis"):
        Base(zzz=3)


def test_an_option_says_only_what_options_say():
    with pytest.raises(TypeError, match="colour"):
        option(3, help="", colour="red")
    with pytest.raises(TypeError, match="cannot be of the kind complex"):
        type("Odd", (Settings,), {"__annotations__": {"a": "complex"}, "a": option(1, help="")})


@pytest.mark.parametrize("values", [
    {"select": [1.5]}, {"select": 3}, {"select": [None]}, {"select": [float("nan")]},
    {"restrain": [{}]}, {"restrain": 3}, {"restrain": [None]}])
def test_atoms_and_restraints_that_are_none_are_refused(values):
    with pytest.raises(UsageError):
        JobSettings(**values)
    assert JobSettings(select=[1, np.int64(2), 3.0]).select == (1, 2, 3)
