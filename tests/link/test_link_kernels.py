"""The forms of the kernels and the options of the program: every form says the same."""

import os
import re
import subprocess
from pathlib import Path

import pytest
from ase import Atoms
from ase.build import molecule as g2
from ase.data import atomic_numbers
from peers import PROGRAM, kernel_forms
from sessions import KEYS, again, calculation, ready

from orbitrax import Backend, Job, from_ase, read_molecule
from orbitrax.link import wire
from orbitrax.tables import load_parameters

ROOT = Path(__file__).resolve().parents[2]


def program(*arguments: str, **environment: str) -> subprocess.CompletedProcess:
    """What the program does with these arguments, which keep it from serving."""
    return subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=30,
                          stdin=subprocess.DEVNULL, env={**os.environ, **environment})


def before_numbers(packets: list) -> int:
    """How many packets come before the first that a computed number could stand in: the second
    status line, or a block of data."""
    status = [i for i, packet in enumerate(packets) if packet.kind == wire.STATUS_LINE]
    data = [i for i, packet in enumerate(packets) if packet.kind == wire.DATA]
    return min([*status[1:2], *data[:1], len(packets)])


@pytest.mark.parametrize("method", KEYS)
def test_every_form_says_the_same_until_the_first_number(start_socket, method):
    said = []
    for form in kernel_forms():
        peer = start_socket(f"--kernels={form}")
        ready(peer, method)
        said.append(again(peer, calculation(method), whole=False).packets)
    until = before_numbers(said[0])
    assert until > 10
    for other in said[1:]:
        assert other[:until] == said[0][:until]


@pytest.mark.parametrize("method", ["indo", "mindo3", "am1", "mndod", "zindos"])
def test_the_energies_of_all_forms_agree_to_nine_digits(monkeypatch, method):
    molecule = read_molecule(str(ROOT / "benchmarks" / "molecules" / "caffeine.xyz"))
    energies = []
    for form in kernel_forms():
        monkeypatch.setenv("ORBITRAX_KERNELS", form)
        with Backend(program=PROGRAM) as backend:
            energies.append(backend.run(Job(molecule, method, scf_limit=1e-7)).total_energy)
    for energy in energies[1:]:
        assert energy == pytest.approx(energies[0], rel=1e-9)


# Levels that tie, spins that come apart, metals: where a last bit could choose another state.
SMALL = ("B", "O", "P", "Cl", "I", "Sc", "Fe", "O2", "NO", "CN", "SO", "Si2", "C2F4", "ClF3", "SO2",
         "H2CO", "C4H4NH")


def small_jobs(method: str) -> list[Job]:
    """Restricted and unrestricted, of those that the method has parameters for."""
    tables = load_parameters(method)
    found = [from_ase(Atoms(name) if name in atomic_numbers else g2(name)) for name in SMALL]
    return [Job(molecule, method, uhf=uhf, rhf=not uhf) for molecule in found
            if {*molecule.z} <= tables.elements and tables.missing_pair(molecule.z) is None
            for uhf in (False, True)]


@pytest.mark.parametrize("method", KEYS)
def test_the_numbers_of_all_forms_agree(monkeypatch, method):
    found = []
    for form in kernel_forms():
        monkeypatch.setenv("ORBITRAX_KERNELS", form)
        with Backend(program=PROGRAM) as backend:
            found.append([backend.run(job) for job in small_jobs(method)])
    assert len(found[0]) >= 20
    for other in found[1:]:
        for one, same in zip(found[0], other):
            assert one.converged and same.converged
            assert same.total_energy == pytest.approx(one.total_energy, abs=1e-6)
            assert same.scf_converged and same.blocks["scf"]["state"] == one.blocks["scf"]["state"]
            # The unrestricted orbitals of Si2 turn almost freely (curvature 1e-5 eV), so that a
            # gradient, of first order in them, has fewer digits than its energy.
            slope = max(abs(x) for x in one.plain("gradient"))
            assert max(abs(x) for x in same.plain("gradient")) == pytest.approx(slope, abs=5e-3)


def test_the_program_tells_what_it_is():
    said = program("--version", "--kernels=portable", "--threads=3").stdout
    assert re.fullmatch(r"qsolve \d+\.\d+\.\d+\nkernels: portable \(of portable[ \w]*\)\n"
                        r"threads: 3\n", said)


def test_the_environment_stands_in_for_options():
    words = {"ORBITRAX_KERNELS": "portable", "ORBITRAX_THREADS": "5"}
    assert "kernels: portable " in program("--version", **words).stdout
    assert "threads: 5" in program("--version", **words).stdout
    assert "threads: 2" in program("--version", "--threads=2", **words).stdout


@pytest.mark.parametrize("option, complaint", [
    ("--kernels=cray", 'there are no kernels "cray" for this processor; it can run portable'),
    ("--threads=0", 'the number of threads is to be 1 to 256, not "0"'),
    ("--threads=2x", 'the number of threads is to be 1 to 256, not "2x"'),
    ("--threads=99999999999999", "the number of threads is to be 1 to 256"),
    ("--fast", 'there is no option "--fast"'),
])
def test_a_wrong_option_is_refused_with_a_text(option, complaint):
    done = program(option)
    assert done.returncode == 2
    assert done.stderr.startswith("qsolve: " + complaint)


def test_no_form_leaves_code_where_another_would_run_it():
    """What a form shares with the rest by a common name could be taken from it by the linker, and
    run on a processor that it is not for."""
    objects = sorted((ROOT / "build" / "release" / "CMakeFiles").glob("qsolve_form_*/**/*.o"))
    assert objects
    for path in objects:
        form = path.relative_to(ROOT / "build/release/CMakeFiles").parts[0].removesuffix(".dir")
        names = subprocess.run(["nm", "--demangle", "--defined-only", "--extern-only", path],
                               capture_output=True, text=True, check=True).stdout
        for line in names.splitlines():
            name = line.split(maxsplit=2)[2]
            assert name.startswith(f"qsolve::{form.removeprefix('qsolve_form_')}::"), line
