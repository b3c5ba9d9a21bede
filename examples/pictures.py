#!/usr/bin/python3
"""The pictures of README.md and docs/, drawn by the program itself.

    examples/pictures.py [folder] [points]

folder: where they go, docs/pictures of this checkout by default. points: along the longest axis of
each grid; fewer are quicker and coarser.
"""

import argparse
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "python"))

from orbitrax.cli import main as orbitrax  # noqa: E402

PICTURES = {
    "formaldehyde-homo.png": "formaldehyde.xyz -m am1 --orbital homo",
    "formaldehyde-lumo.png": "formaldehyde.xyz -m am1 --orbital lumo",
    "caffeine-homo.png": "caffeine.xyz -m am1 --orbital homo",
    "caffeine-potential.png": "caffeine.xyz -m am1 --potential",
    "benzene-pi.png": "benzene.xyz -m pm3 --orbital homo --plane molecule=0.8",
    "nitrogen-dioxide-spin.png": "nitrogen_dioxide.xyz -m am1 --uhf --spin-density",
}


def main(folder: str, points: str) -> int:
    Path(folder).mkdir(parents=True, exist_ok=True)
    for name, what in PICTURES.items():
        molecule, *options = what.split()
        if points:
            options += ["--points", points]
        status = orbitrax(["plot", str(HERE / molecule), *options, "--width", "600", "-q",
                           "-o", str(Path(folder) / name)])
        if status:
            return status
        print(name)
    return 0


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description="The pictures of README.md and docs/.")
    parser.add_argument("folder", nargs="?", default=str(HERE.parent / "docs" / "pictures"))
    parser.add_argument("points", nargs="?", default="")
    given = parser.parse_args()
    sys.exit(main(given.folder, given.points))
