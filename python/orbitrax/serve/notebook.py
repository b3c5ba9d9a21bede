"""Structures, charges and orbitals to be turned about in a notebook: `orbitrax.show`."""

from __future__ import annotations

import base64
import html
import io
import json

from orbitrax.backend import Backend
from orbitrax.errors import CalculationFailed, UsageError
from orbitrax.job import Job, JobSettings
from orbitrax.molecules.elements import NUMBERS
from orbitrax.molecules.molecule import Molecule
from orbitrax.molecules.reading import as_molecule
from orbitrax.paths import package_path
from orbitrax.results.result import Result

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.grids.grid import Grid

_POINTS = 60  # along the longest axis of a surface
_PICTURE = 640  # pixels across, where scripts are off
_SCRIPT = """
const view = $3Dmol.createViewer("v", {backgroundColor: "white"});
const model = view.addModel(given.xyz, "xyz");
const tint = given.values && (atom => {
  const part = given.values[atom.index] / Math.max(0.05, ...given.values.map(Math.abs));
  const end = part > 0 ? [59, 130, 208] : [224, 138, 30];
  const [r, g, b] = end.map(one => Math.round(245 + (one - 245) * Math.abs(part)));
  return (r << 16) | (g << 8) | b;
});
const colours = tint ? {colorfunc: tint} : {};
model.setStyle({}, {stick: {radius: 0.11, ...colours}, sphere: {scale: 0.25, ...colours}});
(given.values || []).forEach((value, i) => view.addLabel(value.toFixed(3), {
  position: model.selectedAtoms({index: i})[0], fontSize: 12, fontColor: "black",
  backgroundColor: "white", backgroundOpacity: 0.6, inFront: true, alignment: "center"}));
const cubes = given.cubes.map(one => new $3Dmol.VolumeData(one, "cube"));
if (cubes.length > 1) {
  view.addIsosurface(cubes[1], {isoval: given.level, opacity: 0.88, voldata: cubes[0],
    volscheme: new $3Dmol.Gradient.RWB(-0.06, 0.06)});
} else if (cubes.length) {
  view.addIsosurface(cubes[0], {isoval: given.level, color: "#3b82d0", opacity: 0.78});
  if (given.signed) {
    view.addIsosurface(cubes[0], {isoval: -given.level, color: "#e08a1e", opacity: 0.78});
  }
}
view.zoomTo();
view.render();
"""


class View:
    """Something to be looked at: notebooks show it by themselves. html: a whole page, which needs
    nothing from elsewhere; title: what it shows; height: in pixels."""

    def __init__(self, page: str, title: str, height: int):
        self.html, self.title, self.height = page, title, height

    def _repr_html_(self) -> str:
        return (f'<iframe title="{html.escape(self.title)}" sandbox="allow-scripts" style="border:'
                f'0;width:100%;height:{self.height}px" srcdoc="{html.escape(self.html)}"></iframe>')

    def __repr__(self) -> str:
        return f"<View of {self.title}>"

    def save(self, path: str) -> None:
        """Writes it as a page that any browser opens."""
        with open(path, "w", encoding="utf-8") as file:
            file.write(self.html)


def show(what: Any, surface: str | None = None, *, height: int = 440,
         backend: Backend | None = None) -> View:
    """A molecule or a result in three dimensions, for a notebook; where scripts are off, a picture.

        orbitrax.show("caffeine.xyz")
        orbitrax.show(result, "charges")
        orbitrax.show(result, "homo")

    what: a result, or what `as_molecule` takes. surface, of a result: "charges", which colours the
    atoms, or "density", "spin-density", "potential", or an orbital: "homo", "lumo+1", its number.
    For a surface the electrons are computed once more where the atoms are, with the usual settings
    and by `backend`, if one is given. height: pixels.

    Raises UsageError for what cannot be shown, and what `Backend.run` raises.
    """
    molecule = _molecule_of(what) if isinstance(what, Result) else as_molecule(what)
    if surface is not None and not isinstance(what, Result):
        raise UsageError(f"'{surface}' belongs to a result: show(orbitrax.energy(molecule), "
                         f"'{surface}')")
    values, grid = None, None
    if surface == "charges":
        values = what.plain("charges")
        if values is None:
            raise UsageError("this result has no charges")
    elif surface is not None:
        grid = _grid(what, molecule, surface, backend)
    title = molecule.formula if surface is None else f"{molecule.formula}, {surface}"
    return View(_page(molecule, values, grid, title), title, height)


