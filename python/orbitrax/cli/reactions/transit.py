"""The command `transit`: the saddle point between two structures."""

from __future__ import annotations

from typing import Any

from orbitrax.cli.reactions.shared import (add_shared, backend_of, check_files, check_xyz, guarded,
                                           molecule_of, shared_of, store, structure_text)
from orbitrax.errors import UsageError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.errors import OrbitraxError
    from orbitrax.molecules.molecule import Molecule
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Run

_APART = 0.01  # Angstrom, RMS: two structures nearer than this are one

DESCRIPTION = ("Climbs from a guess, or from the middle of two structures of the same atoms, to "
               "the saddle point between them, and computes the vibrations there: status 0 only "
               "where just one is imaginary.")
EXAMPLES = (
    "orbitrax transit examples/hcn.xyz examples/hnc.xyz -m am1 -o saddle.xyz",
    "orbitrax transit examples/hcn.xyz examples/hnc.xyz --guess examples/hcn_ts_guess.xyz -m pm3 "
    "--trajectory way.xyz",
)


def add_arguments(parser: Any) -> None:
    """Declares the options."""
    parser.add_argument("reactant", metavar="REACTANT", help="a molecule file")
    parser.add_argument("product", metavar="PRODUCT", help="the same atoms on the other side")
    parser.add_argument("--guess", metavar="FILE", help="where to start (default: between the two)")
    form = parser.add_mutually_exclusive_group()
    form.add_argument("--linear", action="store_true",
                      help="climb the mode along the line through both ends (the default)")
    form.add_argument("--quadratic", action="store_true",
                      help="climb the mode along the circle through both ends and the structure")
    parser.add_argument("--reorder", action="store_true",
                        help="find the order of the product's atoms by its bonds")
    parser.add_argument("--limit", type=float, default=0.01, metavar="G",
                        help="RMS gradient at convergence, kcal/(mol Angstrom) (default 0.01)")
    parser.add_argument("--cycles", type=int, default=200, metavar="N",
                        help="most cycles (default 200)")
    parser.add_argument("--hessian", default="compute", metavar="WHAT",
                        help="where the search begins: 'compute' the second derivatives there (the "
                             "default), 'model' them by the bonds, or take those of a file "
                             "NAME.npy, which 'vibrations -o' writes")
    parser.add_argument("--trajectory", metavar="FILE",
                        help="write every structure on the way there as it comes, extended xyz")
    parser.add_argument("-o", "--output", metavar="FILE",
                        help="write the last structure there, xyz")
    add_shared(parser)


def run(arguments: Any, terminal: Any) -> int:
    """Runs the search; returns the exit status."""
    return guarded(_run, arguments, terminal)


def _run(arguments: Any, terminal: Any) -> int:
    from orbitrax.cli.reactions.live import Live
    from orbitrax.errors import NotConverged
    from orbitrax.reactions.surface import EnergySurface
    from orbitrax.tasks.transit import Transit

    check_xyz(arguments.output)
    check_files([arguments.output, arguments.trajectory],
                [arguments.reactant, arguments.product, arguments.guess])
    reactant, product, start = _places(arguments)
    task = Transit(reactant=reactant.positions.ravel().tolist(),
                   product=product.positions.ravel().tolist(), quadratic=arguments.quadratic,
                   limit=arguments.limit, cycles=arguments.cycles, hessian=arguments.hessian,
                   **shared_of(arguments))
    failure = None
    with backend_of(arguments) as backend:
        surface = EnergySurface(backend, reactant, arguments.method, shared_of(arguments))
        surface.stage = "quadratic transit" if arguments.quadratic else "linear transit"
        with Live(terminal, arguments.trajectory, surface):
            run = surface.begun(task, start)
            try:
                result = surface.heeded(
                    run.execute(backend, lambda event: _show(event, terminal)))
            except NotConverged as error:
                if error.partial is None:
                    raise
                result, failure = surface.heeded(error.partial), error
    _tell(arguments, run, result, failure)
    if arguments.output:
        text = structure_text(reactant, result.plain("coordinates"),
                              {"energy": result.total_energy})
        store(arguments.output, text)
    if failure is not None:
        terminal.error(failure.typed)
        return failure.exit_status
    return 0


def _places(arguments: Any) -> tuple[Molecule, Molecule, Any]:
    """Reactant and product, laid upon the structure with which the search begins, and that."""
    from orbitrax.reactions.guess import between
    from orbitrax.reactions.pairs import check_pair, distance, reordered, superposed

    reactant, product = molecule_of(arguments.reactant), molecule_of(arguments.product)
    if arguments.reorder:
        product = reordered(product, reactant)
    check_pair(reactant, product)
    if distance(product.positions, reactant.positions) < _APART:
        raise UsageError(f"{arguments.reactant} and {arguments.product} are the same structure: "
                         "there is nothing between them")
    if arguments.guess:
        guess = molecule_of(arguments.guess)
        check_pair(reactant, guess)
        start = guess.positions
    else:
        start = between(reactant, product)
    laid = [side.replace(positions=superposed(side.positions, start))
            for side in (reactant, product)]
    return laid[0], laid[1], start


def _tell(arguments: Any, run: Run, result: Result, failure: OrbitraxError | None) -> None:
    """Prints what was found, as asked for."""
    import json

    if arguments.json:
        document = result.to_dict()
        if failure is not None:
            document["status"] = failure.status
            document["errors"] = [*document["errors"], failure.typed]
        print(json.dumps(document, allow_nan=False))
    elif not arguments.quiet:
        print("\n".join(run.summary(result)))


def _show(event: Any, terminal: Any) -> None:
    from orbitrax.link import events

    if isinstance(event, events.StatusLine):
        terminal.progress(event.text)
