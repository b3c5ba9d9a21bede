"""The command `barrier`: from two molecules to the barrier between them."""

from __future__ import annotations

from typing import Any

from orbitrax.cli.reactions.path import add_path_options, check_path_options
from orbitrax.cli.reactions.shared import (PICTURES, add_shared, backend_of, check_files, check_xyz,
                                           guarded, molecule_of, shared_of, tell_warnings)

DESCRIPTION = ("Optimises two structures of the same atoms, finds the saddle point between them, "
               "shows that it is one, follows the path down to both sides, and tells the barrier. "
               "Status 0 only where the path joins the two.")
EXAMPLES = (
    "orbitrax barrier examples/hcn.xyz examples/hnc.xyz -m am1 -o profile.png",
    "orbitrax barrier examples/hcn.xyz examples/hnc.xyz -m pm3 --temperature 500 --json",
)
_ATMOSPHERE = 101325.0  # Pa
_PLACES = ("reactant", "saddle point", "product")


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("reactant", metavar="REACTANT", help="a molecule file")
    parser.add_argument("product", metavar="PRODUCT", help="the same atoms on the other side")
    parser.add_argument("--guess", metavar="FILE", help="a guess of the saddle point")
    parser.add_argument("--reorder", action="store_true",
                        help="find the order of the product's atoms by its bonds")
    parser.add_argument("--temperature", type=float, default=298.15, metavar="T",
                        help="of free energies and rate, K (default 298.15)")
    parser.add_argument("--no-free-energies", action="store_true",
                        help="leave out the vibrations of both ends")
    add_path_options(parser)
    parser.add_argument("-o", "--output", metavar="FILE",
                        help="the profile as a picture, NAME.png, .svg or .pdf, or the structures "
                             "of the path, NAME.xyz")
    add_shared(parser)


def run(arguments: Any, terminal: Any) -> int:
    """Finds the barrier; returns the exit status."""
    return guarded(_run, arguments, terminal)


def _run(arguments: Any, terminal: Any) -> int:
    import json

    from orbitrax.cli.reactions.live import Live
    from orbitrax.cli.reactions.written import write_path
    from orbitrax.errors import UsageError
    from orbitrax.reactions.barrier import find_barrier
    from orbitrax.reactions.pairs import reordered
    from orbitrax.reactions.surface import EnergySurface

    check_path_options(arguments)
    check_xyz(arguments.output, PICTURES)
    check_files([arguments.output, arguments.csv, arguments.trajectory],
                [arguments.reactant, arguments.product, arguments.guess])
    if not 0 < arguments.temperature <= 10000:
        raise UsageError("--temperature is one above 0 K, 10000 at the most")
    reactant, product = molecule_of(arguments.reactant), molecule_of(arguments.product)
    if arguments.reorder:
        product = reordered(product, reactant)
    guess = molecule_of(arguments.guess) if arguments.guess else None
    with backend_of(arguments) as backend:
        surface = EnergySurface(backend, reactant, arguments.method, shared_of(arguments))
        with Live(terminal, arguments.trajectory, surface):
            found = find_barrier(surface, reactant, product, guess=guess, step=arguments.step,
                                 free_energies=not arguments.no_free_energies,
                                 tell=terminal.progress)
    if found.path is not None:
        drawn = (arguments.output or "").lower().endswith(PICTURES)
        write_path(found.path, reactant, None if drawn else arguments.output, arguments.csv,
                   arguments.output if drawn else None)
    if arguments.json:
        print(json.dumps(_document(found, arguments), allow_nan=False))
    elif not arguments.quiet:
        print("\n".join(_lines(found, arguments)))
    tell_warnings(terminal, found.warnings)
    for text in found.remarks:
        terminal.warning(text)
    for text in found.unfinished:
        terminal.error(text)
    if found.connects:
        return 1 if found.unfinished else 0
    for text in found.attempts:
        terminal.warning(text)
    terminal.error("no saddle point was found whose path joins the two sides"
                   + ("" if found.path is None else "; the one shown belongs to another reaction")
                   + (f"; half way between them an unrestricted calculation lies {found.broken:.0f}"
                      " kcal/mol below the closed shell: a bond is broken there, try --uhf"
                      if found.broken else "; try --guess FILE"))
    return 1


