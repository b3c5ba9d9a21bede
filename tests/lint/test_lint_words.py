"""Words that belong in no file: paths of one machine, registries, where a requirement came from."""

from __future__ import annotations

import re
from pathlib import Path

from tree import ROOT, files, nothing_of, texts

# The patterns are put together from pieces, so that this file passes them itself.
_SLASH = "/"
PATHS = re.compile(
    r"(?<![\w.~-])" + _SLASH + r"(?:work|root|farm|home" + _SLASH + r"|tmp" + _SLASH + r"brief)"
    r"(?=[" + _SLASH + r"\s\"'`):,]|$|(?<=home" + _SLASH + r"))",
    re.M,
)
REGISTRIES = re.compile(
    "|".join(
        [
            r"\bpy" + r"pi\.",
            r"python" + r"hosted\.",
            r"\bnpm" + r"js\.",
            r"\bcrates" + r"\.io\b",
            r"\bdebian" + r"\.org\b",
            r"proxy\.golang" + r"\.",
            r'"resol' + r'ved":',
        ]
    )
)
ORIGINS = re.compile(
    "|".join(
        [
            r"\bPart" + r"s? \d+\.\d",
            r"\b[Tt]he spec" + r"(?:ification)?\b",
            r"\b[Ss]pec" + r"ification (?:says|document|demands|requires)",
            r"\bspec" + r"\.md\b",
            r"\b[Aa]ppen" + r"dix [A-H]\b",
            r"\b[Ii]ss" + r"ue #?\d",
            r"\bsee [A-H]" + r"-?\d{1,2}\b",
        ]
    )
)
WHOLE_NAMESPACE = re.compile(r"\busing\s+name" + r"space\s+qsolve\b")

UNTOUCHED = {"LICENSE"}


def mentions(root: Path, pattern: re.Pattern[str], paths: list[Path]) -> list[str]:
    """Every line of the files, and every file name, in which the pattern is found."""
    found = []
    for path in paths:
        name = path.relative_to(root).as_posix()
        if name in UNTOUCHED:
            continue
        if pattern.search(name):
            found.append(f"{name}: the file's name")
        for i, line in enumerate(path.read_text(encoding="utf-8").split("\n"), 1):
            if pattern.search(line):
                found.append(f"{name}:{i}: {line.strip()[:80]}")
    return found


def test_no_file_names_a_path_of_one_machine():
    nothing_of(mentions(ROOT, PATHS, texts(ROOT)))


def test_no_file_names_a_package_registry():
    nothing_of(mentions(ROOT, REGISTRIES, texts(ROOT)))


def test_no_file_says_where_a_requirement_came_from():
    nothing_of(mentions(ROOT, ORIGINS, texts(ROOT)))


def test_nobody_opens_the_whole_namespace():
    nothing_of(mentions(ROOT, WHOLE_NAMESPACE, files(ROOT, ".cpp", ".h")))


def count(plant, pattern: re.Pattern[str], *lines: str) -> int:
    root = plant({"src/scf/scf.cpp": "\n".join(lines)})
    return len(mentions(root, pattern, texts(root)))


def test_a_path_of_one_machine_is_caught(plant):
    bad = ["/wo" + "rk/main", "x=/ro" + "ot", "'/ho" + "me/anna/a.xyz'", "(/tmp/br" + "ief)"]
    assert count(plant, PATHS, *bad) == len(bad)
    assert count(plant, PATHS, "a/work/b", "~/root/x", "tests/home/", "/tmp/x", "/workshop") == 0


def test_a_registry_is_caught(plant):
    bad = ["https://py" + "pi.org/simple", "deb http://deb.debian" + ".org/debian bookworm main"]
    assert count(plant, REGISTRIES, *bad, '"resol' + 'ved": "x"') == 3
    assert count(plant, REGISTRIES, "on Debian 12 by apt-get", "it is resolved: yes") == 0


def test_a_word_on_the_origin_of_a_requirement_is_caught(plant):
    bad = ["// Part" + " 4.1", "as the sp" + "ecification says", "Appen" + "dix B", "see H" + "14"]
    assert count(plant, ORIGINS, *bad, "iss" + "ue 12") == 5
    fine = ["part of 4.1 eV", "Specific heat", "C7 and H14", "the species", "it is 12", "C(H3)"]
    assert count(plant, ORIGINS, *fine) == 0


def test_a_file_name_counts_as_well(plant):
    root = plant({"docs/spec" + ".md": "fine\n"})
    assert len(mentions(root, ORIGINS, texts(root))) == 1


def test_opening_the_namespace_is_caught(plant):
    lines = ["using name" + "space  qsolve;", "using qsolve::link;"]
    assert count(plant, WHOLE_NAMESPACE, *lines) == 1
