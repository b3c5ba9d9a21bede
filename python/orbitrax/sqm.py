"""The semi-empirical step of force-field set-up scripts: `orbitrax sqm -i sqm.in -o sqm.out`.

Such scripts write a namelist with method, charge and limits and the atoms below it, start a program
`sqm`, and read the final geometry and the Mulliken charges from what it writes. A link of that name
to a script that calls this task is enough to put Orbitrax in its place.
"""

from __future__ import annotations

import math
import re
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

from orbitrax.errors import CalculationFailed, MoleculeError, OrbitraxError, UsageError
from orbitrax.files import check_target, replaced
from orbitrax.units import REPORT_EV_PER_KCAL

if TYPE_CHECKING:
    from orbitrax.atomic_charges.am1 import Point
    from orbitrax.backend import Backend
    from orbitrax.minimise.arrays import Array

METHODS = {"AM1": "am1", "PM3": "pm3", "MNDO": "mndo"}
_FINEST = 0.005  # kcal/(mol Angstrom): what single-precision coordinates allow
_ENTRY = re.compile(r"(\w+)\s*=\s*('[^']*'|\"[^\"]*\"|[^,\s/]+)")


@dataclass(frozen=True)
class SqmInput:
    """What an input asks for. method: a key of METHODS. numbers: n; positions: n x 3, Angstrom.
    cycles: most steps, 0 for the geometry as it is. rms_gradient: limit in kcal/(mol Angstrom).
    ignored: entries of the namelist that have no meaning here."""

    title: str
    method: str
    charge: int
    numbers: Array
    positions: Array
    cycles: int
    rms_gradient: float
    ignored: tuple[str, ...]


# ---- the input ----------------------------------------------------------------------------------


def parse_input(text: str, name: str = "sqm.in") -> SqmInput:
    """Reads an input: a title, the namelist &qmmm, rows of atomic number, name and coordinates."""
    lines = text.splitlines()
    begin = next((i for i, line in enumerate(lines) if line.strip().lower().startswith("&qmmm")),
                 None)
    if begin is None:
        raise MoleculeError(f"{name}: there is no namelist &qmmm")
    end = next((i for i in range(begin, len(lines))
                if lines[i].rstrip().endswith("/") or lines[i].strip().lower() == "&end"), None)
    if end is None:
        raise MoleculeError(f"{name}: the namelist &qmmm has no end, a line with / alone")
    entries = {key.lower(): value.strip("'\"") for key, value in
               _ENTRY.findall(" ".join(lines[begin:end + 1]))}
    numbers, positions = _atoms(lines[end + 1:], end + 1, name)
    return _checked(lines[0].strip() if begin else "", entries, numbers, positions, name)


def _checked(title: str, entries: dict[str, str], numbers: Array, positions: Array,
             name: str) -> SqmInput:
    method = entries.pop("qm_theory", "AM1").upper()
    if method not in METHODS:
        raise UsageError(f"{name}: qm_theory '{method}' is not available; there are "
                         + ", ".join(METHODS))
    charge = _number(entries, "qmcharge", 0.0, name)
    if charge != round(charge):
        raise UsageError(f"{name}: qmcharge {charge} is not a whole number")
    if _number(entries, "spin", 1.0, name) != 1:
        raise UsageError(f"{name}: only singlets are calculated here; 'orbitrax optimize' takes "
                         "others")
    cycles = _number(entries, "maxcyc", 9999.0, name)
    limit = _number(entries, "grms_tol", 0.02, name)
    if cycles < 0 or not limit > 0:
        raise UsageError(f"{name}: maxcyc should not be below 0, and grms_tol above it")
    return SqmInput(title, method, round(charge), numbers, positions, round(min(cycles, 1e6)),
                    limit, tuple(sorted(entries)))


def _number(entries: dict[str, str], key: str, default: float, name: str) -> float:
    text = entries.pop(key, None)
    if text is None:
        return default
    try:
        value = float(text.lower().replace("d", "e"))
    except ValueError:
        value = math.nan
    if not math.isfinite(value):
        raise UsageError(f"{name}: {key} '{text}' is not a number")
    return value


def _atoms(lines: list[str], offset: int, name: str) -> tuple[Array, Array]:
    import numpy as np

    numbers, positions = [], []
    for place, line in enumerate(lines, offset + 1):
        words = line.split()
        if not words or words[0].startswith(("#", "&")):
            break
        try:
            number, place_xyz = int(words[0]), [float(word) for word in words[2:5]]
            if len(place_xyz) < 3 or number < 1:
                raise ValueError
        except ValueError:
            raise MoleculeError(f"{name}, line {place}: '{line.strip()}' is not an atomic number, "
                                "a name and three coordinates") from None
        numbers.append(number)
        positions.append(place_xyz)
    if not numbers:
        raise MoleculeError(f"{name}: there are no atoms below the namelist")
    return np.array(numbers), np.array(positions)


