#!/usr/bin/python3
"""Writes the list of numbered texts that no code uses yet. It should only ever get shorter."""

from __future__ import annotations

from messages import NOT_USED_YET, unused
from tree import ROOT

if __name__ == "__main__":
    names = unused(ROOT)
    (ROOT / NOT_USED_YET).write_text("".join(f"{name}\n" for name in names), encoding="utf-8")
    print(f"{len(names)} texts are not used yet")
