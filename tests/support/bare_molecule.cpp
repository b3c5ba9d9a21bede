#include "tests/support/bare_molecule.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <numeric>

#include "job/state.h"
#include "properties/state.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {

namespace {

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

void BuildAtoms(const BareMolecule& molecule) {
    system.nAtoms = static_cast<int>(molecule.Atoms.size());
    system.pAtoms.Take(molecule.Atoms.size(), kIntake);
    system.pCoords.Take(molecule.Atoms.size(), 3, kIntake);
    system.nAtomToSelected.Take(molecule.Atoms.size(), kIntake);
    for (int i = 0; i < system.nAtoms; ++i) {
        const BareAtom& atom = molecule.Atoms[Size(i)];
        system.pAtoms[i] = AtomRecord{};
        system.pAtoms[i].nAtomicNumber = atom.nAtomicNumber;
        system.pAtoms[i].nState = kClassical;
        system.pCoords[3 * i] = atom.x;
        system.pCoords[3 * i + 1] = atom.y;
        system.pCoords[3 * i + 2] = atom.z;
        system.nAtomToSelected[i] = -1;
    }
}

void BuildSelection(std::vector<int> selection) {
    if (selection.empty()) {
        selection.resize(system.pAtoms.Size());
        std::iota(selection.begin(), selection.end(), 1);
    }
    system.nSelected = static_cast<int>(selection.size());
    system.nSelectedAtoms.Take(selection.size(), kIntake);
    for (int i = 0; i < system.nSelected; ++i) {
        const int nAtom = selection[Size(i)];
        AtomRecord& atom = system.pAtoms[nAtom - 1];
        system.nSelectedAtoms[i] = nAtom;
        system.nAtomToSelected[nAtom - 1] = i + 1;
        atom.nState = atom.nAtomicNumber > kCappingOffset ? kCapping : kSelected;
        if (atom.nState == kCapping) ++system.nCapping;
    }
}

/// Orbitals in the order of the selection.
std::vector<int> BuildMap(const BareMolecule& molecule) {
    std::vector<int> atomOfOrbital;
    for (Array<int>* v :
         {&setup.Map.pFirstOrbital, &setup.Map.pLastSpOrbital, &setup.Map.pLastOrbital})
        v->Take(Size(system.nSelected), kSetUp);
    for (int i = 0; i < system.nSelected; ++i) {
        const int nAtom = system.nSelectedAtoms[i];
        const int nCount = molecule.Atoms[Size(nAtom - 1)].nOrbitals;
        setup.Map.pFirstOrbital[i] = static_cast<int>(atomOfOrbital.size()) + 1;
        atomOfOrbital.insert(atomOfOrbital.end(), Size(nCount), nAtom);
        setup.Map.pLastOrbital[i] = static_cast<int>(atomOfOrbital.size());
        setup.Map.pLastSpOrbital[i] = setup.Map.pFirstOrbital[i] + std::min(nCount, 4) - 1;
    }
    return atomOfOrbital;
}

void BuildOrbitals(const std::vector<int>& atomOfOrbital, bool fUnrestricted) {
    const std::size_t n = atomOfOrbital.size();
    setup.nOrbitals = scf.nOrbitals = static_cast<int>(n);
    scf.nSpinTreatment = options.nSpinTreatment = fUnrestricted ? 1 : 0;
    setup.vOrbitalAtom.Take(n, kSetUp);
    setup.vOrbitalType.Take(n, kSetUp);
    for (std::size_t i = 0; i < n; ++i) {
        setup.vOrbitalAtom[i] = atomOfOrbital[i];
        const bool fSameAtom = i > 0 && atomOfOrbital[i - 1] == atomOfOrbital[i];
        setup.vOrbitalType[i] = fSameAtom ? setup.vOrbitalType[i - 1] + 1 : 1;
    }
    const std::size_t nValues = fUnrestricted ? 2 * n : n;
    OrbitalResults& orbitals = results.Orbitals;
    orbitals.nOrbitalValues = static_cast<int>(nValues);
    orbitals.vOrbitalEnergy.Take(nValues, kSetUp);
    orbitals.vOccupancy.Take(nValues, kSetUp);
    orbitals.vOrbitalOrder.Take(nValues, kSetUp);
    orbitals.vPopulation.Take(nValues, kSetUp);
    properties.vCharge.Take(Size(system.nSelected), kSetUp);
    orbitals.vSymmetryIndex.Take(nValues, kSetUp);
    orbitals.sSymmetryLabel.Take(nValues, kSetUp);
    for (auto& sLabel : orbitals.sSymmetryLabel) std::memcpy(sLabel, "  ?", sizeof sLabel);
}

}  // namespace

void Build(const BareMolecule& molecule) {
    system.MethodId = molecule.nMethod;
    BuildAtoms(molecule);
    BuildSelection(molecule.Selection);
    BuildOrbitals(BuildMap(molecule), molecule.fUnrestricted);
}

BareMolecule WithOrbitals(int nOrbitals, bool fUnrestricted) {
    BareMolecule molecule;
    molecule.fUnrestricted = fUnrestricted;
    for (; nOrbitals >= 4; nOrbitals -= 4) molecule.Atoms.push_back({6, 4});
    for (; nOrbitals > 0; --nOrbitals) molecule.Atoms.push_back({1, 1});
    return molecule;
}

std::string Print(const char* sFormat, ...) {
    char sText[1000];
    va_list arguments;
    va_start(arguments, sFormat);
    std::vsnprintf(sText, sizeof sText, sFormat, arguments);
    va_end(arguments);
    return sText;
}

}  // namespace qsolve
