"""Spoilt molecule files and parameter tables: whatever stands in them is read, or refused in words.

Inputs come from good ones by small changes: the same ones in each `./test`, so that what it says is
of the code, and new ones for a minute in `./test --long`. The seed is printed; ORBITRAX_FUZZ_SEED=N
repeats a run.
"""

import itertools
import os
import random
import re
import shutil
import time
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from support import ROOT

from orbitrax import Backend, Job, OrbitraxError, read_molecule
from orbitrax.errors import BackendDied, ProtocolError
from orbitrax.methods import METHODS
from orbitrax.molecules.writing import write_molecule
from orbitrax.tables import load_parameters

pytestmark = pytest.mark.timeout(300)
SEED = int(os.environ.get("ORBITRAX_FUZZ_SEED") or 1)
ODD = ["", " ", "\0", "-", "nan", "inf", "1e999", "-1", "0", "99999999999999999999", "1e-320", "=",
       "\n", "\r\n", "\t", "é", "*", "%", "$$$$", "M  END", "{", "[[", '"', "\\", "0x7f",
       "1.d0", "null", "[]", "{}", "1e400", "--1", "_", "1_0", "\u0661", "\u00b2", "\ufeff", "X"]
LENGTHS = ["short", pytest.param("long", marks=pytest.mark.long)]


def rounds(length: str, cases: int) -> Iterator[int]:
    """So many numbers, or numbers for a minute."""
    if length == "short":
        return iter(range(cases))
    until = time.monotonic() + 60
    return itertools.takewhile(lambda _: time.monotonic() < until, itertools.count())


def spoil(rng: random.Random, text: str) -> str:
    """The text with one to four small changes, of a word or of any piece."""
    for _ in range(rng.randint(1, 4)):
        words = list(re.finditer(r"[^\s,:=()\[\]{}]+", text))
        if words and rng.random() < 0.5:
            word = rng.choice(words)
            other = rng.choice((rng.choice(ODD), rng.choice(words)[0], "9" * 5000))
            text = text[:word.start()] + other + text[word.end():]
            continue
        at, end = sorted(rng.randrange(len(text) + 1) for _ in range(2))
        end = min(end, at + rng.choice((0, 1, 1, 3, 10, 200)))
        piece = rng.choice((rng.choice(ODD), text[at:end] * rng.choice((0, 2, 20)),
                            chr(rng.randrange(1, 0x250)), f"{rng.uniform(-9, 9):.3g}"))
        text = text[:at] + piece + text[end:]
    return text


# ---- molecule files -----------------------------------------------------------------------------


MORE = {
    "smiles.smi": "C=O methanal\n",
    "zmatrix.gjf": "# am1\n\nwater\n\n0 1\nO\nH 1 r\nH 1 r 2 a\n\nr 0.96\na 104.5\n\n",
    "peroxide.gjf": "# pm3 units=bohr\n\nx\n\n0,1\nX\nO 1 1.4\nO 2 r 1 90.\n"
                    "H 2 0.96 3 a 1 -60.0 0\n\n"
                    "r=1.4\na=1.0d2\n\n--link1--\n",
    "internal.mop": "PM3 CHARGE=-1 TRIPLET\ntitle\n\nO 0 0 0\nH 0.96 1 0 0 0 0 1\n"
                    "H 0.96 1 104.5 1 0 0 1 2\nC 1.4 1 100 1 60 1 1 2 3\n\n",
    "flags.mop": "AM1 MS=0.5 +\nXYZ\n\n\nO(1) 0.0 1 0.0 1 0.0 1\nTv 3. 1 0 1 0 1\n"
                 "H 0.9 1 0 1 0 1\n",
    "bohrs.inp": "! PM3 Bohrs\n%pal nprocs 2 end\n* xyz -1 2\nO 0 0 0\nDA 1 1 1\nH 0 0 1.8\n*\n",
    "columns.xyz": "2\nProperties=species:S:1:pos:R:3:masses:R:1:initial_charges:R:1 charge=1 "
                   'spin=2 Lattice="3 0 0 0 3 0 0 0 3"\nO 0 0 0 16. -0.5\nD 0 0 9.6d-1 2.0 0.5\n',
    "frames.xyz": "2\n-1 1\nO 0 0 0\nH 0 0 1\n2\ncharge: 0, multiplicity 2\n8 0 0 0\n1 0 0 1\n",
    "schema.json": '{"schema_name": "qcschema_molecule", "symbols": ["O", "H"], "geometry": [0, 0, '
                   '0, 0, 0, 1.8], "molecular_charge": -1, "molecular_multiplicity": 1}',
    "result.json": '{"symbols": ["O", "H"], "coordinates_angstrom": [[0, 0, 0], [0, 0, 0.96]], '
                   '"charge": -1, "multiplicity": 1}',
    "water.mol2": "@<TRIPOS>MOLECULE\nw\n 3 2 1\nSMALL\nUSER_CHARGES\n\n@<TRIPOS>ATOM\n"
                  "1 O 0.0 0.0 0.0 O.3 1 W -0.8\n2 H1 0.96 0.0 0.0 H 1 W 0.4\n"
                  "3 H2 -0.24 0.93 0.0 H 1 W 0.4\n@<TRIPOS>BOND\n1 1 2 1\n2 1 3 1\n",
    "v3000.mol": "\n  x 3D\n\n  0  0  0     0  0            999 V3000\nM  V30 BEGIN CTAB\n"
                 "M  V30 COUNTS 2 1 0 0 0\nM  V30 BEGIN ATOM\nM  V30 1 O 0 0 0 0 CHG=-1\n"
                 "M  V30 2 H 0 0 0.96 0 RAD=1\nM  V30 END ATOM\nM  V30 BEGIN BOND\n"
                 "M  V30 1 1 1 2\nM  V30 END BOND\nM  V30 END CTAB\nM  END\n",
}


