#include "symmetry/symmetry.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "job/atoms.h"
#include "link/link.h"
#include "numeric/row.h"
#include "numeric/strips.h"
#include "setup/state.h"
#include "symmetry/characters.h"
#include "symmetry/groups.h"
#include "symmetry/labels.h"
#include "symmetry/point_group.h"

namespace qsolve {
namespace {

constexpr int kLabelsMissing = 99;

// Entropies, cal/(mol K), at 298.15 K and 1 atm of a mass of 1 amu and moments of 1 amu Angstrom^2.
constexpr double kTranslational = 25.98160821, kPerLogOfMass = 2.97975;
constexpr double kRotationalLine = 6.970686, kPerLogOfMoment = 1.9865;
constexpr double kRotationalBody = 11.592852, kPerLogOfMoments = 0.98325;
constexpr double kLeastForLog = 1e-30;

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

void AppendAtom(int nPosition) {
    const int nAtom = AtomNumberAt(nPosition);
    const AtomRecord& record = AtomByNumber(nAtom);
    if (IsDummy(record)) return;
    const double* pXyz = system.pCoords.Data() + 3 * (nAtom - 1);
    SymmetryAtom& atom = symmetry.pSymmetryAtoms[symmetry.nSymmetryAtoms];
    atom.dX = pXyz[0];
    atom.dY = pXyz[1];
    atom.dZ = pXyz[2];
    atom.dMass = kAtomicMass[RowOf(record)];
    atom.nAtomicNumber = record.nAtomicNumber;
    symmetry.vOrbitals[symmetry.nSymmetryAtoms] = OrbitalRangeOf(nPosition);
    symmetry.vCoordinates[symmetry.nSymmetryAtoms] = {3 * nPosition, 3};
    ++symmetry.nSymmetryAtoms;
}

void ListAtoms() {
    symmetry = SymmetryState{};
    const std::size_t nAtoms = Size(system.nSelected);
    symmetry.pSymmetryAtoms.Take(nAtoms, kWork);
    symmetry.vCentred.Take(nAtoms, 3, kWork);
    symmetry.vOrbitals.Take(nAtoms, kWork);
    symmetry.vCoordinates.Take(nAtoms, kWork);
    for (int i = 0; i < system.nSelected; ++i) AppendAtom(i);
}

void StoreEntropies(const MassTensor& masses) {
    const double* s = masses.vMoment;
    double vMoment[3];
    for (int k = 0; k < 3; ++k) vMoment[k] = std::max(s[0] + s[1] + s[2] - s[k], kLeastForLog);
    symmetry.dTranslationalEntropy = kPerLogOfMass * std::log(masses.dTotalMass) + kTranslational;
    symmetry.dRotationalEntropy =
        symmetry.fLinear
            ? kPerLogOfMoment * std::log(vMoment[0]) + kRotationalLine
            : kPerLogOfMoments * std::log(vMoment[0] * vMoment[1] * vMoment[2]) + kRotationalBody;
}

void LookUpGroup(int nGroup) {
    if (nGroup < 0) return;
    symmetry.fCharacterTable = true;
    symmetry.nSymmetryNumber = SymmetryNumber(nGroup);
    DecodeTable(nGroup, symmetry.Table);
    char* sName = results.Orbitals.sPointGroup;
    std::memset(sName, 0, sizeof results.Orbitals.sPointGroup);
    std::memcpy(sName, GroupName(nGroup), std::min<std::size_t>(std::strlen(GroupName(nGroup)), 3));
}

void Classify() {
    std::memcpy(results.Orbitals.sPointGroup, "  ?", sizeof results.Orbitals.sPointGroup);
    const PointGroup found = FindPointGroup(symmetry.nSymmetryAtoms, symmetry.pSymmetryAtoms.Data(),
                                            symmetry.vCentred.Data());
    symmetry.nSymmetryFailure = found.nFailure;
    symmetry.fLinear = found.fLinear;
    symmetry.Axes = found.Atoms.Axes;
    LookUpGroup(found.nGroup);
    if (found.Masses.dTotalMass > 0.0) StoreEntropies(found.Masses);
}

/// Calls visit(class, operation, shells up to a degree as they turn) for each class of the table.
template <class Visit>
void ForEachClass(int nDegree, Visit visit) {
    for (int c = 0; c < symmetry.Table.nClasses; ++c) {
        const int nOperation = symmetry.Table.nOperation[c];
        double mOperation[9];
        ShellRotation rotation = {};
        BuildMoleculeOperation(nOperation, symmetry.Axes, mOperation);
        BuildShellRotation(nDegree, mOperation, rotation);
        visit(c, nOperation, rotation);
    }
}

/// Characters of the orbitals, nOrbitals x classes, ascending.
void FillOrbitalCharacters(const double* mVectors, double* mCharacters) {
    const int n = setup.nOrbitals;
    int nMost = 0;
    for (int i = 0; i < symmetry.nSymmetryAtoms; ++i)
        nMost = std::max(nMost, symmetry.vOrbitals[i].nCount);
    ForEachClass(
        HighestDegree(nMost), [&](int nClass, int nOperation, const ShellRotation& rotation) {
            ForEachStrip(n, [&](int, int nFirst, int nEnd) {
                for (int k = nFirst; k < nEnd; ++k)
                    Row(mCharacters, symmetry.Table.nClasses, k)[nClass] =
                        OrbitalCharacter(symmetry.nSymmetryAtoms, symmetry.pSymmetryAtoms.Data(),
                                         symmetry.vOrbitals.Data(), nOperation, rotation,
                                         Row(mVectors, n, results.Orbitals.vOrbitalOrder[k]));
            });
            for (int k = 0; k < n; ++k) Yield(Size(n));
        });
}

/// The same of the first nModes modes.
void FillModeCharacters(int nModes, const double* mVectors, double* mCharacters) {
    const ModeResults& modes = results.Modes;
    ForEachClass(1, [&](int nClass, int nOperation, const ShellRotation& rotation) {
        for (int p = 0; p < nModes; ++p) {
            const double* vMode = Row(mVectors, modes.nModes, modes.Records[p].nIndex);
            Row(mCharacters, symmetry.Table.nClasses, p)[nClass] =
                ModeCharacter(symmetry.nSymmetryAtoms, symmetry.pSymmetryAtoms.Data(),
                              symmetry.vCoordinates.Data(), nOperation, rotation, vMode);
            Yield(Size(modes.nModes));
        }
    });
}

void Assign(int n, const double* mCharacters, char (*sLabels)[4], int* vNumbers) {
    if (!AssignSpecies(symmetry.Table, n, mCharacters, sLabels, vNumbers))
        symmetry.nSymmetryFailure = kLabelsMissing;
}

void FillOrbitalLabels(const double* mVectors) {
    OrbitalResults& orbitals = results.Orbitals;
    const int n = setup.nOrbitals;
    SetDefaultLabels(n, orbitals.sSymmetryLabel.Data(), orbitals.vSymmetryIndex.Data());
    if (!symmetry.fCharacterTable) return;
    Array<double> mCharacters;
    mCharacters.Take(Size(n), Size(symmetry.Table.nClasses), kWork);
    if (NeedsOrbitals())
        FillOrbitalCharacters(mVectors, mCharacters.Data());
    else
        std::fill(mCharacters.begin(), mCharacters.end(), 1.0);  // their squares add up to it
    Assign(n, mCharacters.Data(), orbitals.sSymmetryLabel.Data(), orbitals.vSymmetryIndex.Data());
}

/// The labels of n modes, "  ?" where they have none.
void FillModeLabels(int n, const double* mVectors, char (*sLabels)[4], int* vNumbers) {
    SetDefaultLabels(n, sLabels, vNumbers);
    if (!symmetry.fCharacterTable || system.nCapping > 0) return;
    Array<double> mCharacters;
    mCharacters.Take(Size(n), Size(symmetry.Table.nClasses), kWork);
    FillModeCharacters(n, mVectors, mCharacters.Data());
    Assign(n, mCharacters.Data(), sLabels, vNumbers);
}

/// With capping atoms all modes count as vibrations: which are motions of the whole is not asked.
void LabelModes(const double* mVectors) {
    ModeResults& modes = results.Modes;
    const int nVibrations =
        system.nCapping > 0 ? modes.nModes : modes.nModes - modes.nExternalModes;
    Array<char[4]> sLabels;
    Array<int> vNumbers;
    sLabels.Take(Size(modes.nModes), kWork);
    vNumbers.Take(Size(modes.nModes), kWork);
    FillModeLabels(nVibrations, mVectors, sLabels.Data(), vNumbers.Data());
    for (int p = 0; p < modes.nModes; ++p) {
        ModeRecord& record = modes.Records[p];
        std::memcpy(record.sSymmetryLabel, sLabels[p], sizeof record.sSymmetryLabel);
        record.nSymmetryIndex = p < nVibrations ? vNumbers[p] : p - nVibrations + 1;
    }
}

}  // namespace

AtomRange OrbitalRangeOf(int nPosition) {
    const int nFirst = setup.Map.pFirstOrbital[nPosition] - 1;
    return {nFirst, setup.Map.pLastOrbital[nPosition] - nFirst};
}

void FindSymmetry() {
    ListAtoms();
    Classify();
    symmetry.fPointGroupKnown = true;
    symmetry.fOrbitalLabelsKnown = symmetry.fModeLabelsKnown = false;
}

bool NeedsOrbitals() {
    const bool fWhole = symmetry.nSymmetryAtoms == system.nSelected;
    return symmetry.fCharacterTable && !(fWhole && symmetry.Table.nClasses == 1);
}

void LabelOrbitals(const double* mVectors) {
    FillOrbitalLabels(mVectors);
    symmetry.fOrbitalLabelsKnown = true;
}

void ReportSymmetry(bool fDoPointGroup, bool fDoOrbitals, bool fDoModes, const double* mVectors) {
    FindSymmetry();
    if (fDoOrbitals) LabelOrbitals(mVectors);
    if (fDoModes) LabelModes(mVectors);
    symmetry.fPointGroupKnown = fDoPointGroup;
    symmetry.fModeLabelsKnown = fDoModes;
}

}  // namespace qsolve
