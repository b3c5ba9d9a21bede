#!/usr/bin/python3
"""The pictures of README.md and docs/, drawn by the program itself.

    examples/pictures.py [--update] [folder] [points]

folder: where they go, `pictures` here by default; with --update, docs/pictures of this checkout.
points: along the longest axis of each grid; fewer are quicker and coarser.
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
    parser.add_argument("folder", nargs="?", default="pictures")
    parser.add_argument("points", nargs="?", default="")
    parser.add_argument("--update", action="store_true", help="those of the docs")
    given = parser.parse_args()
    folder = str(HERE.parent / "docs" / "pictures") if given.update else given.folder
    sys.exit(main(folder, given.points))