# ---- the work and the output --------------------------------------------------------------------


def compute(given: SqmInput, backend: Backend) -> str:
    """Minimises what an input asks for, and returns the text of its output."""
    from orbitrax.atomic_charges.am1 import Am1
    from orbitrax.molecules.geometry import find_bonds
    from orbitrax.minimise import Limits, minimise

    energy = Am1(backend, given.numbers, given.charge, method=METHODS[given.method])
    positions, converged, why = given.positions, True, ""
    if given.cycles:
        near = find_bonds(given.numbers, given.positions)
        bonds = [(i, j) for i, others in enumerate(near) for j in others if i < j]
        limit = max(given.rms_gradient, _FINEST)
        found = minimise(energy, given.numbers, given.positions, bonds,
                         Limits(limit, 10 * limit, 1e-4, given.cycles))
        positions, why = found.positions, found.why
        converged = found.converged or found.rms <= max(0.1, limit)
    if not converged:
        raise CalculationFailed(f"the geometry did not converge: {why}")
    return output_text(given, positions, energy.point(positions), energy.energies)


def output_text(given: SqmInput, positions: Array, point: Point, energies: int) -> str:
    """What set-up scripts read: words of convergence, charges by atom, the final geometry."""
    from orbitrax import __version__
    from orbitrax.molecules.elements import SYMBOLS

    symbols = [SYMBOLS[number] for number in given.numbers]
    heat = point.heat_of_formation
    electron_volt = heat * REPORT_EV_PER_KCAL
    lines = [
        "            --------------------------------------------------------",
        f"             ORBITRAX {__version__}, in the form of SQM's output",
        "            --------------------------------------------------------", "",
        given.title, f" QMMM: method {given.method}, charge {given.charge}", ""]
    if given.ignored:
        lines += [f" QMMM: without meaning here: {', '.join(given.ignored)}", ""]
    if given.cycles:
        lines += [f"  ... geometry converged ! ({energies} energies)", ""]
    lines += [f" Heat of formation   ={heat:20.8f} kcal/mol  ({electron_volt:18.8f} eV)", "",
              "    Atomic Charges for Step       1 :",
              "  Atom    Element       Mulliken Charge"]
    lines += [f" {i:5d}      {symbol:<2}        {charge:14.6f}" for i, (symbol, charge) in
              enumerate(zip(symbols, point.charges), 1)]
    lines += [f" Total Mulliken Charge = {sum(point.charges):15.6f}", "", " Final Structure", "",
              "  QMMM: QM Region Cartesian Coordinates (*=link atom) ",
              "  QMMM: QM_NO.   MM_NO.  ATOM         X         Y         Z"]
    lines += [f"  QMMM: {i:5d}   {i:5d}      {symbol:<2}   {x:10.4f}{y:10.4f}{z:10.4f}"
              for i, (symbol, (x, y, z)) in enumerate(zip(symbols, positions.tolist()), 1)]
    lines += ["", "           --------- Calculation Completed ----------", ""]
    return "\n".join(lines) + "\n"


# ---- the task -----------------------------------------------------------------------------------


DESCRIPTION = ("Reads the input of the semi-empirical step that force-field set-up scripts write, "
               "and writes what they read back.")
EXAMPLES = ("orbitrax sqm -O -i sqm.in -o sqm.out",)


def add_arguments(parser: Any) -> None:
    """Declares the options of the task, which are those of the program that it stands for."""
    parser.add_argument("-O", action="store_true", help="write over the output (it always does)")
    parser.add_argument("-i", "--input", default="sqm.in", metavar="FILE",
                        help="the input (default sqm.in)")
    parser.add_argument("-o", "--output", default="sqm.out", metavar="FILE",
                        help="the output (default sqm.out)")
    parser.add_argument("--backend", metavar="PATH", help="the backend program to start")
    parser.add_argument("--tables", metavar="FOLDER", help="folder of the parameter tables")


def run(arguments: Any, terminal: Any) -> int:
    """Runs the task; returns the exit status. The output of a failure says so and never that the
    calculation was completed."""
    from orbitrax.backend import Backend

    try:
        check_target(arguments.output)
        try:
            with open(arguments.input, encoding="utf-8", errors="replace") as file:
                given = parse_input(file.read(), arguments.input)
        except OSError as error:
            raise MoleculeError(f"{arguments.input}: {error.strerror}") from None
        with Backend(arguments.backend, arguments.tables) as backend:
            text, failure = compute(given, backend), None
    except OrbitraxError as error:
        text, failure = f" QMMM: ERROR!\n QMMM: {error.typed}\n", error
        terminal.error(error.typed)
    try:
        with replaced(arguments.output) as name, open(name, "w", encoding="utf-8") as file:
            file.write(text)
    except OrbitraxError as error:
        terminal.error(error.typed)
        failure = failure or error
    return failure.exit_status if failure else 0
