"""The command line: `orbitrax TASK MOLECULE [options]`."""

from __future__ import annotations

import argparse
import os
import sys

from orbitrax import __version__
from orbitrax.errors import OrbitraxError, UsageError
from orbitrax.files import is_molden

# Tasks of this program that this version does not have yet.
UNAVAILABLE = ("vibrations", "ts", "transit", "md", "langevin", "montecarlo", "uv",
               "batch", "serve")

_INTERRUPTED = 130  # 128 + SIGINT
_PIPE_CLOSED = 141  # 128 + SIGPIPE

_EXAMPLES = """\
examples:
  orbitrax energy examples/water.xyz -m am1
  orbitrax energy cation.xyz -m pm3 -c 1 -s 2 --uhf
  orbitrax energy examples/caffeine.xyz -m am1 --json > caffeine.json
  orbitrax energy protein.pdb -m am1 --select 1-24,31
  cat water.xyz | orbitrax energy - -m mndo --log
  orbitrax energy --smiles CCO -m pm3
"""


_OPTIMIZE_EXAMPLES = """\
examples:
  orbitrax optimize examples/caffeine.xyz -m pm3 -o relaxed.xyz
  orbitrax optimize examples/water.xyz -m am1 --limit 0.01 --trajectory path.xyz
  orbitrax optimize examples/ethanol.xyz -m mndo --restrain "stretch 1 2 1.6 k=500"
"""


_PLOT_EXAMPLES = """\
examples:
  orbitrax plot examples/formaldehyde.xyz -m am1 --orbital homo -o homo.png
  orbitrax plot examples/caffeine.xyz -m am1 --potential -o potential.png
  orbitrax plot examples/benzene.xyz -m pm3 --orbital 15 --plane molecule=1 -o pi.svg
  orbitrax plot examples/water.xyz -m mndo --density -o density.cube
"""


def main(argv: list[str] | None = None) -> int:
    """Runs the command line and returns its exit status."""
    argv = sys.argv[1:] if argv is None else list(argv)
    _prepare_streams()
    try:
        try:
            status = _run(argv)
            sys.stdout.flush()
            return status
        except KeyboardInterrupt:
            return _INTERRUPTED
    except BrokenPipeError:
        _discard_output()
        return _PIPE_CLOSED
    except OSError as error:  # a full disk; all other files are watched where they are used
        _discard_output()
        print(f"orbitrax: error: standard output: {error.strerror}", file=sys.stderr)
        return 1


def _prepare_streams() -> None:
    """Output that is closed goes nowhere, and text that its encoding lacks is escaped."""
    for name in ("stdout", "stderr"):
        if getattr(sys, name) is None:
            setattr(sys, name, open(os.devnull, "w", encoding="utf-8"))
        stream = getattr(sys, name)
        if hasattr(stream, "reconfigure"):
            stream.reconfigure(errors="backslashreplace")


def _discard_output() -> None:
    """Nobody takes our output any more: what is left in the buffer goes nowhere."""
    os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())


def _run(argv: list[str]) -> int:
    if argv and argv[0] in UNAVAILABLE:
        print(f"orbitrax: the task '{argv[0]}' is not available in this version", file=sys.stderr)
        return _usage_failure(argv, f"the task '{argv[0]}' is not available in this version")
    parser = build_parser()
    try:
        arguments = parser.parse_args(argv)
    except UsageError as error:
        print(f"orbitrax: error: {error.typed}", file=sys.stderr)
        return _usage_failure(argv, error.typed)
    except SystemExit:  # after --help and --version
        return 0
    if arguments.task is None:
        parser.print_help(sys.stderr)
        return 2
    if arguments.task == "methods":
        return _methods(arguments)
    from orbitrax import energy

    terminal = Terminal(arguments)
    return energy.run(arguments, terminal, _task(arguments, terminal))


def _task(arguments, terminal):
    """The task of the arguments; None for `energy`."""
    if arguments.task == "optimize":
        from orbitrax.optimize import Optimize

        return Optimize(arguments, terminal)
    if arguments.task == "plot" and not is_molden(arguments.output):
        from orbitrax.plot import PlotTask

        return PlotTask(arguments, terminal)
    return None


def _usage_failure(argv: list[str], text: str) -> int:
    """Status 2. A program that asked for JSON gets its document all the same."""
    if "--json" in argv:
        document_failure(None, text)
    return 2


