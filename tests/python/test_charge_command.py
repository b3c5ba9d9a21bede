"""Charges from the command line and from Python."""

import json
import os
import signal
import subprocess

import pytest
import support

from rdkit import Chem

import orbitrax
from orbitrax.atomic_charges import batch
from orbitrax.atomic_charges.assign import Charges
from orbitrax.atomic_charges.batch import Failure, assign_all, workers_of
from orbitrax.atomic_charges.reading import from_smiles
from orbitrax.atomic_charges.settings import ChargeSettings
from orbitrax.errors import LinkError, UsageError


def run(*words, **how):
    return subprocess.run([str(support.ROOT / "orbitrax"), "charges", *words], capture_output=True,
                          text=True, timeout=100, **how)


def test_from_smiles_to_a_file_that_builders_read(tmp_path):
    done = run("--smiles", "CC(=O)Nc1ccc(O)cc1", "-o", "paracetamol.mol2", cwd=tmp_path)
    assert (done.returncode, done.stderr) == (0, "")
    assert "C8H9NO2, 20 atoms, formal charge 0, am1bcc" in done.stdout
    mol = Chem.MolFromMol2File(str(tmp_path / "paracetamol.mol2"), removeHs=False)
    assert Chem.MolToSmiles(Chem.RemoveHs(mol)) == "CC(=O)Nc1ccc(O)cc1"


def test_without_a_file_the_charges_are_printed():
    done = run("--smiles", "O")
    lines = done.stdout.splitlines()
    assert done.returncode == 0 and lines[2] == " atom  name     charge (e)"
    oxygen, first, second = (float(line.split()[-1]) for line in lines[3:])
    assert first == second and oxygen == pytest.approx(-2 * first)


def test_a_file_of_many_and_one_that_fails(tmp_path):
    (tmp_path / "three.smi").write_text("CO methanol\nCB(O)O borane\nN ammonia\n")
    done = run("three.smi", "-o", "out.sdf", "--json", cwd=tmp_path)
    assert done.returncode == 2 and "no bond charge correction" in done.stderr
    documents = [json.loads(line) for line in done.stdout.splitlines()]
    assert [d["title"] for d in documents] == ["methanol", "borane", "ammonia"]
    assert documents[1]["charges"] is None and documents[1]["status"] == "refused"
    assert len(list(Chem.SDMolSupplier(str(tmp_path / "out.sdf")))) == 2


def test_a_record_that_cannot_be_read_does_not_stop_the_others(tmp_path):
    (tmp_path / "some.smi").write_text("CO methanol\nC(C broken\nN ammonia\n")
    done = run("some.smi", "-o", "out.json", cwd=tmp_path)
    assert done.returncode == 2 and "line 2: 'C(C' is not a SMILES string" in done.stderr
    written = json.loads((tmp_path / "out.json").read_text())
    assert [entry["title"] for entry in written] == ["methanol", "ammonia"]


def test_an_interrupted_list_leaves_what_has_charges(tmp_path):
    """As a terminal sends it: to the workers as well."""
    (tmp_path / "many.smi").write_text("".join(f"{'C' * (1 + k % 30)}O m{k}\n"
                                               for k in range(2000)))
    with subprocess.Popen([str(support.ROOT / "orbitrax"), "charges", "many.smi", "-o", "out.json"],
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, cwd=tmp_path,
                          start_new_session=True) as running:
        first = running.stdout.readline()
        os.killpg(running.pid, signal.SIGINT)
        _, errors = running.communicate(timeout=60)
    assert first.startswith("m0: CH4O") and running.returncode == 130
    written = json.loads((tmp_path / "out.json").read_text())
    done = [entry["title"] for entry in (written if isinstance(written, list) else [written])]
    assert done == [f"m{k}" for k in range(len(done))] and 1 <= len(done) < 2000
    assert errors.splitlines() == [f"orbitrax: error: interrupted; {len(done)} of 2000 molecules "
                                   "have charges, which are in out.json"]


