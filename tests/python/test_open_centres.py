"""Radicals and carbanions of SMILES: searches end in minima, not where a force field left them."""

import numpy as np
import pytest
from rdkit import Chem

import orbitrax
from orbitrax.molecules.built.open_centres import bend_open_centres
from orbitrax.molecules.reading import from_smiles


def angle(result, a, b, c):
    places = np.asarray(result.coordinates).reshape(-1, 3)
    arms = [(places[k] - places[b]) / np.linalg.norm(places[k] - places[b]) for k in (a, c)]
    return np.degrees(np.arccos(np.clip(arms[0] @ arms[1], -1, 1)))


@pytest.mark.parametrize("smiles, bent, measured", [
    ("[CH]=O", (1, 0, 2), 124.4), ("C=[CH]", (0, 1, 4), 137.3), ("[CH2]", (1, 0, 2), 133.9)])
def test_radicals_bend_as_they_are_measured(smiles, bent, measured):
    """Angles by microwave and infrared spectra, degrees; AM1 opens that of vinyl by 30."""
    found = orbitrax.run(smiles, "am1", "vibrations", optimize=True)
    assert found.modes.imaginary == 0
    assert measured - 5 < angle(found, *bent) < 170


def test_a_flat_radical_is_left_for_the_pyramid_or_comes_back():
    for smiles, group in (("Cl[C](Cl)Cl", "C3V"), ("[CH3]", "D3H"), ("[CH2]c1ccccc1", "C2V")):
        found = orbitrax.run(smiles, "am1", "vibrations", optimize=True)
        assert found.modes.imaginary == 0 and found.point_group == group, smiles


@pytest.mark.parametrize("smiles", ["C=C=[CH]", "CC", "C=C[CH2]", "[CH2]c1ccccc1", "[NH2]",
                                    "[O-]C=O", "C#C", "O=C=O"])
def test_what_is_bent_or_straight_for_a_reason_stays(smiles):
    graph = Chem.MolFromMolBlock(Chem.MolToMolBlock(
        Chem.Mol(from_smiles(smiles).mol)), removeHs=False)
    places = graph.GetConformer().GetPositions()
    bend_open_centres(graph)
    assert np.array_equal(graph.GetConformer().GetPositions(), places)
