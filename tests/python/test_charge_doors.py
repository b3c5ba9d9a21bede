"""The doors into the tool chains: the semi-empirical step of set-up scripts, and OpenFF's registry
(a stand-in of its public interface, as openff-toolkit is no package of Debian)."""

import importlib
import re
import subprocess
import sys
import types
import warnings

import numpy as np
import pytest
import support

from orbitrax import sqm
from orbitrax.atomic_charges.reading import from_smiles
from orbitrax.errors import MoleculeError, UsageError

WATER = """Run semi-empirical minimization
 &qmmm
  qm_theory='AM1', grms_tol=0.0005,
  scfconv=1.d-10, ndiis_attempts=700,   qmcharge=0,
 /
 8   O1      0.0000       0.0000       0.1193
 1   H1      0.0000       0.7632      -0.4771
 1   H2      0.0000      -0.7632      -0.4771

"""


def run(folder, text, *words):
    (folder / "sqm.in").write_text(text)
    done = subprocess.run([str(support.ROOT / "orbitrax"), "sqm", *words], cwd=folder, timeout=60,
                          capture_output=True, text=True)
    path = folder / (words[words.index("-o") + 1] if "-o" in words else "sqm.out")
    return done, path.read_text() if path.exists() else None


def charges_of(text):
    """Charges as set-up scripts look for them."""
    lines = text.splitlines()
    start = next(i for i, line in enumerate(lines) if "Atomic Charges for Step" in line)
    assert lines[start + 1].split() == ["Atom", "Element", "Mulliken", "Charge"]
    found = []
    for line in lines[start + 2:]:
        words = line.split()
        if words[:4] == ["Total", "Mulliken", "Charge", "="]:
            return found, float(words[4])
        found.append(float(words[2]))
    raise AssertionError("no end of the charges")


def structure_of(text):
    """Elements and coordinates as set-up scripts look for them: four lines below the head, down to
    two above the end."""
    lines = text.splitlines()
    start = next(i for i, line in enumerate(lines) if " Final Structure" in line)
    end = next(i for i, line in enumerate(lines)
               if "--------- Calculation Completed ----------" in line)
    rows = [line.split() for line in lines[start + 4:end - 1]]
    assert all(row[0] == "QMMM:" for row in rows)
    return [row[3] for row in rows], np.array([[float(v) for v in row[4:7]] for row in rows])


def test_the_step_gives_back_what_scripts_read(tmp_path):
    """AM1's water: -59.2 kcal/mol, 0.961 Angstrom, 103.5 degrees, -0.383 e (M. J. S. Dewar et al.,
    J. Am. Chem. Soc. 107, 3902 (1985))."""
    done, text = run(tmp_path, WATER, "-O", "-i", "sqm.in", "-o", "sqm.out")
    assert (done.returncode, done.stderr) == (0, "")
    charges, total = charges_of(text)
    assert charges[0] == pytest.approx(-0.383, abs=0.001) and total == pytest.approx(0, abs=1e-5)
    symbols, positions = structure_of(text)
    assert symbols == ["O", "H", "H"]
    arms = positions[1:] - positions[0]
    lengths = np.linalg.norm(arms, axis=1)
    angle = np.degrees(np.arccos(arms[0] @ arms[1] / np.prod(lengths)))
    assert lengths == pytest.approx(0.961, abs=0.001) and angle == pytest.approx(103.5, abs=0.2)
    heat = float(re.search(r"Heat of formation\s+=\s+(\S+) kcal/mol", text).group(1))
    assert heat == pytest.approx(-59.24, abs=0.05)
    assert "geometry converged !" in text


def test_a_geometry_may_be_kept_as_it_is(tmp_path):
    done, text = run(tmp_path, WATER.replace("qmcharge=0", "maxcyc=0, qmcharge=0"))
    _, positions = structure_of(text)
    assert positions[1].tolist() == [0.0, 0.7632, -0.4771] and "converged" not in text


@pytest.mark.parametrize("method", ["PM3", "MNDO"])
def test_other_methods_of_the_family_are_there(tmp_path, method):
    done, text = run(tmp_path, WATER.replace("AM1", method))
    assert done.returncode == 0 and f"method {method}" in text


def test_an_ion_has_its_charge(tmp_path):
    hydroxide = "OH-\n &qmmm qm_theory=AM1, qmcharge=-1 /\n8 O 0. 0. 0.\n1 H 0. 0. 0.95\n"
    _, text = run(tmp_path, hydroxide)
    assert charges_of(text)[1] == pytest.approx(-1, abs=1e-5)


@pytest.mark.parametrize("change,error", [
    (("AM1", "PM6"), "qm_theory 'PM6' is not available"), (("qmcharge=0", "qmcharge=half"), "half"),
    (("qmcharge=0", "spin=2"), "only singlets"), (("&qmmm", "&cntrl"), "no namelist &qmmm"),
    (("0.7632", "0.76x"), "line 7: '1   H1"), ((" /\n", "\n"), "has no end"),
    ((WATER[WATER.index(" 8 "):], ""), "no atoms below"), (("qmcharge=0", "qmcharge=1"), "odd")])
def test_what_cannot_be_done_never_looks_completed(tmp_path, change, error):
    done, text = run(tmp_path, WATER.replace(*change))
    assert done.returncode in (1, 2)
    assert "Calculation Completed" not in text and "QMMM: ERROR!" in text
    if error != "odd":
        assert error in done.stderr


def test_a_missing_input_is_named(tmp_path):
    done = subprocess.run([str(support.ROOT / "orbitrax"), "sqm", "-i", "no.in", "-o", "x.out"],
                          cwd=tmp_path, capture_output=True, text=True, timeout=60)
    assert done.returncode == 2 and "no.in: No such file" in done.stderr