def document_failure(task: str | None, text: str) -> None:
    """The JSON document of a run that never began."""
    import json

    from orbitrax.results.document import empty_document

    document = empty_document(task)
    document.update(status="failed", errors=[text])
    print(json.dumps(document))


# ---- arguments ----------------------------------------------------------------------------------


class _Parser(argparse.ArgumentParser):
    """A parser that leaves it to its caller to say what is wrong, and to exit."""

    def error(self, message: str):
        self.print_usage(sys.stderr)
        raise UsageError(message)


def build_parser() -> argparse.ArgumentParser:
    """The parser of all tasks."""
    formatter = argparse.RawDescriptionHelpFormatter
    parser = _Parser(
        prog="orbitrax", description="Semi-empirical quantum chemistry.", epilog=_EXAMPLES,
        formatter_class=formatter, allow_abbrev=False)
    parser.add_argument("--version", action="version", version=f"orbitrax {__version__}")
    tasks = parser.add_subparsers(dest="task", metavar="TASK", title="tasks")

    energy = tasks.add_parser(
        "energy", help="energy, orbitals, charges and dipole of one structure",
        description="Energy, orbitals, charges and dipole of one structure.", epilog=_EXAMPLES,
        formatter_class=formatter, allow_abbrev=False)
    _add_molecule(energy)
    _add_scf(energy)
    _add_restraints(energy)
    _add_output(energy, "write there what would be printed, or NAME.molden: the orbitals, for "
                        "programs that show them")

    optimize = tasks.add_parser(
        "optimize", help="the nearest structure of lowest energy",
        description="Moves the atoms downhill to the nearest structure of lowest energy.",
        epilog=_OPTIMIZE_EXAMPLES, formatter_class=formatter, allow_abbrev=False)
    _add_molecule(optimize)
    _add_search(optimize)
    _add_restraints(optimize)
    _add_scf(optimize)
    _add_output(optimize, "write the final structure there, in the format of its name (xyz, mol, "
                          "pdb, cif, ...; molden: with its orbitals)")

    plot = tasks.add_parser(
        "plot", help="an orbital, a density or the potential, as a picture or a cube file",
        description="Draws an orbital, a density or the electrostatic potential of one structure, "
                    "or writes it as a cube file.",
        epilog=_PLOT_EXAMPLES, formatter_class=formatter, allow_abbrev=False)
    _add_molecule(plot)
    _add_plot(plot)
    _add_scf(plot)
    _add_restraints(plot)
    _add_output(plot, "what to write: NAME.cube, or a picture, NAME.png, .svg or .pdf; - prints "
                      "the cube; NAME.molden: all orbitals, for other programs to plot")

    methods = tasks.add_parser("methods",
                               help="the methods, the elements they cover, their sources",
                               description="The methods, the elements they cover, their sources.",
                               allow_abbrev=False)
    methods.add_argument("--tables", metavar="FOLDER", help="folder of the parameter tables")
    return parser


def _add_molecule(parser) -> None:
    group = parser.add_argument_group("molecule")
    group.add_argument("molecule", nargs="?", metavar="MOLECULE",
                       help="a molecule file (xyz, mol, sdf, pdb, ...), or - for standard input")
    group.add_argument("--smiles", metavar="TEXT", help="a SMILES string in place of a file")
    group.add_argument("--format", metavar="NAME", help="format of the file, as ASE names it")
    group.add_argument("-m", "--method", required=True, metavar="METHOD",
                       help="cndo, indo, mindo3, mndo, am1, pm3, zindo1, zindos or mndod")
    group.add_argument("-c", "--charge", type=int, metavar="N", help="total charge")
    group.add_argument("-s", "--multiplicity", type=int, metavar="N",
                       help="spin multiplicity, 2S+1 (default: the lowest)")
    group.add_argument("--uhf", action="store_true",
                       help="unrestricted: each spin has its orbitals")
    group.add_argument("--select", metavar="LIST",
                       help="atoms to calculate, counted from 1, as in 1-24,31; the others become "
                            "point charges")