def good_files(folder: Path) -> list[Path]:
    """A good file of each format that is written, and others with what those do not hold."""
    molecule = read_molecule(str(ROOT / "examples" / "formaldehyde.xyz"))
    for ending in ("xyz", "mol", "sdf", "pdb", "gjf", "mop", "inp", "cjson"):
        write_molecule(str(folder / f"good.{ending}"), molecule)
    for name, text in MORE.items():
        (folder / name).write_text(text)
    return sorted(folder.iterdir())


@pytest.fixture(scope="module")
def files(tmp_path_factory):
    return good_files(tmp_path_factory.mktemp("good"))


def test_the_files_that_are_spoilt_are_good(files):
    for path in files:
        assert len(read_molecule(str(path))) >= 1, path.name


def read_spoilt(files: list[Path], folder: Path, numbers: Iterator[int],
                read: Callable[[str], object]) -> tuple[dict[str, int], float]:
    """How many spoilt files were read and refused, and the seconds of the slowest."""
    rng, counts, worst = random.Random(SEED), {"read": 0, "refused": 0}, 0.0
    for _ in numbers:
        good = rng.choice(files)
        path = folder / f"spoilt{good.suffix}"
        path.write_bytes(spoil(rng, good.read_text()).encode("utf-8", "replace"))
        began = time.process_time()
        try:
            read(str(path))
            counts["read"] += 1
        except OrbitraxError as error:
            unforeseen = error.__cause__ is not None
            assert str(error) and not unforeseen, f"seed {SEED}: {path.read_bytes()!r}"
            counts["refused"] += 1
        except Exception as error:
            raise AssertionError(f"seed {SEED}: {path.read_bytes()!r}") from error
        worst = max(worst, time.process_time() - began)
    return counts, worst


@pytest.mark.parametrize("length", LENGTHS)
def test_a_spoilt_molecule_file_is_read_or_refused(files, tmp_path, length):
    counts, worst = read_spoilt(files, tmp_path, rounds(length, 2000), read_molecule)
    print(f"R4: molecule files, seed {SEED}: {counts}, slowest {worst:.2f} s")
    assert min(counts.values()) > 0 and worst < 10


@pytest.mark.parametrize("length", LENGTHS)
def test_a_spoilt_file_for_charges_is_read_or_refused(files, tmp_path, length):
    reading = pytest.importorskip("orbitrax.atomic_charges.reading")
    bonded = [path for path in files if path.suffix[1:] in reading.FORMATS]
    counts, worst = read_spoilt(bonded, tmp_path, rounds(length, 1000),
                                lambda path: list(reading.read_molecules(path)))
    print(f"R4: files for charges, seed {SEED}: {counts}, slowest {worst:.2f} s")
    assert min(counts.values()) > 0 and worst < 20


# ---- parameter tables ---------------------------------------------------------------------------


def compute(tables, method) -> str:
    """What comes of a calculation with tables that were read."""
    molecule = read_molecule(str(ROOT / "examples" / "water.xyz"))
    try:
        with Backend(tables=tables, time_limit=10) as backend:
            backend.run(Job(molecule, method.key))
        return "computed"
    except (BackendDied, ProtocolError):
        raise
    except OrbitraxError:
        return "refused"


@pytest.mark.parametrize("length", LENGTHS)
def test_a_spoilt_parameter_table_is_refused_or_computed_with(tmp_path, length):
    rng = random.Random(SEED)
    counts = {"computed": 0, "refused": 0}
    folder = tmp_path / "tables"
    shutil.copytree(ROOT / "parameters", folder)
    names = sorted(path for path in folder.iterdir() if path.is_file())
    for _ in rounds(length, 150):
        path, method = rng.choice(names), rng.choice(METHODS)
        good = path.read_text(encoding="utf-8")
        path.write_bytes(spoil(rng, good).encode("utf-8", "replace"))
        try:
            load_parameters(method, folder)
            counts[compute(folder, method)] += 1
        except (BackendDied, ProtocolError) as error:
            raise AssertionError(f"seed {SEED}: {path.name}") from error
        except OrbitraxError as error:
            assert str(error)
            counts["refused"] += 1
        except Exception as error:
            raise AssertionError(f"seed {SEED}: {path.name}") from error
        path.write_text(good, encoding="utf-8")
    print(f"R4: parameter tables, seed {SEED}: {counts}")
    assert counts["computed"] > 0
