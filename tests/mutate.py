"""Whether the unit tests would see a fault: changes one operator or constant of a source file at a
time, and runs the tests of its room with it. A change that no test sees is listed. The tests
themselves are those that the preset release has compiled.

    ninja -C build/release unit_tests job_tests
    cmake --preset release -B build/mutants -DORBITRAX_BATCHES=OFF -DORBITRAX_BENCHMARKS=OFF \\
        -DORBITRAX_TESTS_OF=$PWD/build/release -DCMAKE_CXX_FLAGS_RELEASE="-O1 -DNDEBUG"
    ninja -C build/mutants unit_tests job_tests
    /usr/bin/python3 tests/mutate.py COUNT SEED src/scf/*.cpp
"""

from __future__ import annotations

import os
import random
import re
import shlex
import subprocess
import sys
import tempfile
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from functools import lru_cache
from pathlib import Path
from typing import NamedTuple

ROOT = Path(__file__).resolve().parents[1]
KNOWN = Path(__file__).with_name("mutants_that_change_nothing.txt")
BUILD = ROOT / "build" / "mutants"  # where each source has an object of its own
JOB_ROOMS = ("search", "geometry", "dynamics", "vibrations")  # these have a program of their own
PATIENCE = 40  # seconds of processor time for the tests of a room; more is a loop without an end
HURRY = 12  # the same for the tests of a file

SWAPS = {" + ": " - ", " - ": " + ", " * ": " / ", " / ": " * ", " < ": " <= ", " > ": " >= ",
         " <= ": " < ", " >= ": " > ", " == ": " != ", " != ": " == ", " && ": " || ",
         " || ": " && ", " += ": " -= ", " -= ": " += ", "true": "false", "false": "true",
         "std::max(": "std::min(", "std::min(": "std::max("}
PLACES = re.compile("|".join(sorted(map(re.escape, SWAPS), key=len, reverse=True))
                    + r"|(?<![\w.])\d+(?:\.\d+)?(?![\w.])")
PASSED_OVER = re.compile(r'^\s*(#|//|static_assert|template|using |namespace )|"|Yield\(|kCharge'
                         r"|reserve\(|alignas|__restrict|\bstd::array<")


class Mutant(NamedTuple):
    """One change of a file: what stands at a place of a line, and what comes instead."""

    path: Path
    line: int
    column: int
    old: str
    new: str

    def text(self) -> str:
        """The file with the change."""
        lines = self.path.read_text().split("\n")
        line = lines[self.line]
        lines[self.line] = line[:self.column] + self.new + line[self.column + len(self.old):]
        return "\n".join(lines)

    def known_as(self) -> str:
        """How the list of changes that no test can see has it: the file and its changed line."""
        line = self.text().split("\n")[self.line].split("//")[0].strip()
        return f"{self.path.relative_to(ROOT).as_posix()}: {line}"

    def __str__(self) -> str:
        told = self.path.relative_to(ROOT).as_posix()
        return f"{told}:{self.line + 1}:{self.column + 1}: '{self.old}' to '{self.new}'"


def mutants(path: Path) -> list[Mutant]:
    """All changes of a file, comments and texts left alone."""
    found = []
    for number, line in enumerate(path.read_text().split("\n")):
        if PASSED_OVER.search(line):
            continue
        for place in PLACES.finditer(line.split("//")[0]):
            old = place[0]
            number_like = old[0].isdigit()
            new = str(float(old) * 1.1 + 0.1 if "." in old else int(old) + 1) if number_like \
                else SWAPS[old]
            found.append(Mutant(path, number, place.start(), old, new))
    return [mutant for mutant in found if mutant.known_as() not in known()]


@lru_cache
def known() -> frozenset[str]:
    """The changes that change nothing, so that no test can see them."""
    return frozenset(line for line in KNOWN.read_text().split("\n") if not line.startswith("#"))


def program_of(path: Path) -> str:
    """The program that has the tests of a source file."""
    return "job_tests" if path.parent.name in JOB_ROOMS else "unit_tests"


@lru_cache
def suites(path: Path, kept: str) -> str:
    """The filter that chooses the tests of a source file's room, of files with such names."""
    names: set[str] = set()
    for test in (ROOT / "tests" / "unit" / path.parent.name).glob(kept):
        names |= set(re.findall(r"^TEST(?:_F|_P)?\((\w+),", test.read_text(), re.M))
    chosen = sorted(name for name in names if not name.endswith("Long"))
    return ":".join(f"{name}.*:*/{name}.*" for name in chosen)


