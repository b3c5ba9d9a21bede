"""What the backend is asked of the SCF beside the options: which cycles, how many starts, which
test of the state.

The choices follow from runs of the molecules of ASE's collection g2 in nine methods, and of the
molecules of docs/hard-molecules.md: open shells and molecules of a few orbitals are those that end
in excited states.
"""

from __future__ import annotations

import struct

from orbitrax.job import NO_CI

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.job import Job

KIND = 1  # of the section
STABILITIES = ("none", "test", "follow")  # by number
_ALL, _START = 0, 2  # what is told of progress, by number
DENSITIES = ("new", "leave", "follow")  # what becomes of them between sessions, by number

_FEW, _SOME, _MANY = 24, 60, 200  # orbitals
_STARTS = 6
_STARTS_OF_MEANS = 20  # atoms with half-filled levels: 6 left Ge+ in PM3 17.6 kcal/mol too high


def guarded(job: Job) -> bool:
    """Whether the backend is to find its way itself: unless another way is asked for, by name or by
    the options of the cycles of old."""
    settings = job.settings
    usual = settings.diis and settings.level_shift_start == 1
    return settings.scf == "auto" and usual


def asks_state_gradient(job: Job) -> bool:
    """Whether half electrons are asked for the gradient of their energy with its correction."""
    return guarded(job) and job.half_electrons


def tests_state(job: Job) -> bool:
    """Whether the first SCF of a job is asked for a test of its state."""
    return guarded(job) and _stability(job) != "none"


def scf_section(job: Job, quiet: bool = False) -> list[tuple[int, bytes]]:
    """Kind and data of the section. quiet: nobody listens to the cycles. The cycles of old have
    the repulsion between atoms far apart right too: without it a molecule beyond 100 bohr from
    another one is charged cores to it."""
    values = (0, 0, 0, 1, 0.0)
    response = images = guarded(job)
    if response:
        values = (1, STABILITIES.index(_stability(job)), _starts(job), 1, 0.0)
    kept = DENSITIES.index(job.settings.scf_start)
    return [(KIND, struct.pack("<4id6i", *values, kept, _START if quiet else _ALL, response,
                               images, asks_state_gradient(job), 0))]


def _orbitals(job: Job) -> int:
    return job.orbitals + 4 * len(job.capping)


def _open(job: Job) -> bool:
    return job.uhf or job.multiplicity > 1


def _stability(job: Job) -> str:
    """A closed shell of ordinary size is trusted; the test costs a few times the cycles. So is one
    that configurations are mixed from: they are what describes where unequal spins lie lower."""
    asked = job.settings.stability
    if asked != "auto":
        return asked
    if job.settings.ci != NO_CI and not _open(job):
        return "none"
    return "follow" if _orbitals(job) <= (_MANY if _open(job) else _SOME) else "none"


def _starts(job: Job) -> int:
    few = (_open(job) or len(job.selected) <= 2) and _orbitals(job) <= _FEW
    if few and len(job.selected) == 1 and not job.uhf:
        return _STARTS_OF_MEANS
    return _STARTS if few else 0
