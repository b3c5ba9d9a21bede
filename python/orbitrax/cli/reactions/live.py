"""What is told while a reaction is looked for: a row for each structure on a terminal, and all of
them in a trajectory, whole at every moment."""

from __future__ import annotations

from typing import Any

from orbitrax.cli.outputs.structure import write_frame
from orbitrax.errors import UsageError
from orbitrax.files import claimed, refusals
from orbitrax.reactions.surface import Seen

_HEADER = f"{'stage':<34}{'energy (kcal/mol)':>20}{'RMS gradient':>15}"


class Live:
    """Listens to a surface. path: the trajectory, None for none."""

    def __init__(self, terminal: Any, path: str | None, surface: Any):
        self._terminal, self._surface, self._rows, self._file = terminal, surface, 0, None
        if path is not None:
            import ase.io  # noqa: F401  what is missing is told before anything is computed

            try:
                self._file = open(path, "w", encoding="utf-8", opener=claimed)
            except OSError as error:
                raise UsageError(f"{path}: {error.strerror}") from None
        surface.listeners.append(self._take)

    def __enter__(self) -> Live:
        return self

    def __exit__(self, *_: object) -> None:
        self._terminal.end_progress()
        for text in self._surface.warnings:
            self._terminal.warning(text)
        if self._file is not None:
            with refusals(self._file.name):
                self._file.close()

    def _take(self, seen: Seen) -> None:
        if not self._rows:
            self._terminal.row(_HEADER)
        self._rows += 1
        self._terminal.row(f"{seen.stage:<34}{seen.energy:20.5f}{seen.rms:15.5f}")
        if self._file is not None:
            write_frame(self._file, self._surface.job, seen.positions, seen.energy, seen.gradient,
                        {"stage": seen.stage, "step": self._rows})
