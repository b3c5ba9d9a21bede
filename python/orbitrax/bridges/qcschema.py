"""QCSchema: an input document in, a result document out, both as plain dictionaries (version 1).

The energy is the total energy of the method, to which the gradient belongs, in hartree; the heat of
formation (kcal/mol) stands in extras["orbitrax"]. Keywords are the settings of `orbitrax.Job`.
"""

from __future__ import annotations

import signal

from orbitrax.backend import Backend
from orbitrax.errors import (BackendDied, InputError, LinkError, MoleculeError, NotConverged,
                             OrbitraxError, OutOfMemory, ParameterError, TimeLimitExceeded,
                             UsageError)
from orbitrax.job import Job, JobSettings
from orbitrax.molecules.inputs import from_qcschema
from orbitrax.tasks.task import judge_scf, of_the_mean, remark, warn_of_the_mean
from orbitrax.tasks.vibrations import Vibrations
from orbitrax.units import CODATA_ANGSTROM_PER_BOHR, REPORT_HARTREE_PER_KCAL

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.results.result import Result

DRIVERS = ("energy", "gradient", "hessian", "properties")

_NAMES = ("qcschema_input", "qc_schema_input", "qcschema_atomic_input")

_DEBYE_PER_AU = 2.541746473


def compute(document: dict[str, Any], backend: Backend | None = None) -> dict[str, Any]:
    """The result of an input document. It never raises for what is in the document: `success` and
    `error` tell."""
    from orbitrax import __version__

    told = dict(document)
    told["provenance"] = {"creator": "Orbitrax", "version": __version__, "routine": "qcschema"}
    own = backend or Backend()
    try:
        told.update(_computed(document, own), success=True, error=None,
                    schema_name="qcschema_output", schema_version=1)
    except OrbitraxError as error:
        told.update(success=False, error={"error_type": error_type(error),
                                          "error_message": str(error)})
    finally:
        if backend is None:
            own.close()
    return told


def error_type(error: OrbitraxError) -> str:
    """The name that QCEngine has for an error."""
    if isinstance(error, (UsageError, InputError, MoleculeError)):
        return "input_error"
    if isinstance(error, NotConverged):
        return "convergence_error"
    if isinstance(error, (OutOfMemory, TimeLimitExceeded)):
        return "resource_error"
    if isinstance(error, BackendDied) and error.returncode == -signal.SIGKILL:
        return "resource_error"
    return "random_error" if isinstance(error, (LinkError, ParameterError)) else "unknown_error"


def _asked(document: dict[str, Any]) -> tuple[str, Job]:
    """Driver and job. Raises UsageError for what is no QCSchema input."""
    name = document.get("schema_name")
    if name not in (None, *_NAMES):
        raise UsageError(f"a document of the schema '{name}' is no input of one calculation, which "
                         f"is {_NAMES[0]}")
    try:
        return _driver(document), _job(document)
    except OrbitraxError:
        raise
    except KeyError as error:
        raise UsageError(f"not a QCSchema input: {error} is missing") from None
    except (AttributeError, TypeError, ValueError) as error:
        raise UsageError(f"not a QCSchema input: {error}") from None


def _driver(document: dict[str, Any]) -> str:
    driver = document.get("driver", "energy")
    driver = getattr(driver, "value", driver)
    if driver not in DRIVERS:
        raise UsageError(f"there is no driver '{driver}'; there are {', '.join(DRIVERS)}")
    return str(driver)


def _job(document: dict[str, Any]) -> Job:
    model, molecule = _part(document, "model"), _part(document, "molecule")
    if model.get("basis"):
        raise UsageError("semi-empirical methods take no basis; leave it out of the model")
    keywords = _part(document, "keywords") if document.get("keywords") else {}
    return Job(from_qcschema(molecule, "the QCSchema molecule"), model["method"],
               JobSettings(**keywords))


def _part(document: dict[str, Any], name: str) -> dict[str, Any]:
    part = document[name]
    if not isinstance(part, dict):
        raise UsageError(f"not a QCSchema input: '{name}' should be an object with keys")
    return part


def _computed(document: dict[str, Any], backend: Backend) -> dict[str, Any]:
    driver, job = _asked(document)
    result = _one(backend, job)
    if driver in ("gradient", "hessian"):
        warn_of_the_mean(job, result)
    values: dict[str, Any] = {
        "energy": _hartree(result.total_energy), "gradient": _gradient(result),
        "properties": _hartree(result.total_energy)}
    answer = _hessian(backend, job, result) if driver == "hessian" else values[driver]
    properties = _properties(result)
    if driver == "hessian":
        properties["return_hessian"] = answer
    return {"return_result": answer, "properties": properties,
            "stdout": "\n".join(result.log) or None,
            "extras": {**(document.get("extras") or {}), "orbitrax": {
                key: value for key, value in result.to_dict().items() if key != "log"}}}


def _one(backend: Backend, job: Job) -> Result:
    result = backend.run(job)
    result.warnings += result.state_remarks
    if not job.settings.allow_unconverged:
        judge_scf(job, result)
    remark(job, result)
    return result


def _hartree(kcal: float | None) -> float | None:
    return None if kcal is None else kcal * REPORT_HARTREE_PER_KCAL


def _gradient(result: Result) -> list[float] | None:
    """3 n, hartree per bohr."""
    values = result.plain("gradient")
    factor = REPORT_HARTREE_PER_KCAL * CODATA_ANGSTROM_PER_BOHR
    return None if values is None else [value * factor for value in values]


def _hessian(backend: Backend, job: Job, told: Result) -> list[float]:
    """(3 n)^2, hartree per square bohr: the force matrix of a job of vibrations. told: gets its
    warnings of gradients."""
    settings = Vibrations(**job.settings.__dict__)
    result = _one(backend, Job(job.molecule, job.method, settings))
    told.warnings += [text for text in [of_the_mean(job, result)]
                      if text is not None and text not in told.warnings]
    if result.modes is None:
        raise UsageError(f"{job.method.title} with these settings gives no force matrix")
    factor = REPORT_HARTREE_PER_KCAL * CODATA_ANGSTROM_PER_BOHR**2
    whole: list[float] = (factor * result.modes.hessian).ravel().tolist()
    return whole


def _properties(result: Result) -> dict[str, Any]:
    """The properties that QCSchema names."""
    dipole = result.plain("dipole")
    occupancies = result.plain("occupancies") or []
    unpaired = result.multiplicity - 1
    electrons = round(sum(occupancies))
    found = {
        "calcinfo_natom": len(result.symbols),
        "calcinfo_nbasis": len(occupancies) // (2 if result.spin == "UHF" else 1),
        "calcinfo_nmo": len(occupancies) // (2 if result.spin == "UHF" else 1),
        "calcinfo_nalpha": (electrons + unpaired) // 2,
        "calcinfo_nbeta": (electrons - unpaired) // 2,
        "nuclear_repulsion_energy": _hartree(result.core_energy),
        "return_energy": _hartree(result.total_energy),
        "return_gradient": _gradient(result),
        "scf_total_energy": _hartree(result.total_energy),
        "scf_dipole_moment": None if dipole is None else [x / _DEBYE_PER_AU for x in dipole[:3]],
        "scf_iterations": result.scf_iterations}
    return {key: value for key, value in found.items() if value is not None}
