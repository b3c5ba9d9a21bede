#!/usr/bin/python3
"""How many energies a minimum of a real molecule costs: the second table of docs/optimisers.md.

    benchmarks/real_molecules.py [--write] [name ...]

Sixty-one molecules from RDKit's force-field geometry to an RMS gradient of 0.1 kcal/(mol Angstrom):
`optimize`, ASE's BFGS with the same energies, MOPAC's own search, and xtb's on its own surface
(GFN2), where these are installed. --write puts the table into the page.
"""

from __future__ import annotations

import argparse
import re
import shutil
import subprocess
import sys
import tempfile
import warnings
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "optimisers.md"
sys.path.insert(0, str(ROOT / "python"))

MOLECULES = {
    "water": "O", "ammonia": "N", "ethane": "CC", "ethanol": "CCO", "butane": "CCCC",
    "octane": "CCCCCCCC", "acetone": "CC(C)=O", "acetic acid": "CC(=O)O", "acetamide": "CC(N)=O",
    "N-methylacetamide": "CC(=O)NC", "glycerol": "OCC(O)CO", "glucose": "OCC1OC(O)C(O)C(O)C1O",
    "cyclohexane": "C1CCCCC1", "norbornane": "C1CC2CCC1C2", "cubane": "C12C3C4C1C5C2C3C45",
    "benzene": "c1ccccc1", "toluene": "Cc1ccccc1", "phenol": "Oc1ccccc1", "aniline": "Nc1ccccc1",
    "nitrobenzene": "O=[N+]([O-])c1ccccc1", "biphenyl": "c1ccccc1-c1ccccc1",
    "naphthalene": "c1ccc2ccccc2c1", "anthracene": "c1ccc2cc3ccccc3cc2c1",
    "indole": "c1ccc2[nH]ccc2c1", "pyridine": "c1ccncc1", "furan": "c1ccoc1",
    "thiophene": "c1ccsc1", "imidazole": "c1c[nH]cn1", "caffeine": "Cn1cnc2c1c(=O)n(C)c(=O)n2C",
    "nicotine": "CN1CCC[C@H]1c1cccnc1", "aspirin": "CC(=O)Oc1ccccc1C(=O)O",
    "paracetamol": "CC(=O)Nc1ccc(O)cc1", "ibuprofen": "CC(C)Cc1ccc(cc1)C(C)C(=O)O",
    "dopamine": "NCCc1ccc(O)c(O)c1", "adenine": "Nc1ncnc2[nH]cnc12",
    "thymine": "Cc1c[nH]c(=O)[nH]c1=O", "urea": "NC(N)=O", "cysteine": "N[C@@H](CS)C(=O)O",
    "phenylalanine": "N[C@@H](Cc1ccccc1)C(=O)O", "tryptophan": "N[C@@H](Cc1c[nH]c2ccccc12)C(=O)O",
    "alanine dipeptide": "CC(=O)N[C@@H](C)C(=O)NC",
    "Ac-Ala3-NHMe": "CC(=O)N[C@@H](C)C(=O)N[C@@H](C)C(=O)N[C@@H](C)C(=O)NC",
    "Ac-Ala12-OH": "CC(=O)" + 12 * "N[C@@H](C)C(=O)" + "O",
    "menthol": "CC1CCC(C(C)C)C(O)C1", "camphor": "CC1(C)C2CCC1(C)C(=O)C2",
    "testosterone": "CC12CCC3C(CCC4=CC(=O)CCC34C)C1CCC2O",
    "morphine": "CN1CCC23C4Oc5c(O)ccc(CC1C2C=CC4O)c35",
    "penicillin G": "CC1(C)SC2C(NC(=O)Cc3ccccc3)C(=O)N2C1C(=O)O",
    "haloperidol": "O=C(CCCN1CCC(O)(CC1)c1ccc(Cl)cc1)c1ccc(F)cc1", "2-butyne": "CC#CC",
    "hexa-2,4-diyne": "CC#CC#CC", "allene": "C=C=C", "acetonitrile": "CC#N",
    "dimethyl sulfoxide": "CS(C)=O", "trimethyl phosphate": "COP(=O)(OC)OC",
    "chloroform": "ClC(Cl)Cl", "tetramethylsilane": "C[Si](C)(C)C", "anilinium": "[NH3+]c1ccccc1",
    "benzoate": "[O-]C(=O)c1ccccc1", "biotin": "O=C1NC2C(CCCCC(=O)O)SCC2N1",
    "stilbene": "c1ccccc1/C=C/c1ccccc1",
}
HEAD = ["Molecule", "Atoms", "Orbitrax", "kcal/mol", "ASE BFGS", "kcal/mol", "MOPAC", "kcal/mol",
        "xtb"]