def test_the_charge_of_a_file_that_tells_one_must_be_right(tmp_path):
    done = run("--smiles", "C[NH3+]", "-c", "0")
    assert done.returncode == 2 and "add up to 1, not to the 0 of --charge" in done.stderr


@pytest.mark.parametrize("words,text", [
    (["--smiles", "C", "-o", "a.doc"], "no format for charges goes by this name"),
    (["--smiles", "C", "--model", "resp"], "invalid choice: 'resp'"),
    (["--smiles", "C", "--workers", "0"], "at least one"), ([], "give a molecule file"),
    (["nowhere.sdf"], "cannot be read")])
def test_a_request_that_cannot_be_meant_is_refused(words, text):
    done = run(*words)
    assert done.returncode == 2 and text in done.stderr and done.stdout == ""


def test_a_failure_is_a_document_too():
    done = run("--smiles", "CB(O)O", "--json")
    assert done.returncode == 2 and "B2" in json.loads(done.stdout)["errors"][0]


# ---- Python -------------------------------------------------------------------------------------


def test_python_takes_molecules_smiles_and_files(tmp_path):
    methanol = orbitrax.charges("CO")
    assert isinstance(methanol, Charges)
    path = tmp_path / "two.smi"
    path.write_text("CO\nN ammonia\n")
    first, second = orbitrax.charges(path, workers=1)
    assert first.charges.tolist() == methanol.charges.tolist() and second.title == "ammonia"
    plain = orbitrax.charges(from_smiles("CO"), model="am1-mulliken")
    assert plain.charges[1] > methanol.charges[1]  # the correction makes oxygen more negative


def test_python_takes_many_with_their_failures():
    found = orbitrax.charges(["CO", "CB(O)O"], workers=1)
    assert isinstance(found[0], Charges) and isinstance(found[1], Failure)
    assert "B2" in str(found[1].error)


@pytest.mark.parametrize("wrong", ["nowhere.sdf", "C(C", 5, [5]])
def test_python_refuses_what_is_no_molecule(wrong):
    with pytest.raises((UsageError, TypeError)):
        orbitrax.charges(wrong, workers=1)


def test_two_workers_give_what_one_gives(monkeypatch):
    monkeypatch.setenv("PYTHONPATH", str(support.ROOT / "python"))
    texts = ("CO", "CB(O)O", "O", "CN", "CF", "CC")
    molecules = [(text, from_smiles(text)) for text in texts]
    alone = list(assign_all(molecules, workers=1))
    shared = list(assign_all(molecules, workers=2))
    for a, b in zip(alone, shared, strict=True):
        assert type(a) is type(b) and a.title == b.title
        if isinstance(a, Charges):
            assert a.charges.tolist() == b.charges.tolist()


def test_a_worker_takes_each_core_that_it_may():
    assert workers_of(3) == 3 and workers_of(None) >= 1


def test_a_dead_backend_is_the_failure_of_one_molecule():
    program = "/bin/false"  # ends at once
    found, = assign_all([("CO", from_smiles("CO"))], workers=1, backend=(program, None, None))
    assert isinstance(found, Failure) and isinstance(found.error, LinkError)


def test_the_parser_needs_no_numbers_and_no_rdkit():
    code = ("import sys; sys.path.insert(0, 'python'); "
            "from orbitrax.cli.options import build_parser; build_parser(); "
            "print([m for m in ('numpy', 'rdkit') if m in sys.modules])")
    done = subprocess.run(["/usr/bin/python3", "-c", code], cwd=support.ROOT, capture_output=True,
                          text=True, timeout=60)
    assert done.stdout == "[]\n", done.stderr


def test_a_worker_leaves_the_other_cores_to_the_others(monkeypatch):
    for name in ("ORBITRAX_THREADS", "OPENBLAS_NUM_THREADS"):
        monkeypatch.setenv(name, "")
        monkeypatch.delenv(name)
    monkeypatch.setattr(batch, "_worker", None)
    batch._start((None, None, None), ChargeSettings())
    assert os.environ["ORBITRAX_THREADS"] == os.environ["OPENBLAS_NUM_THREADS"] == "1"
