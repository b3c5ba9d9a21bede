#!/usr/bin/python3
"""Single points that are hard to converge, with the default settings and with others: the table of
docs/hard-molecules.md.

    benchmarks/hard_molecules.py [--trace] [--write] [name ...]

A calculation with the defaults is compared with the lowest converged energy of the same charge,
multiplicity and spin treatment under all settings of SETTINGS, so that one that converges to a
higher state shows; an unrestricted singlet that stays at the restricted solution is marked as well.
--trace prints the energy differences of the defaults, cycle by cycle. --write puts the table into
the page.
"""

from __future__ import annotations

import argparse
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FOLDER = ROOT / "benchmarks" / "hard"
PAGE = ROOT / "docs" / "hard-molecules.md"
sys.path.insert(0, str(ROOT / "python"))

# File, what makes it hard, method, charge, multiplicity, unrestricted.
CASES = [
    ("titanium_tetrachloride", "d0 complex", "zindo1", 0, 1, False),
    ("titanium_tetrachloride", "d0 complex", "zindos", 0, 1, False),
    ("chromate", "d0 oxo anion", "zindo1", -2, 1, False),
    ("permanganate", "d0 oxo anion", "zindo1", -1, 1, False),
    ("permanganate", "d0 oxo anion", "zindos", -1, 1, False),
    ("ferrocene", "d6 sandwich", "zindo1", 0, 1, False),
    ("ferrocene", "d6 sandwich", "zindos", 0, 1, False),
    ("ferrocene", "d5 sandwich", "zindo1", 1, 2, True),
    ("nickel_carbonyl", "d10 carbonyl", "zindo1", 0, 1, False),
    ("chromium_carbonyl", "d6 carbonyl", "zindo1", 0, 1, False),
    ("chromium_carbonyl", "d6 carbonyl", "zindos", 0, 1, False),
    ("iron_carbonyl", "d8 carbonyl", "zindo1", 0, 1, False),
    ("iron_carbonyl", "d8 carbonyl", "zindos", 0, 1, False),
    ("tetrachlorocuprate", "d9 complex", "zindo1", -2, 2, True),
    ("tetrachlorocuprate", "d9 complex", "zindos", -2, 2, True),
    ("tetrachlorocuprate", "d9 complex", "zindo1", -2, 2, False),
    ("tetrachlorocobaltate", "d7, high spin", "zindo1", -2, 4, True),
    ("hexafluoroferrate", "d5, high spin", "zindo1", -3, 6, True),
    ("hexafluorochromate", "d3, high spin", "zindo1", -3, 4, True),
    ("dioxygen", "biradical", "am1", 0, 3, True),
    ("dioxygen", "biradical", "am1", 0, 3, False),
    ("dioxygen", "excited singlet", "am1", 0, 1, False),
    ("disulfur", "biradical", "pm3", 0, 3, True),
    ("ozone", "biradical character", "am1", 0, 1, False),
    ("ozone", "biradical character", "am1", 0, 1, True),
    ("ozone", "biradical character", "indo", 0, 1, False),
    ("nitrogen_dioxide", "radical", "am1", 0, 2, True),
    ("nitrogen_dioxide", "radical", "pm3", 0, 2, False),
    ("nitric_oxide", "degenerate radical", "am1", 0, 2, True),
    ("nitric_oxide", "degenerate radical", "am1", 0, 2, False),
    ("hydroxyl", "degenerate radical", "indo", 0, 2, True),
    ("cyano", "radical", "mndo", 0, 2, True),
    ("ethynyl", "radical", "pm3", 0, 2, True),
    ("methylene", "triplet carbene", "mindo3", 0, 3, True),
    ("dicarbon", "two configurations", "mndo", 0, 1, False),
    ("cyanide", "anion", "am1", -1, 1, False),
    ("triiodide", "hypervalent anion", "am1", -1, 1, False),
    ("triiodide", "hypervalent anion", "mndod", -1, 1, False),
    ("dinitrogen_tetroxide", "long bond", "am1", 0, 1, False),
    ("dinitrogen_tetroxide", "long bond", "cndo", 0, 1, False),
    ("oxygen_difluoride", "weak bonds", "indo", 0, 1, False),
    ("chlorine_trifluoride", "hypervalent", "am1", 0, 1, False),
    ("chlorine_trifluoride", "hypervalent", "mndod", 0, 1, False),
    ("lithium_fluoride", "ion pair", "mndo", 0, 1, False),
    ("sodium_chloride", "ion pair", "mndod", 0, 1, False),
    ("sodium_chloride", "ion pair", "zindo1", 0, 1, False),
    ("hydrogen_stretched", "stretched bond", "am1", 0, 1, False),
    ("hydrogen_stretched", "stretched bond", "am1", 0, 1, True),
    ("hydrogen_stretched", "stretched bond", "cndo", 0, 1, True),
    ("hydrogen_fluoride_stretched", "stretched bond", "mndo", 0, 1, False),
    ("hydrogen_fluoride_stretched", "stretched bond", "mndo", 0, 1, True),
    ("dinitrogen_stretched", "stretched triple bond", "pm3", 0, 1, False),
    ("dinitrogen_stretched", "stretched triple bond", "pm3", 0, 1, True),
    ("ethane_stretched", "stretched bond", "am1", 0, 1, False),
    ("ethane_stretched", "stretched bond", "am1", 0, 3, True),
    ("ethylene_twisted", "biradical", "am1", 0, 1, False),
    ("ethylene_twisted", "biradical", "am1", 0, 3, True),
    ("cyclobutadiene", "degenerate frontier", "am1", 0, 1, False),
    ("cyclobutadiene", "degenerate frontier", "am1", 0, 3, True),
    ("cyclobutadiene", "degenerate frontier", "cndo", 0, 1, False),
    ("p_benzyne", "biradical", "am1", 0, 1, False),
    ("p_benzyne", "biradical", "am1", 0, 1, True),
    ("p_benzyne", "biradical", "am1", 0, 3, True),
    ("trimethylenemethane", "biradical", "pm3", 0, 3, True),
    ("trimethylenemethane", "biradical", "pm3", 0, 3, False),
    ("glycine_zwitterion", "zwitterion", "am1", 0, 1, False),
    ("glycine_zwitterion", "zwitterion", "cndo", 0, 1, False),
    ("alanine_zwitterion", "zwitterion", "pm3", 0, 1, False),
    ("alanine_10_zwitterion", "charges far apart", "am1", 0, 1, False),
    ("alanine_10_zwitterion", "charges far apart", "indo", 0, 1, False),
    ("polyene_30", "long polyene", "am1", 0, 1, False),
    ("polyene_30", "long polyene", "zindos", 0, 1, False),
    ("polyene_30", "long polyene, cation", "am1", 1, 2, True),
    ("polymethine_13", "odd chain, cation", "am1", 1, 1, False),
    ("polymethine_13", "odd chain, radical", "pm3", 0, 2, True),
    ("azulene", "charge transfer", "am1", 0, 1, False),
    ("azulene", "charge transfer", "zindos", 0, 1, False),
    ("pentacene", "small gap", "am1", 0, 1, False),
    ("pentacene", "small gap, anion", "am1", -1, 2, False),
    ("tcnq", "acceptor, anion", "am1", -1, 2, True),
    ("p_nitroaniline", "push and pull", "zindos", 0, 1, False),
    ("../molecules/c60", "60 atoms alike", "am1", 0, 1, False),
    ("../molecules/c60", "60 atoms alike, anion", "am1", -1, 2, True),
    ("../molecules/c60", "60 atoms alike", "indo", 0, 1, False),
]