MARK = "<!-- real molecules -->"


def ours(backend, molecule) -> tuple[str, float]:
    """Energies computed, and the heat of formation at the end."""
    from orbitrax import Job, NotConverged, Optimize

    try:
        result = backend.run(Job(molecule, "am1", Optimize()))
    except NotConverged as error:
        return "SCF", float("nan") if error.partial is None else error.partial.heat_of_formation
    return f"{result.energy_points}{'' if result.converged else ' (not done)'}", \
        result.heat_of_formation


def by_ase(molecule) -> tuple[str, float]:
    """The same of ASE's BFGS, to the same RMS gradient."""
    from ase import Atoms
    from ase.optimize import BFGS

    from orbitrax.ase import Orbitrax
    from orbitrax.units import ASE_EV_PER_KCAL

    with Orbitrax(method="am1", charge=molecule.charge) as calc:
        atoms = Atoms(molecule.numbers, molecule.positions)
        atoms.calc = calc
        search = BFGS(atoms, logfile=None)
        for count, _ in enumerate(search.irun(fmax=0.0, steps=600), 1):
            rms = float(np.sqrt(np.mean(atoms.get_forces() ** 2))) / ASE_EV_PER_KCAL
            if rms <= 0.1:
                return str(count), calc.result.heat_of_formation
        return "600 (not done)", calc.result.heat_of_formation


def by_mopac(molecule, folder: Path) -> tuple[str, str]:
    """Cycles and heat of formation of MOPAC's own search, as it comes."""
    from orbitrax.molecules.writing import mopac_text

    text = mopac_text(molecule, {"method": "am1"}).replace(" XYZ 1SCF", "")
    (folder / "m.mop").write_text(text)
    subprocess.run(["mopac", "m.mop"], cwd=folder, capture_output=True, timeout=600)
    out = (folder / "m.out").read_text(errors="replace")
    heat = re.findall(r"FINAL HEAT OF FORMATION =\s+(\S+)", out)
    return (str(len(re.findall(r"^ CYCLE:", out, re.M))),
            f"{float(heat[-1]):.3f}" if heat else "")


def by_xtb(molecule, folder: Path) -> str:
    """Cycles of xtb's search, GFN2."""
    from orbitrax.molecules.writing import xyz_text

    (folder / "m.xyz").write_text(xyz_text(molecule))
    done = subprocess.run(["xtb", "m.xyz", "--opt", "--chrg", str(molecule.charge or 0)],
                          cwd=folder, capture_output=True, text=True, errors="replace",
                          timeout=600, env={"OMP_NUM_THREADS": "1", "PATH": "/usr/bin"})
    found = re.search(r"CONVERGED AFTER\s+(\d+)", done.stdout)
    return found.group(1) if found else ""


def row(backend, name: str) -> list[str]:
    """One line of the table."""
    from orbitrax import from_smiles

    molecule = from_smiles(MOLECULES[name])
    count, heat = ours(backend, molecule)
    cells = [name, str(len(molecule)), count, f"{heat:.3f}"]
    theirs, end = by_ase(molecule)
    cells += [theirs, f"{end:.3f}"]
    with tempfile.TemporaryDirectory() as folder:
        cells += by_mopac(molecule, Path(folder)) if shutil.which("mopac") else ["", ""]
        cells.append(by_xtb(molecule, Path(folder)) if shutil.which("xtb") else "")
    return cells


def main() -> None:
    """Prints the table, and puts it into the page."""
    from orbitrax import Backend

    warnings.simplefilter("ignore")
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("names", nargs="*", default=list(MOLECULES))
    parser.add_argument("--write", action="store_true")
    arguments = parser.parse_args()
    lines = ["| " + " | ".join(HEAD) + " |", "|---" * len(HEAD) + "|"]
    with Backend() as backend:
        for name in arguments.names:
            lines.append("| " + " | ".join(row(backend, name)) + " |")
            print(lines[-1], flush=True)
    if arguments.write:
        head, _, _ = PAGE.read_text("utf-8").partition(MARK)
        PAGE.write_text(head + MARK + "\n" + "\n".join(lines) + "\n", "utf-8")


if __name__ == "__main__":
    main()
