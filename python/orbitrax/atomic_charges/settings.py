"""How charges are made: settings that the command line, Python and tables share."""

from __future__ import annotations

from orbitrax.settings import Settings, declared, option

MODELS = {
    "am1bcc": "AM1 populations at a minimum of AM1, with bond charge corrections",
    "am1-mulliken": "AM1 populations at a minimum of AM1",
    "mulliken": "AM1 populations at the geometry as it is",
    "am1bcc-elf10": "am1bcc, the mean over conformers in which polar groups stay apart",
}
DIGITS = 4

_CHARGES = "charges"


@declared
class ChargeSettings(Settings):
    """How charges are made."""

    model: str = option(
        "am1bcc", choices=tuple(MODELS), group=_CHARGES,
        help="am1bcc; am1-mulliken, the same without corrections; mulliken, at the geometry as it "
             "is; am1bcc-elf10, the mean over conformers")
    conformers: int = option(
        0, least=0, most=10000, group=_CHARGES, metavar="N",
        help="make N geometries and take the force field's lowest (default: the molecule's own, or "
             "one that is made); for am1bcc-elf10 how many to choose from (default 500)")
    hold: str = option(
        "nothing", choices=("nothing", "torsions"), group=_CHARGES,
        help="torsions: keep the conformer as it is while the rest relaxes")
    missing: str = option(
        "error", choices=("error", "zero"), group=_CHARGES,
        help="zero: go on where a bond has no correction")
    digits: int = option(
        DIGITS, least=1, most=8, group=_CHARGES, metavar="N", help="digits after the point")
