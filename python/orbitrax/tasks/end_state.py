"""Whether a search, or a force matrix, was in the state that the electrons of its structure have.

The SCFs of one job follow the state of its first. Where that is another than the lowest at the end
of the way, the structure belongs to an excited state; a single point that starts anew tells.
"""

from __future__ import annotations

from orbitrax.errors import NotConverged
from orbitrax.session.scf_section import tests_state
from orbitrax.tasks.client_search import single_point
from orbitrax.tasks.task import judge_state

TYPE_CHECKING = False
if TYPE_CHECKING:
    from orbitrax.backend import Backend
    from orbitrax.job import Job
    from orbitrax.results.result import Result

_SAME_STATE = 1e-3  # kcal/mol: what limits of convergence and places in single precision leave


def judge_end(backend: Backend, job: Job, result: Result) -> None:
    """Gives the result of a search the word about the state of its last structure, from a single
    point there unless it has one, with its warnings. Raises NotConverged where that single point
    lies lower, or where its state is no minimum."""
    state = result.blocks.get("scf")
    if state is not None and state["state"] == "not tested" and tests_state(job):
        one = single_point(job)
        places = job.molecule.replace(positions=result.plain("coordinates"))
        take_state(job, result, backend.run(one.replace(places), task=result.task))
        return
    result.warnings += result.state_remarks
    if not job.settings.allow_unconverged:
        judge_state(result)


def take_state(job: Job, result: Result, single: Result) -> None:
    """Gives a result the word about the state from a single point at the same structure. Raises
    as `judge_end` does."""
    if single.converged and "scf" in single.blocks:
        result.blocks["scf"] = single.blocks["scf"]
        result.state_remarks = single.state_remarks
    result.warnings += result.state_remarks
    if job.settings.allow_unconverged:
        return
    judge_state(result)
    if None in (single.total_energy, result.total_energy) or not single.converged:
        return
    above = result.total_energy - single.total_energy  # type: ignore[operator]
    if above > _SAME_STATE:
        result.converged = False
        raise NotConverged(
            f"the electrons followed an excited state, {above:.3f} kcal/mol above the one that a "
            "single point at this structure finds; start again from this structure, or try --uhf")
