#!/usr/bin/python3
"""Where the time of a picture goes: the grid from the backend, its surfaces, the drawing.

    benchmarks/pictures.py [file] [method]

Prints seconds, the best of three, and rates; caffeine by AM1 unless told otherwise.
"""

import io
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "python"))

from orbitrax import Backend, Job, box_around, read_molecule  # noqa: E402
from orbitrax.pictures import picture, scene  # noqa: E402
from orbitrax.pictures.cube import write_cube  # noqa: E402


def best(work):
    """The shortest of three runs, in seconds, and what the work returned."""
    times = []
    for _ in range(3):
        began = time.perf_counter()
        found = work()
        times.append(time.perf_counter() - began)
    return min(times), found


def show(what: str, seconds: float, count: int, name: str) -> None:
    """A line of the table."""
    print(f"{what:<12}{seconds:8.3f} s{count / seconds / 1e6:10.2f} million {name}/s")


def main(path: str = str(HERE.parent / "examples" / "caffeine.xyz"), method: str = "am1") -> None:
    molecule = read_molecule(path)
    frame = box_around(molecule.positions)
    print(f"{path}, {method}, {' x '.join(map(str, frame.counts))} points")
    with Backend() as backend:
        backend.run(Job(molecule, method))
        for what in ("homo", "density", "potential"):
            seconds, grid = best(lambda: backend.plot(what, frame))
            show(what, seconds, frame.points, "points")
        homo = backend.plot("homo", frame)
    seconds, meshes = best(lambda: scene.surfaces(homo, picture.usual_isovalue(homo)))
    faces = sum(len(mesh.faces) for mesh in meshes)
    show("surfaces", seconds, faces, "triangles")
    meshes += scene.molecule(homo.numbers, homo.positions)
    seconds, image = best(lambda: scene.image(meshes, homo.positions, (22, 40), picture.WIDTH))
    show("drawing", seconds, image.shape[0] * image.shape[1], "pixels")
    seconds, _ = best(lambda: write_cube(io.StringIO(), homo))
    show("cube file", seconds, frame.points, "values")


if __name__ == "__main__":
    main(*sys.argv[1:])
