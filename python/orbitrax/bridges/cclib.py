"""Results as cclib has them, for its writers (CJSON, CML, ...) and its analyses."""

from __future__ import annotations

import numpy as np

from orbitrax import __version__
from orbitrax.orbitals.basis import slater_basis
from orbitrax.molecules.elements import valence_electrons
from orbitrax.errors import OrbitraxError
from orbitrax.job import Job
from orbitrax.methods import find_method
from orbitrax.orbitals.molden import orbitals_in_space, symmetry_labels
from orbitrax.tables import ParameterSet
from orbitrax.results.result import Result
from orbitrax.results.states import ALPHA, BETA
from orbitrax.units import REPORT_EV_PER_KCAL

TYPE_CHECKING = False
if TYPE_CHECKING:
    from typing import Any

    from orbitrax.results.states import States



def to_cclib(job: Job, result: Result, parameters: ParameterSet | None = None) -> Any:
    """A `cclib.parser.data.ccData` of a result, in cclib's units (eV, Angstrom, Debye).

    Where the job has eigenvectors there are orbitals, orthonormal over the Gaussian functions
    of `gbasis`, whose overlap is `aooverlaps`; see `orbitrax.write_molden`. parameters: the job's
    tables, None for the usual ones. Raises OrbitraxError where there is no cclib.
    """
    try:
        from cclib.parser.data import ccData
    except ImportError:
        raise OrbitraxError("this needs cclib; on Debian install python3-cclib") from None
    numbers = job.molecule.numbers
    values = {
        "metadata": {"package": "Orbitrax", "package_version": __version__,
                     "methods": [find_method(result.method).title], "comments": [result.heading],
                     "success": result.converged is not False},
        "natom": len(numbers), "atomnos": numbers, "charge": result.charge,
        "mult": result.multiplicity, "atomcoords": np.asarray(result.coordinates)[None],
        "coreelectrons": np.array([z - valence_electrons(z) for z in numbers.tolist()]),
    }
    if result.total_energy is not None:
        values["scfenergies"] = np.array([result.total_energy * REPORT_EV_PER_KCAL])
    if result.charges is not None:
        values["atomcharges"] = {"coulson": np.asarray(result.charges)}
    if result.dipole is not None:
        values["moments"] = [np.zeros(3), np.asarray(result.dipole[:3])]
    if result.orbital_energies is not None:
        values.update(_levels(result))
    if result.eigenvectors:
        values.update(_orbitals(job, result, parameters))
    if result.states is not None and result.states.kind == "singles":
        values.update(_states(result.states))
    return ccData(values)


def _states(states: States) -> dict[str, Any]:
    """The states above the first one: 1/cm, strengths, kinds, excitations by number from 0 with
    their spins, 0 for alpha and 1 for beta."""
    above = [state for state in states if state.number > 0]
    return {"etenergies": np.array([state.wavenumber for state in above]),
            "etoscs": np.array([state.oscillator_strength for state in above]),
            "etsyms": ["-".join(filter(None, (state.spin_name.capitalize(), state.symmetry)))
                       for state in above],
            "etsecs": [[[(one.hole - 1, one.kind), (one.particle - 1, one.kind), one.coefficient]
                        for one in state.contributions if one.kind in (ALPHA, BETA)]
                       for state in above]}


def _levels(result: Result) -> dict[str, Any]:
    spins = 2 if result.spin == "UHF" else 1
    energies = np.split(np.asarray(result.orbital_energies), spins)
    filled = np.split(np.asarray(result.occupancies), spins)
    n = len(energies[0])
    counts = [int((half > 0.01).sum()) for half in filled]
    if spins == 1 and result.multiplicity > 1:
        counts.append(int((filled[0] > 1.5).sum()))
    return {"moenergies": energies, "nmo": n, "homos": np.array(counts) - 1,
            "mosyms": [symmetry_labels(result, i * n, n) for i in range(spins)]}


def _orbitals(job: Job, result: Result, parameters: ParameterSet | None) -> dict[str, Any]:
    basis = slater_basis(job, parameters)
    functions: list[list[Any]] = [[] for _ in basis.symbols]
    for shell in basis.shells:
        pairs = [(float(a), float(c)) for a, c in zip(*shell.gaussians())]
        functions[shell.atom].append(("SPD"[shell.l], pairs))
    atoms = basis.atoms
    return {"nbasis": len(basis), "gbasis": functions,
            "aonames": [label.replace(" ", "_") for label in basis.labels],
            "atombasis": [np.flatnonzero(atoms == i).tolist() for i in range(len(basis.symbols))],
            "aooverlaps": basis.overlap(result.coordinates),
            "mocoeffs": list(orbitals_in_space(result, basis).values())}