def _add_scf(parser) -> None:
    group = parser.add_argument_group("electronic structure")
    group.add_argument("--scf-limit", type=float, default=1e-6, metavar="E",
                       help="energy change at convergence, kcal/mol (default 1e-6)")
    group.add_argument("--scf-iterations", type=int, default=200, metavar="N",
                       help="most iterations (default 200)")
    group.add_argument("--diis", action=argparse.BooleanOptionalAction, default=True,
                       help="accelerate convergence by extrapolation (default: on)")
    group.add_argument("--level-shift-start", type=int, default=1, metavar="N",
                       help="iteration after which the level shift begins (default 1)")
    group.add_argument("--sigma", type=float, metavar="F",
                       help="weight of sigma-sigma overlap in ZINDO "
                            "(default 1.267 in zindos, else 1)")
    group.add_argument("--pi", type=float, metavar="F",
                       help="weight of pi-pi overlap in ZINDO (default 0.585 in zindos, else 1)")
    group.add_argument("--allow-unconverged", action="store_true",
                       help="exit with status 0 even if the iterations did not converge")


def _add_search(parser) -> None:
    group = parser.add_argument_group("search")
    group.add_argument("--optimizer", choices=("polak-ribiere", "fletcher-reeves",
                                               "steepest-descent"),
                       default="polak-ribiere", help="how to go downhill (default polak-ribiere)")
    group.add_argument("--limit", type=float, default=0.1, metavar="G",
                       help="RMS gradient at convergence, kcal/(mol Angstrom) (default 0.1)")
    group.add_argument("--cycles", type=int, default=1000, metavar="N",
                       help="most cycles (default 1000)")
    group.add_argument("--report-period", type=int, default=1, metavar="N",
                       help="report every N-th cycle (default 1)")
    group.add_argument("--trajectory", metavar="FILE",
                       help="write every report point there as extended xyz, with energy and "
                            "forces in eV and eV/Angstrom")


def _add_plot(parser) -> None:
    group = parser.add_argument_group("plot")
    what = group.add_mutually_exclusive_group()
    what.add_argument("--orbital", metavar="NAME",
                      help="homo (default), lumo, homo-1, lumo+2, ..., or its number from 1")
    what.add_argument("--density", action="store_true", help="the density of the electrons")
    what.add_argument("--spin-density", action="store_true",
                      help="the density of alpha less that of beta electrons")
    what.add_argument("--potential", action="store_true",
                      help="the electrostatic potential; a picture shows it on a surface of the "
                           "density")
    group.add_argument("--beta", action="store_true", help="the orbital of beta spin")
    group.add_argument("--squared", action="store_true", help="the orbital squared")
    group.add_argument("--points", type=int, metavar="N",
                       help="points along the longest axis (default 80, more in a large molecule)")
    group.add_argument("--margin", type=float, default=3.0, metavar="A",
                       help="Angstrom from the outermost atoms to the edge (default 3)")
    group.add_argument("--plane", metavar="PLANE",
                       help="contours in a plane: three atoms like 1,2,3, or xy, xz, yz or "
                            "molecule; =0.5 behind it moves it by so many Angstrom")
    group.add_argument("--isovalue", type=float, metavar="V",
                       help="value on the surface (default 0.05 of an orbital, less of one that is "
                            "spread thin; 0.002 of a density, 0.004 of a spin density)")
    group.add_argument("--view", metavar="A,E",
                       help="degrees by which the molecule is turned, and seen from above "
                            "(default 22,40 or 22,52, by what is drawn)")
    group.add_argument("--width", type=int, metavar="N", help="pixels across (default 1200)")


def _add_restraints(parser) -> None:
    group = parser.add_argument_group("restraints")
    group.add_argument("--restrain", action="append", default=[], metavar="TEXT",
                       help="hold a part of the geometry: 'tether 1 [X Y Z]', 'stretch 1 2 "
                            "[LENGTH]', 'bend 1 2 3 [DEGREES]' or 'torsion 1 2 3 4 [DEGREES]', "
                            "each with k=NUMBER or 100 kcal/mol per square Angstrom or radian; "
                            "without a target what is there is held; may be given again")


def _add_output(parser, output: str) -> None:
    group = parser.add_argument_group("output and backend")
    form = group.add_mutually_exclusive_group()
    form.add_argument("--log", action="store_true",
                      help="print the backend's report, as it comes, in place of the summary")
    form.add_argument("--json", action="store_true",
                      help="print one JSON document and nothing else")
    group.add_argument("--log-level", type=int, default=0, metavar="N",
                       help="1 to 9 choose what the report shows beside the results (default 0)")
    group.add_argument("-o", "--output", metavar="FILE", help=output)
    group.add_argument("--molden-raw", action="store_true",
                       help="in NAME.molden the orbitals as the method has them, instead of made "
                            "orthonormal in space by S^-1/2")
    group.add_argument("-q", "--quiet", action="store_true",
                       help="no progress, no warnings, no summary")
    group.add_argument("--color", choices=("auto", "always", "never"), default="auto",
                       help="colour in messages (default auto)")
    group.add_argument("--time-limit", type=float, metavar="S", help="give up after S seconds")
    group.add_argument("--backend", metavar="PATH", help="the backend program to start")
    group.add_argument("--tables", metavar="FOLDER", help="folder of the parameter tables")