def _molecule_of(result: Result) -> Molecule:
    places = result.plain("coordinates") if result.coordinates is not None else None
    if places is None:
        raise UsageError("this result has no structure")
    return Molecule([NUMBERS[one] for one in result.symbols], places, result.charge,
                    result.multiplicity)


def _grid(result: Result, molecule: Molecule, surface: str, backend: Backend | None) -> Grid:
    from orbitrax.grids.frame import box_around
    from orbitrax.grids.plot import Plot

    plot, frame = Plot(surface), box_around(molecule.positions, 3.0, _POINTS)
    job = Job(molecule, result.method, JobSettings(uhf=result.spin == "UHF" or None,
                                                   rhf=result.spin == "RHF"))
    if backend is not None:
        backend.run(job)
        return backend.plot(plot, frame)
    with Backend() as own:
        own.run(job)
        return own.plot(plot, frame)


def _page(molecule: Molecule, values: list[float] | None, grid: Grid | None, title: str) -> str:
    from orbitrax.molecules.writing import xyz_text

    given: dict[str, Any] = {"xyz": xyz_text(molecule.replace(masses=None)),
                             "values": values, "cubes": []}
    if grid is not None:
        from orbitrax.pictures.picture import usual_isovalue

        given.update(cubes=_cubes(grid), level=usual_isovalue(grid), signed=grid.plot.signed)
    data = json.dumps(given).replace("<", "\\u003c")
    try:
        with open(package_path("serve", "static", "3dmol.js"), encoding="utf-8") as file:
            script = file.read().replace("</script", "<\\/script")
    except FileNotFoundError:
        raise UsageError("the script that draws is not here; run ./setup --page") from None
    return (f"<!doctype html><html lang='en'><meta charset='utf-8'><title>{html.escape(title)}"
            "</title><body style='margin:0'><noscript><img style='max-width:100%;max-height:100vh'"
            f" alt='{html.escape(title)}' src='data:image/png;base64,{_picture(molecule, grid)}'>"
            "</noscript><div id='v' style='position:relative;width:100%;height:100vh'></div>"
            f"<script>{script}</script><script>const given = {data};{_SCRIPT}</script></body>"
            "</html>")


def _cubes(grid: Grid) -> list[str]:
    from dataclasses import replace

    from orbitrax.grids.plot import Plot
    from orbitrax.pictures.cube import write_cube

    grids = [grid]
    if grid.density is not None:
        grids.append(replace(grid, values=grid.density, density=None, plot=Plot("density")))
    found = []
    for one in grids:
        file = io.StringIO()
        write_cube(file, one)
        found.append(file.getvalue())
    return found


def _picture(molecule: Molecule, grid: Grid | None) -> str:
    """A still picture, PNG in base 64."""
    from matplotlib.image import imsave

    from orbitrax.pictures import scene
    from orbitrax.pictures.picture import surface

    file = io.BytesIO()
    try:
        if grid is None:
            raise CalculationFailed("no surface")
        surface(grid, width=_PICTURE).savefig(file, format="png")
    except CalculationFailed:  # nothing to be seen but the molecule
        meshes = scene.molecule(molecule.numbers, molecule.positions)
        imsave(file, scene.image(meshes, molecule.positions, (22.0, 40.0), _PICTURE), format="png")
    return base64.b64encode(file.getvalue()).decode()