# Options of the command line and what they are to a Job; the first are the defaults.
SETTINGS = [
    ("", {}),
    ("--scf plain", {"scf": "plain"}),
    ("--no-diis", {"diis": False}),
    ("--level-shift-start 0", {"level_shift_start": 0}),
    ("--no-diis --level-shift-start 0", {"diis": False, "level_shift_start": 0}),
    ("--scf plain --scf-iterations 2000", {"scf": "plain", "scf_iterations": 2000}),
    ("--no-diis --scf-iterations 2000", {"diis": False, "scf_iterations": 2000}),
]

SAME_STATE = 0.01  # kcal/mol


def read(name):
    """Molecule of a case."""
    from orbitrax import read_molecule

    return read_molecule(str(FOLDER / f"{name}.xyz"))


def compute(backend, molecule, case, settings, trace=None):
    """Result of one single point; None, after the words of the backend, where it is refused."""
    from orbitrax import Job
    from orbitrax.errors import OrbitraxError
    from orbitrax.link.events import StatusLine

    def follow(event):
        if trace is not None and isinstance(event, StatusLine):
            trace.append(event.text)

    _, _, method, charge, multiplicity, unrestricted = case
    try:
        return backend.run(Job(molecule, method, charge=charge, multiplicity=multiplicity,
                               uhf=unrestricted, **settings), follow)
    except OrbitraxError as error:
        print(f"{case[0]} {method}: {error}", file=sys.stderr)
        return None