def parse_selection(text: str) -> list[int]:
    """Atom numbers of a list like "1-4,7"."""
    numbers: list[int] = []
    for part in text.split(","):
        first, dash, last = part.strip().partition("-")
        try:
            low = int(first)
            high = int(last) if dash else low
        except ValueError:
            raise UsageError(f"--select {text}: '{part.strip()}' is neither an atom number nor a "
                             "range like 1-4") from None
        if high < low:
            raise UsageError(f"--select {text}: the range '{part.strip()}' runs backwards")
        if high - low >= 1 << 24:
            raise UsageError(f"--select {text}: no molecule has so many atoms")
        numbers.extend(range(low, high + 1))
    return numbers


# ---- the terminal -------------------------------------------------------------------------------


class Terminal:
    """Messages, warnings and progress on standard error."""

    def __init__(self, arguments):
        self._quiet = arguments.quiet
        self._terminal = sys.stderr.isatty()
        choice = arguments.color
        self._color = choice == "always" or (
            choice == "auto" and self._terminal and not os.environ.get("NO_COLOR"))
        to_file = arguments.output and not is_molden(arguments.output)
        shares = arguments.log and not to_file and sys.stdout.isatty()
        self._live = self._terminal and not self._quiet and not shares
        self._status = None

    def error(self, text: str) -> None:
        """Always shown."""
        self._say("error", "31", text)

    def warning(self, text: str) -> None:
        """Shown unless quiet."""
        if not self._quiet:
            self._say("warning", "33", text)

    def _say(self, label: str, code: str, text: str) -> None:
        if self._color:
            label = f"\x1b[{code};1m{label}\x1b[0m"
        print(f"orbitrax: {label}: {text}", file=sys.stderr, flush=True)

    def progress(self, text: str) -> None:
        """The line that says what goes on, on a terminal only."""
        if not self._live:
            return
        if self._status is None:
            from rich.console import Console

            console = Console(stderr=True, no_color=not self._color, highlight=False)
            self._status = console.status("", spinner="line")
            self._status.start()
        from rich.text import Text

        self._status.update(Text(text))

    def row(self, text: str) -> None:
        """A line that stays, above the progress line, on a terminal only."""
        if self._live:
            self.end_progress()
            print(text, file=sys.stderr, flush=True)

    def end_progress(self) -> None:
        """Takes the progress line away."""
        if self._status is not None:
            self._status.stop()
            self._status = None


# ---- methods ------------------------------------------------------------------------------------


def _methods(arguments) -> int:
    from orbitrax.molecules.elements import SYMBOLS
    from orbitrax.methods import METHODS
    from orbitrax.tables import load_parameters

    try:
        for method in METHODS:
            tables = load_parameters(method, arguments.tables)
            print(f"{method.key:<8}{method.title}, family {method.family}")
            print(f"        {method.source}")
            for label, numbers in (("elements", tables.elements), ("capping", tables.capping)):
                longest = 5 if label == "capping" else len(SYMBOLS)
                symbols = _named(sorted(numbers), SYMBOLS, longest)
                for i, line in enumerate(_wrapped(symbols, 80)):
                    print(f"        {label if i == 0 else '':<10}{line}")
    except OrbitraxError as error:
        print(f"orbitrax: error: {error.typed}", file=sys.stderr)
        return error.exit_status
    return 0


def _named(numbers: list[int], symbols, longest: int) -> str:
    """Elements by symbol, unbroken runs of more than `longest` as first-last."""
    words, start = [], 0
    for i in range(1, len(numbers) + 1):
        if i < len(numbers) and numbers[i] == numbers[i - 1] + 1:
            continue
        run = [symbols[number] for number in numbers[start:i]]
        words += [f"{run[0]}-{run[-1]}"] if len(run) > longest else run
        start = i
    return " ".join(words)


def _wrapped(text: str, width: int) -> list[str]:
    import textwrap

    return textwrap.wrap(text, width)


