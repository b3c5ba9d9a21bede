"""What a path leaves: structures, a table, a picture and a document."""

from __future__ import annotations

from typing import Any

from orbitrax.cli.reactions.shared import store, structure_text
from orbitrax.results.text import counted

AXIS = ("reaction coordinate", "\u00c5 amu$^{1/2}$")


def write_path(path: Any, molecule: Any, structures: str | None, table: str | None,
               picture: str | None) -> None:
    """Writes the files that were asked for; `-` prints the structures."""
    points, highest = path.points, path.saddle.total_energy
    if structures is not None:
        text = "".join(structure_text(molecule, point.positions, {
            "s": point.s, "energy": point.energy, "relative_energy": point.energy - highest})
            for point in points)
        if structures == "-":
            print(text, end="")
        else:
            store(structures, text)
    if table is not None:
        lines = ["s (Angstrom amu^1/2),total_energy (kcal/mol),above saddle point (kcal/mol),"
                 "rms_gradient (kcal/(mol Angstrom))"]
        lines += [f"{point.s:.4f},{point.energy:.6f},{point.energy - highest:.6f},{point.rms:.6f}"
                  for point in points]
        store(table, "\n".join(lines) + "\n")
    if picture is not None:
        from orbitrax.pictures.scan import draw

        draw(picture, [AXIS], [((point.s,), point.energy) for point in points])


def path_document(path: Any) -> dict[str, Any]:
    """The path, for programs."""
    modes = path.saddle.modes
    return {
        "saddle_point": {"total_energy": path.saddle.total_energy,
                         "heat_of_formation": path.saddle.heat_of_formation,
                         "imaginary_frequency_cm1": -float(modes.frequencies[0]),
                         "coordinates": path.saddle.plain("coordinates")},
        "points": [{"s": point.s, "total_energy": point.energy, "rms_gradient": point.rms}
                   for point in path.points],
        "ends": [None if end is None else {
            "total_energy": end.total_energy, "heat_of_formation": end.heat_of_formation,
            "below_saddle_point": path.saddle.total_energy - end.total_energy,
            "coordinates": end.plain("coordinates")} for end in path.ends]}


def end_line(path: Any, side: int) -> str:
    """What one side of a path has come to."""
    branch, end = path.branches[side], path.ends[side]
    text = f"side {side + 1}: {counted(len(branch.points), 'point')} ({branch.why}), then "
    if end is None:
        return text + "no minimum"
    heat = end.heat_of_formation
    shown = "" if heat is None else f", heat of formation {heat:.4f}"
    kind = "an unfinished search" if path.reasons[side] else "a minimum"
    fall = path.saddle.total_energy - end.total_energy
    return (f"{text}{kind} {abs(fall):.4f} kcal/mol {'below' if fall > 0 else 'above'} the saddle "
            f"point{shown}")
