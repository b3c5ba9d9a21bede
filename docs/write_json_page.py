#!/usr/bin/python3
"""Writes docs/json.md from the table that the documents themselves are made from."""

from __future__ import annotations

import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
PAGE = Path(__file__).resolve().parent / "json.md"
sys.path.insert(0, str(ROOT / "python"))

from orbitrax.results.document import ROWS, SCHEMA  # noqa: E402

HEAD = f"""# The JSON document

`--json` prints one document of this form on standard output, whatever happens: of a \
calculation that is refused or fails too. `Result.to_dict()` is the same in Python, and \
`orbitrax.results.document.schema()` the JSON schema.

- Every key is always there. What a task does not produce, or what is not known, is null; \
nothing is invented.
- Numbers are JSON numbers, never NaN or Infinity. Energies, gradients, dipoles, charges and \
coordinates are in double precision.
- `status` tells how it ended: `done`; `unconverged`, a result that is not to be believed; \
`refused`, the fault of the input; `failed`; `interrupted`. All but `done` come with an exit \
status other than 0.
- Tasks add blocks of their own under their names, as `optimize` does.
- The name of the form, `{SCHEMA}`, changes when a key changes its meaning or goes; keys may \
be added.

| Key | Type | Unit | |
|---|---|---|---|
"""


def kind(row: object) -> str:
    """The type of an entry in words."""
    if not row.shape:
        return row.kind
    lengths = " x ".join("?" if length == "any" else str(length) for length in row.shape)
    return f"{row.kind}, {lengths}"


def page() -> str:
    """The whole page."""
    lines = [f"| `{row.key}` | {kind(row)} | {row.unit} | {row.meaning} |" for row in ROWS]
    return HEAD + "\n".join(lines) + "\n"


if __name__ == "__main__":
    PAGE.write_text(page(), encoding="utf-8")
