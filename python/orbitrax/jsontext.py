"""JSON that comes from elsewhere."""

from __future__ import annotations

import json

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any


def from_json(text: str | bytes) -> Any:
    """What a JSON text says. Raises ValueError for a text that is none, and for one that is nested
    deeper than can be read."""
    try:
        return json.loads(text)
    except RecursionError:
        raise ValueError("it is nested too deeply") from None
