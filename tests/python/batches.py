"""Batches as real processes, and the means to end them at bad moments."""

import json
import math
import os
import signal
import subprocess
import sys
import time
from pathlib import Path

from support import ROOT

ENVIRONMENT = {**os.environ, "PYTHONPATH": str(ROOT / "python"), "NO_COLOR": "1"}
DRUGLIKE = ROOT / "tests" / "reference" / "druglike.smi"
DIGITS = {"orbital_energies_ev": 7}  # of those in single precision; others have 10


def command(*arguments):
    """The words that run the program."""
    return [sys.executable, "-m", "orbitrax", *map(str, arguments)]


def orbitrax(*arguments, given=None):
    """Runs the program to its end."""
    return subprocess.run(command(*arguments), cwd=ROOT, capture_output=True, text=True,
                          timeout=110, env=ENVIRONMENT, input=given)


def started(*arguments):
    """The program, running, in a group of its own."""
    return subprocess.Popen(command(*arguments), cwd=ROOT, stderr=subprocess.PIPE, text=True,
                            env=ENVIRONMENT, start_new_session=True)


def records(path):
    """The whole lines of a results file."""
    text = Path(path).read_bytes() if Path(path).exists() else b""
    return [json.loads(line) for line in text.split(b"\n")[:-1]]


def compared(path):
    """The records by id, without what may differ from run to run."""
    found = {}
    for record in records(path):
        assert record["id"] not in found, record["id"]
        for name in ("run", "wall_seconds"):
            record.pop(name)
        found[record["id"]] = json.dumps(record)
    return found


def alike(given, read, digits=10):
    """Whether what was read is the same document, but for digits beyond these."""
    if isinstance(given, float):
        return isinstance(read, float) and math.isclose(given, read, rel_tol=10.0**(1 - digits))
    if isinstance(given, dict):
        return set(given) == set(read) and all(
            alike(given[key], read[key], DIGITS.get(key, digits)) for key in given)
    if isinstance(given, list):
        return len(given) == len(read) and all(
            alike(one, other, digits) for one, other in zip(given, read))
    return type(given) is type(read) and given == read


def small_molecules(count):
    """Lines of SMILES: chains with a head and a tail, of 3 to 12 heavy atoms, each only once."""
    heads = ["C", "N", "O", "F", "Cl", "CO", "CN", "OC", "N#C", "C=C", "O=C", "CC(C)", "CS", "S"]
    middles = ["C", "CC", "C=C", "C(C)", "C#C", "CO", "C(F)", "C(=O)", "CN", "C(O)", "CCC", "COC"]
    tails = ["C", "O", "N", "F", "CO", "C#N", "C=O", "Cl", "OC", "NC", "C(=O)O", "C(N)=O"]
    from rdkit import Chem

    met, lines = set(), []
    for more in ("", *middles):
        for middle in middles:
            for head in heads:
                for tail in tails:
                    mol = Chem.MolFromSmiles(head + middle + more + tail)
                    text = Chem.MolToSmiles(mol) if mol is not None else None
                    if text is None or text in met:
                        continue
                    met.add(text)
                    lines.append(f"{text} m{len(lines):05d}\n")
                    if len(lines) == count:
                        return lines
    raise ValueError(f"there are only {len(lines)}")


def row_of_waters(count):
    """An xyz file that takes seconds."""
    atoms = [f"{symbol} {x + 3.0 * i:.3f} {y:.3f} 0.0" for i in range(count)
             for symbol, x, y in (("O", 0, 0), ("H", 0.96, 0), ("H", -0.24, 0.93))]
    return "\n".join([str(len(atoms)), "a row of waters", *atoms]) + "\n"


# ---- processes ----------------------------------------------------------------------------------


def children(pid):
    """Process ids of the children of a process."""
    found = []
    for task in Path(f"/proc/{pid}/task").glob("*"):
        try:
            found += [int(word) for word in (task / "children").read_text().split()]
        except OSError:
            pass
    return found


def family(pid):
    """The client, its workers and their backends, as far as they live."""
    workers = children(pid)
    backends = [one for worker in workers for one in children(worker)]
    return {"client": [pid], "worker": workers, "backend": backends}


def killed(pid):
    """Ends a process as hard as can be; one that has gone already is no matter."""
    try:
        os.kill(pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def busy(pid):
    """Whether a worker has come as far as to have a backend."""
    return bool(children(pid))


def gone(pids, seconds=10.0):
    """Whether all processes end within so long; how long it took."""
    began = time.monotonic()
    while time.monotonic() - began < seconds:
        if not any(_lives(pid) for pid in pids):
            return time.monotonic() - began
        time.sleep(0.01)
    return None


def _lives(pid):
    try:
        return Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


def until(true, seconds=60.0):
    """Waits until something is true."""
    end = time.monotonic() + seconds
    while not true():
        assert time.monotonic() < end, "it has not happened"
        time.sleep(0.005)


def abused(path, arguments, moments, chance):
    """Runs a batch to its end, killing a process of it each time the results have so many lines;
    a client that was killed is started again. Returns who was killed, and how often it started."""
    victims, starts = [], 0
    moments = sorted(moments)
    while True:
        starts += 1
        run = started("batch", *arguments, "-o", path, "-q", *(["--resume"] if starts > 1 else []))
        while run.poll() is None and moments:
            if lines_of(path) < moments[0]:
                time.sleep(0.002)
                continue
            kin = family(run.pid)
            who = chance.choice([kind for kind, pids in kin.items() if pids])
            killed(chance.choice(kin[who]))
            victims.append(who)
            moments.pop(0)
            if who == "client":
                took = gone(kin["worker"] + kin["backend"])
                assert took is not None, "processes outlive their client"
                break
        run.communicate(timeout=1000)
        if run.returncode != -signal.SIGKILL:
            return victims, starts, run.returncode


def lines_of(path):
    """Lines of a results file."""
    return Path(path).read_bytes().count(b"\n") if Path(path).exists() else 0
