"""What a process of the page can do: a function a kind of request."""

from __future__ import annotations

import io

from orbitrax.errors import Cancelled, OrbitraxError
from orbitrax.job import Job, JobSettings
from orbitrax.serve.forms import make_task, refusals
from orbitrax.serve.live import Watcher
from orbitrax.serve.molecules import from_json, read_dropped, to_json
from orbitrax.tasks.outcome import outcome

TYPE_CHECKING = False
if TYPE_CHECKING:
    from collections.abc import Callable
    from typing import Any

    from orbitrax.backend import Backend
    from orbitrax.link.events import Event
    from orbitrax.results.result import Result
    from orbitrax.tasks.task import Run

    Answer = dict[str, Any]
    Tell = Callable[[dict[str, Any]], None]

_POINTS = 72  # along the longest axis of a surface
_NOT_ASKED_AGAIN = ("ci", "window", "max_excitation", "state")  # surfaces are of the ground state


def read(request: dict[str, Any], backend: Backend, tell: Tell) -> Answer:
    """Reads a molecule, and says which methods cannot calculate it."""
    found = read_dropped(request["source"])
    return {"molecule": to_json(found), "refused": refusals(found)}


def run(request: dict[str, Any], backend: Backend, tell: Tell) -> Answer:
    """Runs a task; the answer has its document, the frames and the summary."""
    task = make_task(request["task"], request["settings"])
    task = task.replace(log_level=task.log_level or 0)
    one: Run | None = None
    result = failure = None
    watcher = Watcher(tell, lambda text: text if one is None else one.progress(text))
    pid: list[int | None] = [None]

    def listen(event: Event) -> None:
        if backend.pid != pid[0]:
            pid[0] = backend.pid
            tell({"type": "pid", "pid": pid[0]})
        watcher.listen(event)

    try:
        one = task.start(from_json(request["molecule"]), request["method"])
        result = one.execute(backend, listen)
    except OrbitraxError as error:
        result, failure = error.partial, error
    watcher.flush()
    document = outcome(request["task"], one, result, failure)
    summary = []
    if one is not None and result is not None and not isinstance(failure, Cancelled):
        summary = _summary(one, result)
    field = getattr(failure, "name", None)
    return {"document": document, "frames": watcher.frames, "summary": summary, "field": field}


def _summary(one: Any, result: Result) -> list[str]:
    try:
        lines: list[str] = one.summary(result)
    except (TypeError, ValueError, AttributeError):  # of half a result there may be none
        lines = []
    return lines


def _again(request: dict[str, Any], backend: Backend, **more: Any) -> tuple[Job, Result]:
    """The electrons of a result once more, where its atoms are now."""
    document, given = request["document"], request["settings"]
    molecule = from_json(request["molecule"])
    places = [x for row in document["coordinates_angstrom"] for x in row]
    shared = {name: value for name, value in given.items()
              if name in JobSettings.options and name not in _NOT_ASKED_AGAIN}
    task = make_task("energy", shared)
    if request["task"] == "uv":
        more["rhf"] = True
    values: dict[str, Any] = {**task.__dict__, "allow_unconverged": True, **more}
    settings = JobSettings(**values)
    job = Job(molecule.replace(positions=places), document["method"], settings)
    return job, backend.run(job)


def surface(request: dict[str, Any], backend: Backend, tell: Tell) -> Answer:
    """An orbital, a density or the potential on a grid, as cube files: the values, and beside a
    potential the density on whose surface it is painted."""
    from orbitrax.grids.frame import box_around
    from orbitrax.grids.plot import Plot
    from orbitrax.pictures.picture import usual_isovalue

    job, result = _again(request, backend)
    plot = Plot(request["what"], bool(request.get("beta")))
    assert result.coordinates is not None
    grid = backend.plot(plot, box_around(result.coordinates, 3.0, _POINTS))
    cubes = [_cube(grid)]
    if grid.density is not None:
        from dataclasses import replace

        cubes.append(_cube(replace(grid, values=grid.density, density=None,
                                   plot=Plot("density"), title="electron density")))
    orbital = grid.orbital
    return {"title": grid.title, "cubes": cubes, "isovalue": usual_isovalue(grid),
            "signed": plot.signed, "orbital": orbital[0] if orbital else None,
            "smallest": float(grid.values.min()), "largest": float(grid.values.max())}


def _cube(grid: Any) -> str:
    from orbitrax.pictures.cube import write_cube

    file = io.StringIO()
    write_cube(file, grid)
    return file.getvalue()


def molden(request: dict[str, Any], backend: Backend, tell: Tell) -> Answer:
    """All orbitals as a Molden file."""
    import os
    import tempfile

    from orbitrax.orbitals.molden import write_molden

    job, result = _again(request, backend, eigenvectors=True)
    with tempfile.TemporaryDirectory(prefix="orbitrax-page-") as folder:
        path = os.path.join(folder, "orbitals.molden")
        write_molden(path, job, result, backend.parameters(job.method))
        with open(path, encoding="utf-8") as file:
            return {"text": file.read()}


def charges(request: dict[str, Any], backend: Backend, tell: Tell) -> Answer:
    """Charges for force fields, of the structure of a result. Its bonds are those that the geometry
    shows."""
    from orbitrax.atomic_charges.assign import assign
    from orbitrax.atomic_charges.settings import MODELS, ChargeSettings
    from orbitrax.molecules.by_rdkit import chem
    from orbitrax.molecules.perceive import with_bonds

    settings = ChargeSettings(model=request["model"])
    document, title = request["document"], request["molecule"]["title"]
    bare = chem().RWMol()
    places = chem().Conformer(len(document["symbols"]))
    for i, (symbol, place) in enumerate(zip(document["symbols"],
                                            document["coordinates_angstrom"])):
        bare.AddAtom(chem().Atom(symbol))
        places.SetAtomPosition(i, place)
    bare.AddConformer(places)
    mol = with_bonds(bare.GetMol(), title, document["charge"])
    found = assign(mol, backend, settings, title)
    return {"title": settings.model, "charges": found.charges.tolist(),
            "remarks": [MODELS[settings.model], *found.notes]}


WORK = {"charges": charges, "molecule": read, "run": run, "surface": surface, "molden": molden}
