#!/usr/bin/python3
"""Makes tests/reference/druglike.smi: 2000 drug-like molecules, half of them from the first 5000
compounds of the NCI's open collection, as RDKit brings them, half combined from fragments.

    benchmarks/druglike_molecules.py > tests/reference/druglike.smi

Acids and amines are charged in half of the molecules that have them, so that there are ions from -2
to +2 and zwitterions. The choice is the same every time.
"""

import os
import random
import sys

from rdkit import Chem, RDConfig, RDLogger
from rdkit.Chem import AllChem

RDLogger.DisableLog("rdApp.*")
SEED, EACH = 20261, 1000
ELEMENTS = {1, 6, 7, 8, 9, 15, 16, 17, 35, 53}
CORES = ("c1cc({})ccc1{}", "c1cc({})cnc1{}", "c1nc({})ccc1{}", "C1CN({})CCN1{}", "C1CCN({})CC1{}",
         "c1c({})sc({})c1", "c1c({})oc({})n1", "c1nn({})cc1{}", "C1CC({})CCC1{}",
         "c1ccc2c(c1)c({})cn2{}",
         "O=C1N({})CCC1{}", "c1nc2c({})ncnc2n1{}", "O=c1ccn({})c(=O)n1{}", "c1c({})noc1{}",
         "c1nc({})nc({})n1", "C1OC({})CN1{}", "c1cc2c(cc1{})OC({})O2", "O=C1C=CC(=O)C({})=C1{}",
         "c1nnn({})c1{}")
LINKERS = ("", "C", "CC", "C(=O)N", "NC(=O)", "S(=O)(=O)N", "OC", "C(=O)O", "C=C", "C#C", "NC(=O)N",
           "CS", "C(C)", "N(C)C")
ENDS = ("C#N", "c1ccccc1", "c1ccc(C#N)cc1", "c1ccncc1", "C(F)(F)F", "Cl", "Br", "I", "F",
        "[N+](=O)[O-]", "S(=O)(=O)N", "S(=O)(=O)C", "S(C)=O", "OP(=O)(O)O", "P(=O)(OC)OC", "C(=O)O",
        "N", "NC", "N(C)C", "C(N)=N", "NC(N)=N", "CN1CCOCC1", "C1CC1", "c1ccc(F)c(Cl)c1",
        "c1nn[nH]n1", "C(C)(C)C", "OC", "CO", "c1ccco1", "c1cccs1", "C(=O)NO", "S(=O)(=O)O",
        "CC(N)C(=O)O", "C=NO", "N=[N+]=[N-]", "SC", "C(=S)N", "OCC", "C1CCCCC1")
ACIDS = ("[CX3](=O)[OX2H1:1]", "[PX4](=O)[OX2H1:1]", "[SX4](=O)(=O)[OX2H1:1]",
         "c1nn[nH1:1]n1")
BASES = ("[NX3;!$(N-[!#6;!#1]);!$(N-[#6]=,#[!#6]);!$(N-[c,C]=,:[*]);!$(N-S):1]",
         "[NX2;$(N=C(-[NX3])-[#6,#7]);!$(N-[!#6;!#1]):1]")


def charged(mol, rng):
    """A copy in which half of the acids have lost and half of the bases have gained a proton, at
    most two each."""
    mol = Chem.RWMol(mol)
    for patterns, change in ((ACIDS, -1), (BASES, 1)):
        queries = [Chem.MolFromSmarts(text) for text in patterns]
        sites = sorted({match[_mapped(query)] for query in queries
                        for match in mol.GetSubstructMatches(query)})
        for index in sites[:2]:
            atom = mol.GetAtomWithIdx(index)
            if atom.GetFormalCharge() or rng.random() < 0.5:
                continue
            if change < 0 and atom.GetTotalNumHs() == 0:
                continue
            hydrogens = atom.GetTotalNumHs() + change
            atom.SetFormalCharge(change)
            atom.SetNumExplicitHs(hydrogens)
            atom.SetNoImplicit(True)
    return mol.GetMol()


def _mapped(query):
    return next(atom.GetIdx() for atom in query.GetAtoms() if atom.GetAtomMapNum() == 1)


def fit(mol) -> bool:
    """Whether a molecule is of the kind that force fields are built for."""
    charge = Chem.GetFormalCharge(mol)
    return (len(Chem.GetMolFrags(mol)) == 1 and 8 <= mol.GetNumHeavyAtoms() <= 40
            and {atom.GetAtomicNum() for atom in mol.GetAtoms()} <= ELEMENTS
            and not any(atom.GetNumRadicalElectrons() for atom in mol.GetAtoms())
            and -2 <= charge <= 2
            and AllChem.EmbedMolecule(Chem.AddHs(mol), randomSeed=7, maxAttempts=5) == 0)


def settled(mol, rng) -> str | None:
    """The SMILES of a molecule that fits, charged or not; None for one that does not."""
    try:
        mol = charged(mol, rng)
        Chem.SanitizeMol(mol)
        text = Chem.MolToSmiles(mol)
        return text if fit(Chem.MolFromSmiles(text)) else None
    except (ValueError, AttributeError):
        return None


def collection(rng):
    """Molecules of the NCI's collection, in random order."""
    path = os.path.join(RDConfig.RDDataDir, "NCI", "first_5K.smi")
    with open(path, encoding="utf-8") as file:
        lines = [line.split()[0] for line in file if line.strip()]
    rng.shuffle(lines)
    return (mol for mol in map(Chem.MolFromSmiles, lines) if mol is not None)


def combinations(rng):
    """Cores with two groups, each behind a link."""
    while True:
        groups = [rng.choice(LINKERS) + rng.choice(ENDS) for _ in range(2)]
        mol = Chem.MolFromSmiles(rng.choice(CORES).format(*groups))
        if mol is not None:
            yield mol


def main():
    """Prints the list."""
    print("# 2000 drug-like molecules: SMILES and a name. nci: from the first 5000 compounds of the"
          "\n# NCI's open collection; made: combined from fragments by "
          "benchmarks/druglike_molecules.py.")
    rng, seen = random.Random(SEED), set()
    for name, source in (("nci", collection(rng)), ("made", combinations(rng))):
        count = 0
        for mol in source:
            text = settled(mol, rng)
            if text is None or text in seen:
                continue
            seen.add(text)
            count += 1
            print(f"{text} {name}-{count:04d}")
            if count == EACH:
                break
        if count < EACH:
            sys.exit(f"only {count} molecules of {name}")


if __name__ == "__main__":
    main()
