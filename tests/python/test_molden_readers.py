"""Other programs and libraries with our orbitals: Open Babel, cclib and ASE."""

import io
import json
import logging
import warnings
from xml.etree import ElementTree

import numpy as np
import pytest
from molden_file import MoldenFile
from support import ROOT

from orbitrax import Backend, Job, read_molecule, to_cclib, write_molden

with warnings.catch_warnings():
    warnings.simplefilter("ignore")
    import cclib.io
    import cclib.method

pytestmark = pytest.mark.timeout(120)

JOBS = {"caffeine": ("caffeine", "pm3", {}), "ferrocene": ("ferrocene", "zindos", {}),
        "radical": ("nitrogen_dioxide", "mndo", {"uhf": True}),
        "half-electron": ("nitrogen_dioxide", "am1", {})}


@pytest.fixture(scope="module")
def done():
    found = {}

    def run(name):
        if name not in found:
            file, method, settings = JOBS[name]
            job = Job(read_molecule(str(ROOT / "examples" / f"{file}.xyz")), method,
                      eigenvectors=True, **settings)
            with Backend() as backend:
                found[name] = job, backend.run(job)
        return found[name]

    return run


@pytest.mark.filterwarnings("ignore")
@pytest.mark.parametrize("name", JOBS)
def test_cclib_and_ase_find_the_molecule_in_a_molden_file(done, name, tmp_path):
    """cclib reads the format through Open Babel, and hands an xyz file to ASE."""
    import ase.io

    job, result = done(name)
    path = tmp_path / "a.molden"
    write_molden(str(path), job, result)
    data = cclib.io.ccread(str(path))
    assert data.atomnos.tolist() == job.molecule.numbers.tolist()
    assert data.atomcoords == pytest.approx(job.molecule.positions, abs=1e-5)
    data.metadata = {"comments": ["a"]}
    data.atomcoords = data.atomcoords[None]
    atoms = ase.io.read(io.StringIO(cclib.io.ccwrite(data, "xyz", returnstr=True)), format="xyz")
    assert atoms.get_chemical_symbols() == job.molecule.symbols
    assert atoms.positions == pytest.approx(job.molecule.positions, abs=1e-5)


@pytest.mark.parametrize("name", JOBS)
def test_cclib_counts_the_electrons(done, name):
    """Mulliken's analysis by cclib, from coefficients, overlap and the highest occupied levels."""
    job, result = done(name)
    data = to_cclib(job, result)
    analysis = cclib.method.MPA(data, None, logging.CRITICAL)
    analysis.calculate()
    populations = np.array([spin.sum(axis=1) for spin in analysis.aoresults])
    assert populations == pytest.approx(1.0, abs=1e-9)
    if name != "half-electron":  # this analysis knows no open shell with common orbitals
        assert analysis.fragcharges.sum() == pytest.approx(job.electrons, abs=1e-6)


def test_levels_of_cclib_are_those_of_the_result(done):
    job, result = done("radical")
    data = to_cclib(job, result)
    assert np.concatenate(data.moenergies).tolist() == result.orbital_energies.tolist()
    assert data.homos.tolist() == [8, 7] and data.mult == 2 and data.charge == 0
    assert data.mosyms[1][0] == "1A1" and len(data.mosyms) == 2
    assert data.coreelectrons.tolist() == [2, 2, 2]
    assert data.scfenergies[0] == pytest.approx(result.total_energy / 23.061)
    assert to_cclib(*done("half-electron")).homos.tolist() == [8, 7]
    assert to_cclib(*done("ferrocene")).homos.tolist() == [28]


def test_orbitals_of_cclib_belong_to_their_atoms(done):
    job, result = done("ferrocene")
    data = to_cclib(job, result)
    assert data.aonames[4] == "Fe1_3dz2" and data.atombasis[1] == [9, 10, 11, 12]
    assert [shell[0] for shell in data.gbasis[0]] == ["S", "P", "D"]
    assert len(data.gbasis[0][2][1]) == 12 and data.nbasis == data.nmo == 59


def test_cclib_writes_the_basis_that_we_write(done, tmp_path):
    """Two writers of one format, line by line, in the section of the functions."""
    job, result = done("ferrocene")
    path = tmp_path / "a.molden"
    write_molden(str(path), job, result)
    ours = MoldenFile(path.read_text())
    text = cclib.io.ccwrite(to_cclib(job, result), "molden", returnstr=True)
    lines = text.partition("[GTO]\n")[2].partition("[MO]")[0].split("\n")
    theirs = [line.split() for line in lines if line.strip()]
    wanted = []
    for atom in range(len(ours.symbols)):
        wanted.append([str(atom + 1), "0"])
        for shell in (shell for shell in ours.shells if shell[0] == atom):
            wanted.append(["spd"[shell[1]], str(len(shell[2])), "1.00"])
            wanted += [pair for pair in zip(shell[2], shell[3])]
    assert len(theirs) == len(wanted) > 200
    for one, two in zip(theirs, wanted):
        if isinstance(two, list):
            assert one == two
        else:
            assert [float(word) for word in one] == pytest.approx(two, rel=2e-9)


def test_cclib_writes_chemical_json_and_cml(done):
    job, result = done("caffeine")
    data = to_cclib(job, result)
    document = json.loads(cclib.io.ccwrite(data, "cjson", returnstr=True))
    assert document["atoms"]["elements"]["number"] == job.molecule.numbers.tolist()
    assert document["atoms"]["coords"]["3d"] == pytest.approx(result.coordinates.ravel().tolist())
    charges = document["properties"]["partial charges"]["coulson"]
    assert charges == pytest.approx(result.charges.tolist())
    assert document["properties"]["orbitals"]["homos"] == [36]
    tree = ElementTree.fromstring(cclib.io.ccwrite(data, "cml", returnstr=True))
    atoms = tree.findall(".//{*}atom")
    assert [atom.get("elementType") for atom in atoms] == job.molecule.symbols


def test_a_result_without_eigenvectors_has_levels_and_no_orbitals(done):
    job, result = done("caffeine")
    kept, result.eigenvectors = result.eigenvectors, None
    try:
        data = to_cclib(job, result)
    finally:
        result.eigenvectors = kept
    assert len(data.moenergies[0]) == 66
    assert not hasattr(data, "mocoeffs") and not hasattr(data, "aooverlaps")
