"""The ladder of the orbital levels as a picture."""

from __future__ import annotations

from orbitrax.cli.outputs import Output
from orbitrax.files import check_target, replaced

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.results.result import Result


class LevelsOutput(Output):
    """Draws the levels around the frontier."""

    path: str

    def check(self, task: Any) -> None:
        """Refuses a file that cannot be written."""
        from orbitrax.pictures import figures

        figures.check(self.path)
        check_target(self.path)

    def finish(self, run: Any, result: Result | None) -> None:
        """Draws what has converged."""
        if run is None or result is None or not result.converged:
            return
        from orbitrax.pictures import figures, levels

        figure = levels.draw(result, result.heading)
        with replaced(self.path) as name:
            figures.save_figure(figure, self.path, name, result.heading)
