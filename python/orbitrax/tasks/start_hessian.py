"""The Hessian with which a search begins, where it is not computed there: from a file, or a guess
by the shape of the molecule."""

from __future__ import annotations

from orbitrax.errors import UsageError

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.job import Job
    from orbitrax.molecules.molecule import Molecule

COMPUTE, MODEL = "compute", "model"
FILE = ".npy"
_MOST_ATOMS = 300
_LARGEST = 1e6  # kcal/(mol Angstrom^2), in a component
_FLOOR = 5.0  # kcal/(mol Angstrom^2): of motions that no coordinate of the model describes


def check_choice(choice: str) -> None:
    """Raises UsageError for a word that is none of the choices, and no file."""
    if choice not in (COMPUTE, MODEL) and not choice.endswith(FILE):
        raise UsageError(f"--hessian {choice}: should be {COMPUTE}, {MODEL} or a file NAME{FILE}, "
                         "as 'orbitrax vibrations -o' writes it")


def given_hessian(choice: str, molecule: Molecule) -> Any:
    """The Hessian, 3 n x 3 n, kcal/(mol Angstrom^2); None where the backend computes it. Raises
    UsageError for a file that has none of this molecule."""
    if choice == COMPUTE:
        return None
    return model_hessian(molecule) if choice == MODEL else _read(choice, 3 * len(molecule))


def given_bytes(choice: str, molecule: Molecule) -> bytes | None:
    """The same as the link has it."""
    found = given_hessian(choice, molecule)
    return None if found is None else bytes(found.tobytes())


def of_selected(choice: str, job: Job) -> bytes | None:
    """The Hessian of the atoms that a job computes, as the link has it. Of a model, None where the
    backend has to find its own: for dummy and capping atoms, and for so many that its matrix is
    long on the way."""
    import numpy as np

    from orbitrax.tasks.client_search import ENDS

    selected = list(job.selected)
    if choice != MODEL:
        return bytes(_read(choice, 3 * len(selected)).tobytes())
    molecule = job.molecule
    if len(selected) > _MOST_ATOMS or job.capping or any(z <= 0 for z in molecule.z):
        return None
    rows = (3 * np.array(selected)[:, None] + np.arange(3)).ravel()
    return bytes(model_hessian(molecule, ENDS)[np.ix_(rows, rows)].tobytes())


def model_hessian(molecule: Molecule, ends: int = 1) -> Any:
    """A guess by bonds, angles and torsions, without a direction downhill. ends: how many atoms of
    two parts have distances to the other part; in a reaction, the two that bind or part."""
    import numpy as np

    from orbitrax.minimise.internals import Internals
    from orbitrax.minimise.model import force_constants
    from orbitrax.tasks.client_search import bonds_and_links

    bonds, links = bonds_and_links(molecule, ends)
    internals = Internals(molecule.positions, bonds, links)
    stiffness = force_constants(internals, np.asarray(molecule.numbers), molecule.positions)
    slopes = internals.slopes(molecule.positions)
    return slopes.T @ (stiffness[:, None] * slopes) + _FLOOR * np.eye(3 * len(molecule))


def _read(path: str, size: int) -> Any:
    import numpy as np

    try:
        found = np.load(path, allow_pickle=False)
    except (OSError, ValueError, EOFError) as error:
        raise UsageError(f"--hessian {path}: {error}") from None
    if found.shape != (size, size) or found.dtype.kind != "f":
        raise UsageError(f"--hessian {path}: has {_shape(found)}; for this molecule it should be "
                         f"{size} x {size} numbers, kcal/(mol Angstrom^2)")
    if not np.all(np.abs(found) <= _LARGEST):  # numbers that are none fail, too
        raise UsageError(f"--hessian {path}: has elements that are no force constants")
    if np.max(np.abs(found - found.T)) > 1e-3 * np.max(np.abs(found)):
        raise UsageError(f"--hessian {path}: is not symmetric, and so no Hessian")
    return found.astype("<f8")


def _shape(found: Any) -> str:
    return " x ".join(map(str, found.shape)) + f" {found.dtype}"
