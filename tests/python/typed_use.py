"""How people use the package, for a type checker to accept. It is checked, not run."""

from __future__ import annotations

from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np

import orbitrax
from orbitrax import (Backend, Event, Frame, Grid, Job, Method, Molecule, NotConverged, Optimize,
                      OrbitraxError, Plot, Restraint, Result, box_around, find_method,
                      read_molecule, slater_basis, write_molden)


def newcomer() -> float | None:
    result: Result = orbitrax.run("water.xyz", "am1", "optimize", limit=0.01)
    gradient: np.ndarray[Any, Any] | None = result.gradient
    places: np.ndarray[Any, Any] = result.coordinates
    assert gradient is not None and places.shape == gradient.shape
    return result.heat_of_formation


def programmer(path: Path) -> Iterator[Result]:
    molecule: Molecule = read_molecule(path)
    method: Method = find_method("pm3")
    searched = Job(molecule, method, Optimize(limit=0.01, restrain=(Restraint("stretch", (1, 2)),)))
    charged: Job = Job(molecule, "am1", charge=1, uhf=True).replace(scf_limit=1e-8)
    with Backend(time_limit=10.0) as backend:
        for job in (searched, charged):
            try:
                yield backend.run(job, lambda event: print(event))
            except NotConverged as error:
                partial: Result | None = error.partial
                assert partial is not None
                yield partial
            except OrbitraxError as error:
                print(error.status, error.exit_status)
        grid: Grid = backend.plot(Plot("homo", squared=True), box_around(molecule.positions))
        frame: Frame = grid.frame
        print(frame.points, [event for event in backend.stream(charged)])


def settings() -> tuple[float, str, bool]:
    search = Optimize(limit=0.01, optimizer="fletcher-reeves")
    return search.limit, search.replace(cycles=10).optimizer, search.diis


def orbitals(job: Job, result: Result, event: Event) -> list[str]:
    write_molden("a.molden", job, result)
    document: dict[str, Any] = result.to_dict()
    print(document["schema"], event, Restraint("stretch", (1, 2), 1.5).text)
    return slater_basis(job).labels
