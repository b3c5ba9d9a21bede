"""A fixture with which a lint shows that it catches a planted fault."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

import pytest


@pytest.fixture
def plant(tmp_path: Path) -> Callable[[dict[str, str]], Path]:
    """Writes a small tree, file by file, and returns its root."""

    def write(contents: dict[str, str]) -> Path:
        for name, text in contents.items():
            path = tmp_path / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        return tmp_path

    return write