def test_an_entry_without_meaning_is_told():
    given = sqm.parse_input(WATER)
    assert given.ignored == ("ndiis_attempts", "scfconv") and given.rms_gradient == 0.0005
    assert given.title == "Run semi-empirical minimization" and given.charge == 0


@pytest.mark.parametrize("text", [
    "", "&qmmm", "&qmmm /\n1 H 0 0\n", "&qmmm /\n0 X 0 0 0\n",
    "&qmmm qmcharge=1.5 /\n1 H 0 0 0\n", "&qmmm maxcyc=-1/\n1 H 0 0 0"])
def test_a_broken_input_is_refused(text):
    with pytest.raises((MoleculeError, UsageError)):
        sqm.parse_input(text)


# ---- OpenFF's registry --------------------------------------------------------------------------


class Quantity:
    """A number array with a unit, as far as the wrapper asks."""

    def __init__(self, value, kind):
        self.value, self.kind = np.asarray(value), kind

    def m_as(self, kind):
        return self.value if kind == self.kind else self.value * 10.0  # from nanometre


class Molecule:
    """A molecule of the toolkit, as far as the wrapper asks."""

    def __init__(self, source):
        self.rdkit = source.rdkit if isinstance(source, Molecule) else from_smiles(source)
        self.name, self._conformers, self.partial_charges = "it", [], None

    def to_rdkit(self):
        return type(self.rdkit)(self.rdkit)

    @property
    def n_conformers(self):
        return len(self._conformers)


@pytest.fixture
def wrapper(monkeypatch):
    """The wrapper's class over a stand-in of the toolkit."""
    class Base:
        _toolkit_name = None

        def _check_n_conformers(self, molecule, partial_charge_method=None, min_confs=None,
                                max_confs=None, strict_n_conformers=False):
            if not min_confs <= molecule.n_conformers <= max_confs:
                if strict_n_conformers:
                    raise IncorrectNumConformersError("too many")
                warnings.warn("too many", stacklevel=2)

    class ChargeCalculationError(Exception):
        pass

    class ChargeMethodUnavailableError(Exception):
        pass

    class IncorrectNumConformersError(Exception):
        pass

    parts = {
        "openff": {}, "openff.toolkit": {"Quantity": Quantity, "unit": types.SimpleNamespace(
            angstrom="angstrom", elementary_charge="e")},
        "openff.toolkit.utils": {}, "openff.toolkit.utils.base_wrapper": {"ToolkitWrapper": Base},
        "openff.toolkit.utils.exceptions": {
            "ChargeCalculationError": ChargeCalculationError,
            "ChargeMethodUnavailableError": ChargeMethodUnavailableError}}
    for name, content in parts.items():
        module = types.ModuleType(name)
        module.__dict__.update(content, IncorrectNumConformersError=IncorrectNumConformersError)
        monkeypatch.setitem(sys.modules, name, module)
    monkeypatch.delitem(sys.modules, "orbitrax.openff", raising=False)
    module = importlib.import_module("orbitrax.openff")
    yield module.OrbitraxToolkitWrapper
    sys.modules.pop("orbitrax.openff", None)


def errors(name):
    return getattr(sys.modules["openff.toolkit.utils.exceptions"], name)


def test_the_registry_gets_charges_that_sum_to_the_formal_charge(wrapper):
    molecule = Molecule("C[NH3+]")
    wrapper().assign_partial_charges(molecule, "am1bcc")
    assert molecule.partial_charges.kind == "e"
    assert molecule.partial_charges.value.sum() == pytest.approx(1, abs=1e-9)
    plain = Molecule("C[NH3+]")
    wrapper().assign_partial_charges(plain, "AM1-Mulliken")
    assert np.abs(plain.partial_charges.value - molecule.partial_charges.value).max() > 0.05


def test_the_registrys_conformer_is_the_start(wrapper):
    molecule = Molecule("O")
    place = np.array([[0.0, 0.0, 0.0], [0.0, 0.08, 0.06], [0.0, -0.08, 0.06]])
    wrapper().assign_partial_charges(molecule, use_conformers=[Quantity(place, "nanometer")])
    apart = Quantity(place * 100, "nanometer")  # no molecule any more
    with pytest.raises(errors("ChargeCalculationError"), match="bonded but"):
        wrapper().assign_partial_charges(molecule, use_conformers=[apart])


def test_too_many_conformers_are_told_to_the_registry(wrapper):
    place = Quantity([[0.0, 0.0, 0.0], [0.0, 0.8, 0.6], [0.0, -0.8, 0.6]], "angstrom")
    with pytest.raises(errors("IncorrectNumConformersError")):
        wrapper().assign_partial_charges(Molecule("O"), "am1bcc", [place] * 2,
                                         strict_n_conformers=True)
    with pytest.warns(UserWarning, match="too many"):
        wrapper().assign_partial_charges(Molecule("O"), "am1bcc", [place] * 2)


def test_what_the_registry_cannot_have_is_its_own_error(wrapper):
    with pytest.raises(errors("ChargeMethodUnavailableError"), match="gasteiger"):
        wrapper().assign_partial_charges(Molecule("O"), "gasteiger")
    with pytest.raises(errors("ChargeCalculationError"), match="no bond charge correction"):
        wrapper().assign_partial_charges(Molecule("CB(O)O"))
    assert wrapper.is_available() is True


def test_without_the_toolkit_the_import_says_what_to_do(monkeypatch):
    monkeypatch.setitem(sys.modules, "openff", None)
    monkeypatch.delitem(sys.modules, "orbitrax.openff", raising=False)
    with pytest.raises(ImportError, match="needs openff-toolkit.*offxml"):
        importlib.import_module("orbitrax.openff")
