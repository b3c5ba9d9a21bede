#!/usr/bin/python3
"""Writes cmake/batches.txt: which sources a release compiles as one, a batch a line.

Two sources go together when they are of one room and no name that one keeps to itself, in its
unnamed namespace, is a word of the other or of a header of ours that the other includes. Without a
place in the list a source is compiled by itself.
"""

from __future__ import annotations

import re
from functools import cache
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
LIST = "cmake/batches.txt"
LARGEST = 12  # sources: more save little, and two cores are to share the work
ALONE = {
    # Programs of tests bring these themselves, and must not find them beside something else.
    "scf/scf.cpp", "session/backend_main.cpp", "session/main.cpp",
    "session/program_options.cpp",  # compiled with the version of the program
    "ci/matrix.cpp", "ci/spectrum.cpp",  # their `ci` is not the one that their neighbours know
}

WORD = re.compile(r"[A-Za-z_]\w*")
NOISE = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', re.DOTALL)
INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)
UNNAMED = re.compile(r"^namespace \{$(.*?)^\}  // namespace$", re.MULTILINE | re.DOTALL)
TYPE = re.compile(r"(?:struct|class|union|enum(?: class)?|using) (\w+)")
ENUMERATION = re.compile(r"^enum (?!class)[^{]*\{([^}]*)\}", re.MULTILINE)
NAMED = re.compile(r"(\w+) *[=(;\[{]")
WIDE = re.compile(r"^#define|^using namespace|^static ", re.MULTILINE)  # reaches further


def own_names(text: str) -> set[str]:
    """The names in the unnamed namespace of a source."""
    names: set[str] = set()
    for part in UNNAMED.findall(text):
        part = NOISE.sub(" ", part)
        for line in part.splitlines():
            if line[:1].isalpha() and not line.startswith("template"):
                kind = TYPE.match(line)
                names.update([kind[1]] if kind else NAMED.findall(line))
        for members in ENUMERATION.findall(part):
            names.update(WORD.findall(members))
    return names


@cache
def words_of(path: Path, source_folder: Path) -> frozenset[str]:
    """Every word of a file and of the headers of ours that it includes."""
    text = path.read_text(encoding="utf-8")
    words = set(WORD.findall(NOISE.sub(" ", text)))
    for name in INCLUDE.findall(text):
        if (source_folder / name).is_file():
            words |= words_of(source_folder / name, source_folder)
    return frozenset(words)


def together(one: Path, other: Path) -> bool:
    """Whether both can be compiled as one, without either meaning anything else than by itself."""
    texts = [path.read_text(encoding="utf-8") for path in (one, other)]
    if one.parent != other.parent or any(WIDE.search(text) for text in texts):
        return False
    folder = one.parent.parent
    return (own_names(texts[0]).isdisjoint(words_of(other, folder))
            and own_names(texts[1]).isdisjoint(words_of(one, folder)))


def batches(top: Path = TOP) -> list[list[str]]:
    """The sources of the core in batches, by their names below src/."""
    found: list[list[Path]] = []
    for source in sorted((top / "src").glob("*/*.cpp")):
        name = source.relative_to(top / "src").as_posix()
        if name in ALONE or source.parent.name == "platform":
            continue
        for batch in found:
            if len(batch) < LARGEST and all(together(source, other) for other in batch):
                batch.append(source)
                break
        else:
            found.append([source])
    return [[path.relative_to(top / "src").as_posix() for path in batch]
            for batch in found if len(batch) > 1]


def faults(lines: list[str], top: Path = TOP) -> list[str]:
    """What is wrong with a list: sources that are gone, that come twice, or that do not agree."""
    said, seen = [], set()
    for line in lines:
        paths = [top / "src" / name for name in line.split()]
        for index, path in enumerate(paths):
            if not path.is_file():
                said.append(f"{path.name} is no source")
                continue
            if path in seen:
                said.append(f"{path.name} stands there twice")
            seen.add(path)
            said += [f"{path.name} and {other.name} do not go together"
                     for other in paths[:index] if other.is_file() and not together(path, other)]
    return said


if __name__ == "__main__":
    lines = [" ".join(batch) for batch in batches()]
    (TOP / LIST).write_text("".join(f"{line}\n" for line in lines), encoding="utf-8")
    print(f"{sum(len(line.split()) for line in lines)} sources in {len(lines)} batches")
