"""Charges of many molecules, on all cores: one backend for each worker."""

from __future__ import annotations

import multiprocessing
import os
import signal
from contextlib import contextmanager
from dataclasses import dataclass
from typing import Any, Iterable, Iterator

from rdkit import Chem

from orbitrax.atomic_charges.assign import Charges, assign
from orbitrax.atomic_charges.settings import ChargeSettings
from orbitrax.backend import Backend
from orbitrax.errors import CalculationFailed, OrbitraxError

BackendWords = tuple[Any, Any, "float | None"]

_AT_ONCE = 4  # molecules a worker is given at a time
_worker: _Worker | None = None  # of a worker process


@dataclass(frozen=True)
class Failure:
    """A molecule that has no charges, and why."""

    title: str
    error: OrbitraxError


@dataclass(frozen=True)
class _Worker:
    backend: Backend
    settings: ChargeSettings


def workers_of(wanted: int | None) -> int:
    """How many workers: so many, or one for each core that this process may use."""
    if wanted is not None and wanted > 0:
        return wanted
    return len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count() or 1


def assign_all(molecules: Iterable[tuple[str, Chem.Mol | OrbitraxError]],
               settings: ChargeSettings = ChargeSettings(), workers: int | None = None,
               backend: BackendWords = (None, None, None)) -> Iterator[Charges | Failure]:
    """The charges of molecules, titles and molecules in pairs, in their order; a Failure for each
    that has none, and for each error in the place of a molecule. workers: processes, None for all
    cores. backend: program, tables and time limit (of one energy) as `Backend` takes them."""
    count = workers_of(workers)
    if count == 1:
        with Backend(*backend) as running:
            for title, mol in molecules:
                yield _one(_Worker(running, settings), title, mol)
        return
    context = multiprocessing.get_context("spawn")
    with _deaf_to_interrupts():
        pool = context.Pool(count, _start, (backend, settings))
    with pool:
        yield from pool.imap(_work, map(_packed, molecules), chunksize=_AT_ONCE)


@contextmanager
def _deaf_to_interrupts() -> Iterator[None]:
    """Processes that are started here leave Ctrl-C, which a terminal sends to all, to this one."""
    try:
        before = signal.signal(signal.SIGINT, signal.SIG_IGN)
    except ValueError:  # outside the main thread, which alone hears of it
        yield
        return
    try:
        yield
    finally:
        signal.signal(signal.SIGINT, before)


_KEPT = int(Chem.PropertyPickleOptions.MolProps) | int(Chem.PropertyPickleOptions.AtomProps)


def _start(backend: BackendWords, settings: ChargeSettings) -> None:
    global _worker
    os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")
    os.environ.setdefault("ORBITRAX_THREADS", "1")  # the other cores have workers of their own
    _worker = _Worker(Backend(*backend), settings)


def _packed(pair: tuple[str, Chem.Mol | OrbitraxError]) -> tuple[str, bytes | OrbitraxError]:
    title, mol = pair
    return title, mol if isinstance(mol, OrbitraxError) else mol.ToBinary(_KEPT)


def _work(task: tuple[str, bytes | OrbitraxError]) -> Charges | Failure:
    assert _worker is not None
    title, data = task
    return _one(_worker, title, data if isinstance(data, OrbitraxError) else Chem.Mol(data))


def _one(worker: _Worker, title: str, mol: Chem.Mol | OrbitraxError) -> Charges | Failure:
    if isinstance(mol, OrbitraxError):
        return Failure(title, mol)
    try:
        return assign(mol, worker.backend, worker.settings, title)
    except OrbitraxError as error:
        error.partial = None
        return Failure(title, error)
    except (RuntimeError, ValueError) as error:  # what RDKit raises of a molecule it cannot treat
        return Failure(title, CalculationFailed(f"{title}: RDKit: {error}"))
