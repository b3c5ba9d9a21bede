#!/usr/bin/python3
"""Writes what tools read of an installed Python package: its name, version and entry points.

    packaging/write_metadata.py FOLDER
"""

import sys
import tomllib
from pathlib import Path

TOP = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(TOP / "python"))

from orbitrax import __version__  # noqa: E402

project = tomllib.loads((TOP / "pyproject.toml").read_text(encoding="utf-8"))["project"]
folder = Path(sys.argv[1]) / f"orbitrax-{__version__}.dist-info"
folder.mkdir(parents=True, exist_ok=True)
(folder / "METADATA").write_text(
    f"Metadata-Version: 2.1\nName: orbitrax\nVersion: {__version__}\n"
    f"Summary: {project['description']}\nLicense: {project['license']['text']}\n"
    f"Requires-Python: {project['requires-python']}\n", encoding="utf-8")
(folder / "entry_points.txt").write_text("".join(
    f"[{group}]\n" + "".join(f"{name} = {place}\n" for name, place in entries.items())
    for group, entries in project["entry-points"].items()), encoding="utf-8")
