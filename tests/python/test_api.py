"""One question, one call: orbitrax.run."""

import numpy as np
import pytest
from ase.build import molecule
from support import ROOT

import orbitrax
from orbitrax import Backend, Job, MoleculeError, NotConverged, Optimize, UsageError, as_molecule

WATER = ROOT / "examples" / "water.xyz"


def test_a_path_and_a_method_are_enough():
    result = orbitrax.run(str(WATER), "am1")
    assert result.heat_of_formation == pytest.approx(-59.19169, abs=1e-4)
    assert result.converged and result.gradient.shape == (3, 3)


@pytest.mark.parametrize("source", [
    WATER, str(WATER), as_molecule(WATER), molecule("H2O"),
    (["O", "H", "H"], [[0, 0, 0.1], [0, 0.76, -0.48], [0, -0.76, -0.48]]),
    ((8, 1, 1), np.array([[0, 0, 0.1], [0, 0.76, -0.48], [0, -0.76, -0.48]])),
], ids=["path", "text", "molecule", "atoms", "symbols", "numbers"])
def test_a_molecule_may_be_told_in_many_ways(make_peer, source):
    result = orbitrax.run(source, "pm3", backend=make_peer())
    assert result.symbols == ["O", "H", "H"] and result.method == "pm3"


def test_a_smiles_string_has_a_keyword_of_its_own(make_peer):
    assert orbitrax.run(smiles="C", backend=make_peer()).symbols == ["C", "H", "H", "H", "H"]


@pytest.mark.parametrize("source,words", [
    (3, "an? int is no molecule"), ((["Qq"], [[0, 0, 0]]), "no element 'Qq'"),
    ((["O", "H"], [[0, 0, 0]]), "2 atoms need 2 x 3"), ("nowhere.xyz", "no such file")])
def test_what_is_no_molecule_is_refused(source, words):
    with pytest.raises(MoleculeError, match=words):
        orbitrax.run(source)
    with pytest.raises(MoleculeError, match=words):
        Job(source, "am1")


def test_one_molecule_is_asked_for():
    for arguments in ({}, {"molecule": WATER, "smiles": "O"}):
        with pytest.raises(UsageError, match="molecule or smiles"):
            orbitrax.run(**arguments)


def test_tasks_are_named_or_given_with_their_settings():
    named = orbitrax.run(WATER, "am1", "optimize", limit=0.01)
    given = orbitrax.run(WATER, "am1", Optimize(limit=0.5), limit=0.01)
    assert named.converged and named.rms_gradient < 0.01
    assert named.total_energy == given.total_energy
    assert named.to_dict()["optimize"]["limit"] == 0.01
    with pytest.raises(UsageError, match="did you mean 'limit'"):
        orbitrax.run(WATER, "am1", "optimize", limitt=0.01)


def test_what_is_not_converged_is_no_answer_but_can_be_looked_at():
    with pytest.raises(NotConverged, match="scf_iterations") as caught:
        orbitrax.run(WATER, "am1", scf_iterations=3)
    assert caught.value.partial.total_energy < 0 and caught.value.partial.converged is False
    result = orbitrax.run(WATER, "am1", scf_iterations=3, allow_unconverged=True)
    assert result.converged is False


def test_a_backend_that_is_given_goes_on_living(make_peer):
    with Backend(make_peer()) as backend:
        orbitrax.run(WATER, "am1", backend=backend)
        pid = backend.pid
        orbitrax.run(WATER, "am1", backend=backend)
        assert backend.pid == pid is not None