@lru_cache
def commands(target: str) -> list[str]:
    """What ninja would do for a target, last the step that makes it."""
    run = subprocess.run(["ninja", "-C", str(BUILD), "-t", "commands", target], text=True,
                         capture_output=True, check=True)
    return [line for line in run.stdout.split("\n") if line]


def compiled(mutant: Mutant, folder: Path) -> Path | None:
    """The object of the changed file, or None if it is no program any more."""
    source = folder / mutant.path.name
    source.write_text(mutant.text())
    wanted = f"src/{mutant.path.parent.name}/{mutant.path.name}"
    library = next(BUILD.glob(f"CMakeFiles/qsolve_*.dir/{wanted}.o")).relative_to(BUILD)
    line = commands(str(library))[-1]
    words = [str(source) if word.endswith(wanted) else word for word in shlex.split(line)]
    words = [word for word in words if not word.endswith("ccache")]
    for option in ("-o", "-MF", "-MT"):
        words[words.index(option) + 1] = str(folder / "mutant.o")
    words[words.index("-MF") + 1] = str(folder / "mutant.d")
    words = ["-O1" if word == "-O3" else word for word in words]  # compiled once, run once
    done = subprocess.run([*words, f"-I{mutant.path.parent}", "-w"], cwd=BUILD, capture_output=True)
    return folder / "mutant.o" if done.returncode == 0 else None


def linked(mutant: Mutant, thing: Path, folder: Path) -> Path:
    """The program of tests with the changed object instead of the sound one."""
    name = program_of(mutant.path)
    line = next(line for line in reversed(commands(f"tests/{name}")) if f"-o tests/{name} " in line)
    start = line.index("&& ") + 3 if line.startswith(":") else 0
    words = shlex.split(line[start:].split(" && ")[0])
    words[words.index("-o") + 1] = str(folder / "tests")
    sound = f"/src/{mutant.path.parent.name}/{mutant.path.name}.o"
    words = [word for word in words
             if _of_room(word, mutant.path.parent.name) and not word.endswith(sound)]
    words.insert(words.index("-o"), str(thing))
    subprocess.run(words, cwd=BUILD, check=True)
    return folder / "tests"


def _of_room(word: str, room: str) -> bool:
    """Whether an argument of the linker is none of another room's tests."""
    return "/unit/" not in word or f"/unit/{room}/" in word


def fate(mutant: Mutant) -> str:
    """"killed" by a test, "survived" all of them, or "no program"."""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        thing = compiled(mutant, folder)
        return "no program" if thing is None else judged_by(linked(mutant, thing, folder), mutant)


def judged_by(program: Path, mutant: Mutant) -> str:
    """"killed" if a test of the mutant's room fails or never ends, else "survived". The tests of
    the file itself come first, since most faults end there."""
    for kept, patience in ((f"{mutant.path.stem}*_test.cpp", HURRY), ("*_test.cpp", PATIENCE)):
        try:
            run = subprocess.run(["prlimit", f"--cpu={patience}", str(program),
                                  "--gtest_fail_fast",
                                  f"--gtest_filter={suites(mutant.path, kept) or 'none'}"],
                                 capture_output=True, timeout=30 * patience)
        except subprocess.TimeoutExpired:
            return "killed"
        if run.returncode != 0:
            return "killed"
    return "survived"


def main(count: int, seed: int, paths: list[Path]) -> int:
    every = [mutant for path in paths for mutant in mutants(path)]
    chosen = random.Random(seed).sample(every, min(count, len(every)))
    found: Counter[str] = Counter()
    with ThreadPoolExecutor(os.cpu_count()) as workers:
        for mutant, how in zip(chosen, workers.map(fate, chosen)):
            found[how] += 1
            if how == "survived":
                print(f"survived: {mutant}", flush=True)
    judged = found["killed"] + found["survived"]
    print(f"R19: seed {seed}: {found['killed']} of {judged} faults seen, {len(every)} possible")
    return 0 if found["killed"] >= 0.9 * judged else 1


if __name__ == "__main__":
    sys.exit(main(int(sys.argv[1]), int(sys.argv[2]),
                  [Path(name).resolve() for name in sys.argv[3:]]))
