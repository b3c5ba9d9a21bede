"""The task of a synchronous transit: the saddle point between two structures, from a guess."""

from __future__ import annotations

from orbitrax.errors import UsageError
from orbitrax.job import SYNCHRONOUS_TRANSIT
from orbitrax.settings import declared, option
from orbitrax.tasks.ts import CAREFUL, EITHER_SIGN, SaddleTask

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any, ClassVar

    from orbitrax.job import Job


def _numbers(given: Any) -> tuple[float, ...]:
    from orbitrax.arrays import flat

    return tuple(flat(given))


@declared
class Transit(SaddleTask):
    """Climbs from a guess between two structures, by the line or the circle through them."""

    name: ClassVar[str] = "transit"
    description: ClassVar[str] = (
        "Climbs from a guess to the saddle point between two structures, and shows that it is one.")
    calc_kind: ClassVar[int] = SYNCHRONOUS_TRANSIT
    search_wishes: ClassVar[int] = CAREFUL | EITHER_SIGN

    reactant: tuple[float, ...] = option(
        (), convert=_numbers, typed=False, help="one end, n x 3, Angstrom")
    product: tuple[float, ...] = option(
        (), convert=_numbers, typed=False, help="the other end, n x 3, Angstrom")
    quadratic: bool = option(
        False, group="search",
        help="choose the mode to climb by the circle through both ends and the present structure, "
             "not by the line")

    def _check(self) -> None:
        super()._check()
        if not self.reactant or not self.product:
            raise UsageError("a transit needs its two ends, reactant and product")

    def ends(self) -> tuple[tuple[float, ...], tuple[float, ...]]:
        """Reactant and product."""
        return self.reactant, self.product

    def fields(self, job: Job) -> dict[str, Any]:
        """The form of the tangent."""
        return {**super().fields(job), "nFollowMode": int(self.quadratic)}

    def told(self) -> dict[str, Any]:
        """The form, and the first Hessian."""
        return {"form": "quadratic" if self.quadratic else "linear", **super().told()}
