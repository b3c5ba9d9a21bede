"""Where the tables lack a part of a method, the result says so: there, and nowhere else."""

import pytest

from orbitrax import Backend, Job, Molecule, NotConverged
from orbitrax.methods import METHODS, find_method, lacking

# Heats of formation of MOPAC 22.0.6 with MNDOD 1SCF NOMM, kcal/mol, at these places, Angstrom.
HEATS = {
    "AlH3": ("Al 0 0 0 H 0 1.6 0 H 1.3856 -0.8 0 H -1.3856 -0.8 0", 37.75486),
    "AlCl3": ("Al 0 0 0 Cl 0 2.06 0 Cl 1.784 -1.03 0 Cl -1.784 -1.03 0", -148.88457),
    "AlF3": ("Al 0 0 0 F 0 1.63 0 F 1.4116 -0.815 0 F -1.4116 -0.815 0", -279.88431),
    "Al2": ("Al 0 0 0 Al 0 0 2.6", 159.27257),
    "NaH": ("Na 0 0 0 H 0 0 1.89", 34.21344),
    "NaF": ("Na 0 0 0 F 0 0 1.93", -68.05928),
    "NaCl": ("Na 0 0 0 Cl 0 0 2.36", -35.52875),
    "MgH2": ("Mg 0 0 0 H 0 0 1.7 H 0 0 -1.7", 64.99893),
    "MgCl2": ("Mg 0 0 0 Cl 0 0 2.18 Cl 0 0 -2.18", -82.98092),
    "MgF2": ("Mg 0 0 0 F 0 0 1.77 F 0 0 -1.77", -160.13335),
    "ZnCl2": ("Zn 0 0 0 Cl 0 0 2.07 Cl 0 0 -2.07", -63.08679),
    "CdCl2": ("Cd 0 0 0 Cl 0 0 2.28 Cl 0 0 -2.28", -50.58126),
    "HgCl2": ("Hg 0 0 0 Cl 0 0 2.25 Cl 0 0 -2.25", -33.60335),
    "HgI2": ("Hg 0 0 0 I 0 0 2.55 I 0 0 -2.55", 0.53218),
}
NUMBERS = {"H": 1, "C": 6, "F": 9, "Na": 11, "Mg": 12, "Al": 13, "Cl": 17, "Zn": 30, "Cd": 48,
           "I": 53, "Hg": 80}


@pytest.fixture(scope="module")
def backend():
    with Backend() as backend:
        yield backend


@pytest.mark.parametrize("name", HEATS)
def test_mndod_warns_where_another_program_has_another_heat(backend, name):
    text, heat = HEATS[name]
    words = text.split()
    molecule = Molecule([NUMBERS[word] for word in words[::4]],
                        [float(word) for k, word in enumerate(words) if k % 4])
    try:
        result = backend.run(Job(molecule, "mndod"))
    except NotConverged as error:
        result = error.partial
    warned = any("MNDO/d of" in text for text in result.warnings)
    assert warned == (abs(result.heat_of_formation - heat) > 1)


def test_nothing_is_lacking_elsewhere():
    everything = range(1, 84)
    for method in METHODS:
        assert (lacking(method, everything) is None) == (method.key != "mndod")
    mndod = find_method("mndod")
    assert "of Na and Mg and Al lacks" in str(lacking(mndod, everything))
    for numbers in ([13], [13, 17, 17, 17], [1, 6, 7, 8, 16], []):
        assert lacking(mndod, numbers) is None
    for numbers in ([13, 1], [6, 13], [13, 13], [11], [12]):
        assert lacking(mndod, numbers) is not None
