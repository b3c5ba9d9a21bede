"""Where the package has its own files."""

from __future__ import annotations

import os


def package_path(*names: str) -> str:
    """A file that comes with the package."""
    return os.path.join(os.path.dirname(__file__), *names)
