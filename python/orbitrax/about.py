"""What this copy of the program is made of: which numbers it gives."""

from __future__ import annotations

import os

from orbitrax import __version__
from orbitrax.errors import OrbitraxError
from orbitrax.paths import package_path

_SHOWN = 16  # hexadecimal digits of a checksum


def version_text() -> str:
    """Version, commit, backend and its form, checksum of the parameter tables; a line each."""
    lines = [f"orbitrax {__version__}"]
    commit = _commit()
    if commit:
        lines.append(f"commit   {commit}")
    return "\n".join([*lines, f"backend  {_backend()}", f"tables   {tables_checksum()}"])


def _commit() -> str | None:
    """The commit that this copy was made from, where anything tells."""
    try:
        with open(package_path("commit"), encoding="ascii") as file:
            return file.read().strip() or None
    except OSError:
        pass
    top = os.path.dirname(os.path.dirname(os.path.realpath(package_path())))
    if not os.path.exists(os.path.join(top, ".git")):
        return None
    import subprocess

    try:
        said = subprocess.run(["git", "-C", top, "describe", "--always", "--dirty", "--abbrev=12"],
                              capture_output=True, text=True, timeout=10)
    except (OSError, subprocess.TimeoutExpired):
        return None
    return said.stdout.strip() or None


def _backend() -> str:
    """Name, version and form of the backend, in its own words."""
    import subprocess

    from orbitrax.link.process import find_backend

    try:
        said = subprocess.run([find_backend(), "--version"], capture_output=True, text=True,
                              timeout=10)
    except (OSError, subprocess.TimeoutExpired, OrbitraxError) as error:
        return f"none: {error}"
    return ", ".join(line.strip().replace(": ", " ") for line in said.stdout.splitlines())


def tables_checksum() -> str:
    """SHA-256 of the parameter tables, name after name: of their names and their bytes."""
    import hashlib

    from orbitrax.tables import parameter_directory

    folder = parameter_directory()
    names = sorted(name for name in os.listdir(folder) if name.endswith(".abp"))
    found = hashlib.sha256()
    for name in names:
        with open(os.path.join(folder, name), "rb") as file:
            found.update(name.encode() + b"\0" + file.read())
    return f"{len(names)} files, sha256 {found.hexdigest()[:_SHOWN]}"