def _differences(found: Any) -> tuple[float | None, float]:
    first = found.reactant.total_energy
    barrier = None if found.saddle is None else found.saddle.total_energy - first
    return barrier, found.product.total_energy - first


def _free(found: Any, temperature: float) -> tuple[list[float | None], str]:
    """Free energies of reactant, saddle point and product, and why one is missing."""
    from orbitrax.reactions.barrier import free_energy

    values: list[float | None] = []
    reasons = []
    for name, one in zip(_PLACES, (found.reactant, found.saddle, found.product)):
        value, reason = (None, "") if one is None else free_energy(
            one, temperature, _ATMOSPHERE, imaginary=int(one is found.saddle))
        values.append(value)
        if reason:
            reasons.append(f"{name}: {reason}")
    return values, "; ".join(reasons)


def _document(found: Any, arguments: Any) -> dict[str, Any]:
    from orbitrax.cli.reactions.written import path_document
    from orbitrax.reactions.barrier import eyring

    barrier, reaction = _differences(found)
    free, reason = _free(found, arguments.temperature)
    height = None if free[0] is None or free[1] is None else free[1] - free[0]
    return {
        "schema": "orbitrax-barrier-1", "method": arguments.method,
        "status": "done" if found.connects and not found.unfinished else "unconverged",
        "errors": found.unfinished, "way": found.way,
        "connects": found.connects, "ends": list(found.ends), "attempts": found.attempts,
        "remarks": found.remarks, "warnings": found.warnings,
        "unrestricted_lowering": found.broken,
        "barrier": barrier, "reaction_energy": reaction, "temperature_k": arguments.temperature,
        "free_energies": dict(zip(("reactant", "saddle_point", "product"), free)),
        "free_energies_reason": reason or None,
        "free_energy_barrier": height,
        "rate_per_s": None if height is None else eyring(height, arguments.temperature),
        "heats_of_formation": [None if one is None else one.heat_of_formation
                               for one in (found.reactant, found.saddle, found.product)],
        "path": None if found.path is None else path_document(found.path)}


def _kcal(energy: float) -> str:
    """An energy as it is shown; what is rounded to nothing has no sign."""
    return f"{round(energy, 4) + 0.0:18.4f} kcal/mol"


def _lines(found: Any, arguments: Any) -> list[str]:
    from orbitrax.reactions.barrier import eyring
    from orbitrax.results.text import line
    from orbitrax.tasks.ts import said

    barrier, reaction = _differences(found)
    lines = [found.reactant.heading, ""]
    heats = [one and one.heat_of_formation for one in (found.reactant, found.saddle, found.product)]
    for name, heat in zip(("Reactant", "Saddle point", "Product"), heats):
        if heat is not None:
            lines.append(line(name, f"{_kcal(heat)}, heat of formation"))
    if barrier is None:
        return [*lines, line("Reaction energy", _kcal(reaction)),
                line("Barrier", "         NOT FOUND")]
    lines += [line("Barrier", _kcal(barrier)),
              line("Barrier back", _kcal(barrier - reaction)),
              line("Reaction energy", _kcal(reaction)),
              line("Stationary point", f"  {said(found.saddle.modes)}"),
              line("Found by", f"  {found.way}"),
              line("The path joins", f"  {found.ends[0]} and {found.ends[1]}")]
    free, reason = _free(found, arguments.temperature)
    height = None if free[0] is None or free[1] is None else free[1] - free[0]
    reaction_free = None if free[0] is None or free[2] is None else free[2] - free[0]
    if height is not None:
        lines.append(line("Free energy barrier", f"{_kcal(height)} at {arguments.temperature:g} K"))
    if reaction_free is not None:
        lines.append(line("Free reaction energy", _kcal(reaction_free)))
    if height is not None:
        lines.append(line("Rate (Eyring)", f"{eyring(height, arguments.temperature):18.4e} 1/s"))
    if not arguments.no_free_energies and reason:
        lines.append(line("No free energy", f"  {reason}"))
    return lines
