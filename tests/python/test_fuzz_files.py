"""Spoilt molecule files and parameter tables: whatever stands in them is read, or refused in words.

Inputs come from good ones by small changes: the same ones in each `./test`, so that what it says is
of the code, and new ones for a minute in `./test --long`. The seed is printed; ORBITRAX_FUZZ_SEED=N
repeats a run.
"""

import itertools
import os
import random
import shutil
import time
from collections.abc import Iterator

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
       "\n", "\r\n", "\t", "é", "*", "%", "$$$$", "M  END", "{", "[[", '"', "\\", "0x7f"]
LENGTHS = ["short", pytest.param("long", marks=pytest.mark.long)]


def rounds(length: str, cases: int) -> Iterator[int]:
    """So many numbers, or numbers for a minute."""
    if length == "short":
        return iter(range(cases))
    until = time.monotonic() + 60
    return itertools.takewhile(lambda _: time.monotonic() < until, itertools.count())


def spoil(rng: random.Random, text: str) -> str:
    """The text with one to four small changes."""
    for _ in range(rng.randint(1, 4)):
        at, end = sorted(rng.randrange(len(text) + 1) for _ in range(2))
        end = min(end, at + rng.choice((0, 1, 1, 3, 10, 200)))
        piece = rng.choice((rng.choice(ODD), text[at:end] * rng.choice((0, 2, 20)),
                            chr(rng.randrange(1, 0x250)), f"{rng.uniform(-9, 9):.3g}"))
        text = text[:at] + piece + text[end:]
    return text


# ---- molecule files -----------------------------------------------------------------------------


@pytest.fixture(scope="module")
def files(tmp_path_factory):
    """A good file of each format that is written, and the examples."""
    folder = tmp_path_factory.mktemp("good")
    molecule = read_molecule(str(ROOT / "examples" / "formaldehyde.xyz"))
    for ending in ("xyz", "mol", "sdf", "pdb", "gjf", "mop", "inp", "cjson"):
        write_molecule(str(folder / f"good.{ending}"), molecule)
    (folder / "good.smi").write_text("C=O methanal\n")
    (folder / "zmatrix.gjf").write_text("# am1\n\nwater\n\n0 1\nO\nH 1 r\nH 1 r 2 a\n\nr 0.96\n"
                                        "a 104.5\n\n")
    return sorted(folder.iterdir())


@pytest.mark.parametrize("length", LENGTHS)
def test_a_spoilt_molecule_file_is_read_or_refused(files, tmp_path, length):
    rng, counts, worst = random.Random(SEED), {"read": 0, "refused": 0}, 0.0
    for _ in rounds(length, 2000):
        good = rng.choice(files)
        path = tmp_path / f"spoilt{good.suffix}"
        path.write_bytes(spoil(rng, good.read_text()).encode("utf-8", "replace"))
        began = time.process_time()
        try:
            read_molecule(str(path))
            counts["read"] += 1
        except OrbitraxError as error:
            assert str(error)
            counts["refused"] += 1
        except Exception as error:
            raise AssertionError(f"seed {SEED}: {path.read_bytes()!r}") from error
        worst = max(worst, time.process_time() - began)
    print(f"R4: molecule files, seed {SEED}: {counts}, slowest {worst:.2f} s")
    assert min(counts.values()) > 0 and worst < 10


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
