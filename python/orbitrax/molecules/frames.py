"""Which of several structures of a file is meant."""

from __future__ import annotations

from orbitrax.errors import MoleculeError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Sequence
    from typing import TypeVar

    Item = TypeVar("Item")


def pick(frames: Sequence[Item], frame: int | None, title: str) -> tuple[Item, list[str]]:
    """One of the frames, from 0 or, if negative, from the end, and what is to be said of the
    choice; None for the last one, with a remark where there are several. Raises MoleculeError for
    a number that is none."""
    if not frames:
        raise MoleculeError(f"{title} has no atoms")
    number = len(frames) - 1 if frame is None else frame
    if not -len(frames) <= number < len(frames):
        raise MoleculeError(f"{title}: there is no frame {number}; it has {len(frames)}, counted "
                            "from 0")
    remarks = ([f"frame {number + 1} of {len(frames)} is taken; choose another as in "
                f"{title}@0"] if frame is None and len(frames) > 1 else [])
    return frames[number], remarks
