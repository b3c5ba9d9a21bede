"""Orbitrax as a program of QCEngine.

    import qcengine
    import orbitrax.qcengine

    qcengine.compute({"molecule": ..., "driver": "gradient", "model": {"method": "am1"}},
                     "orbitrax")
"""

from __future__ import annotations

from typing import Any

import qcengine
from qcelemental.models import AtomicResult, FailedOperation
from qcengine.exceptions import (ConvergenceError, InputError, RandomError, ResourceError,
                                 UnknownError)
from qcengine.programs.model import ProgramHarness

from orbitrax.bridges.qcschema import compute
from orbitrax.errors import BackendNotFound
from orbitrax.link.process import find_backend

__all__ = ["FailedOperation", "OrbitraxHarness", "register"]

_ERRORS = {"input_error": InputError, "convergence_error": ConvergenceError,
           "resource_error": ResourceError, "random_error": RandomError}


class OrbitraxHarness(ProgramHarness):  # type: ignore[misc]
    """Energy, gradient, properties and, by differences, Hessian of the nine methods."""

    _defaults = {"name": "Orbitrax", "scratch": False, "thread_safe": True,
                 "thread_parallel": False, "node_parallel": False, "managed_memory": False}
    version_cache: dict[str, str] = {}

    class Config(ProgramHarness.Config):  # type: ignore[misc]
        """As QCEngine has it."""

    @staticmethod
    def found(raise_error: bool = False) -> bool:
        """Whether there is a backend to start."""
        try:
            find_backend(None)
        except BackendNotFound:
            if raise_error:
                raise ModuleNotFoundError("Orbitrax has no backend; see its README") from None
            return False
        return True

    def get_version(self) -> str:
        """The version of this package."""
        from orbitrax import __version__

        return __version__

    def compute(self, input_model: Any, config: Any) -> Any:
        """The result; raises QCEngine's errors, which it turns into a FailedOperation."""
        self.found(raise_error=True)
        told = compute(input_model.dict())
        if not told["success"]:
            kind, text = told["error"]["error_type"], told["error"]["error_message"]
            raise _ERRORS.get(kind, UnknownError)(text)
        kept = {key: told[key] for key in ("return_result", "properties", "stdout", "extras",
                                           "provenance", "success")}
        return AtomicResult(**{**input_model.dict(), **kept, "schema_name": "qcschema_output"})


def register() -> None:
    """Makes the program known to QCEngine, once."""
    if "orbitrax" not in qcengine.list_all_programs():
        qcengine.register_program(OrbitraxHarness())


register()
