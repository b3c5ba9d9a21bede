"""The sets of tests/reference/vibrations.txt."""

from __future__ import annotations

from dataclasses import dataclass, field

from support import ROOT

FILE = ROOT / "tests" / "reference" / "vibrations.txt"
MASSES = {"H": 1.0079, "B": 10.81, "C": 12.011, "N": 14.0067, "O": 15.9994, "F": 18.998403,
          "S": 32.06, "Cl": 35.453}  # fmt: skip
ROWS = ("frequencies", "intensities", "zero_point", "thermo", "labels")


@dataclass
class VibrationSet:
    name: str
    method: str
    charge: int
    multiplicity: int
    uhf: bool
    symmetry_number: int | None
    symbols: list[str] = field(default_factory=list)
    positions: list[list[float]] = field(default_factory=list)
    rows: dict[str, list] = field(default_factory=dict)

    @property
    def masses(self) -> list[float]:
        return [MASSES[symbol] for symbol in self.symbols]


def read_sets() -> list[VibrationSet]:
    sets: list[VibrationSet] = []
    key = ""
    for line in FILE.read_text(encoding="utf-8").split("\n"):
        words = line.split()
        if not words or words[0].startswith("#"):
            continue
        if words[0] == "set":
            number = None if words[6] == "-" else int(words[6])
            sets.append(VibrationSet(words[1], words[2].lower(), int(words[3]), int(words[4]),
                                     words[5] == "UHF", number))  # fmt: skip
        elif words[0] in ROWS or line.startswith(" "):
            if not line.startswith(" "):
                key = words.pop(0)
                sets[-1].rows[key] = []
            convert = str if key == "labels" else float
            sets[-1].rows[key] += map(convert, words)
        else:
            sets[-1].symbols.append(words[0])
            sets[-1].positions.append([float(word) for word in words[1:]])
    return sets
