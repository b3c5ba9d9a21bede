"""How a run ended, as one JSON document: the same whoever asked for it."""

from __future__ import annotations

from orbitrax.results.document import empty_document

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.errors import OrbitraxError
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Run


def outcome(task: str, run: Run | None, result: Result | None, failure: OrbitraxError | None,
            raw: bool = False) -> dict[str, Any]:
    """The document of a result, or of the lack of one, with the blocks of the task and what went
    wrong. run: None where it did not even start. raw: arrays are as `Result.raw_dict` has them."""
    document = (empty_document(task) if result is None else
                result.raw_dict() if raw else result.to_dict())
    document.update(run.block(result) if run is not None else {})
    if failure is not None:
        document["status"] = failure.status
        if failure.typed not in "\n".join(document["errors"]):
            document["errors"] = [*document["errors"], failure.typed]
    return document