def row(backend, case, show_trace):
    """One row of the table, as its cells; None for a calculation that is refused."""
    molecule, trace = read(case[0]), []
    results = [compute(backend, molecule, case, settings, trace if i == 0 else None)
               for i, (_, settings) in enumerate(SETTINGS[:5])]
    if results[0] is None:
        return None
    plain = results[2]
    lower = plain and not plain.converged and \
        plain.total_energy < results[0].total_energy - SAME_STATE
    if not results[0].converged or lower:  # perhaps more cycles lead on
        results += [compute(backend, molecule, case, settings) for _, settings in SETTINGS[5:]]
    if show_trace:
        print("\n".join(trace))
    energies = [r.total_energy if r and r.converged else None for r in results]
    found = [e for e in energies if e is not None]
    lowest = min(found) if found else None
    default = results[0]
    state, needed = "", ""
    if energies[0] is None:
        cycles = f"no, {default.final_scf_difference:.1e}"
        needed = next((f"`{SETTINGS[i][0]}`: {results[i].scf_iterations}"
                       for i, e in enumerate(energies) if e is not None), "nothing tried")
    else:
        cycles = str(default.scf_iterations)
        if energies[0] - lowest > SAME_STATE:
            best = min((i for i, e in enumerate(energies) if e is not None and
                        e - lowest < SAME_STATE), key=lambda i: results[i].scf_iterations)
            state = f"{energies[0] - lowest:.3f}"
            needed = f"`{SETTINGS[best][0]}`: {results[best].scf_iterations}"
    if case[5] and case[4] == 1 and energies[0] is not None:
        restricted = compute(backend, molecule, (*case[:5], False), {"diis": False})
        if restricted and restricted.converged and \
                abs(energies[0] - restricted.total_energy) < SAME_STATE:
            state = f"{state}, both spins alike".removeprefix(", ")
    others = " ".join("-" if r is None else str(r.scf_iterations) if r.converged else "no"
                      for r in results[1:5])
    name = f"{molecule.formula}, {Path(case[0]).name.replace('_', ' ')}"
    return [name, case[1], case[2], str(case[3]), str(case[4]), "UHF" if case[5] else "RHF", cycles,
            others, state, needed]


HEAD = ["Molecule", "Hard because", "Method", "Charge", "Mult.", "", "Cycles",
        "plain / no DIIS / no shift / neither",
        "Above the lowest, kcal/mol", "What helps"]


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("names", nargs="*", help="cases whose name begins so (default: all)")
    parser.add_argument("--trace", action="store_true")
    parser.add_argument("--write", action="store_true")
    arguments = parser.parse_args()
    from orbitrax import Backend

    lines = ["| " + " | ".join(HEAD) + " |", "|" + "---|" * len(HEAD)]
    print("\n".join(lines))
    with Backend(time_limit=300) as backend:
        for case in CASES:
            if arguments.names and not case[0].startswith(tuple(arguments.names)):
                continue
            cells = row(backend, case, arguments.trace)
            if cells is not None:
                lines.append("| " + " | ".join(cells) + " |")
                print(lines[-1], flush=True)
    if arguments.write:
        text = PAGE.read_text(encoding="utf-8")
        head, _, rest = text.partition("<!-- table -->\n")
        tail = rest.partition("<!-- end of table -->")[2]
        PAGE.write_text(f"{head}<!-- table -->\n" + "\n".join(lines)
                        + f"\n<!-- end of table -->{tail}", encoding="utf-8")


if __name__ == "__main__":
    main()
