#include "symmetry/point_group.h"

#include <algorithm>
#include <cmath>

#include "symmetry/groups.h"

namespace qsolve {
namespace {

constexpr int kUnknownGroup = 2;

bool AreFinite(int nAtoms, const SymmetryAtom* pAtoms) {
    return std::all_of(pAtoms, pAtoms + nAtoms,
                       [](const SymmetryAtom& a) { return std::isfinite(a.dX + a.dY + a.dZ); });
}

/// The one of the operations nFirst to nFirst + 2 that is present alone; 0 if none or several are.
int OnlyOneOf(int nFirst, const OrientedAtoms& atoms) {
    int nFound = 0;
    for (int k = nFirst; k < nFirst + 3; ++k) {
        if (!atoms.fOperationPresent[k]) continue;
        if (nFound != 0) return 0;
        nFound = k;
    }
    return nFound;
}

bool HasAnyOf(int nFirst, int nLast, const OrientedAtoms& atoms) {
    return std::any_of(atoms.fOperationPresent + nFirst, atoms.fOperationPresent + nLast + 1,
                       [](bool f) { return f; });
}

/// A molecule whose only axis is of order two, or whose only operation is a mirror, has it on z.
Frame InStandardPosition(const OrientedAtoms& atoms) {
    if (HasAnyOf(kC3, kS5, atoms)) return atoms.Axes;
    const int nAxis = OnlyOneOf(kC2x, atoms);
    if (nAxis == kC2x || nAxis == kC2y) return ExchangedWithZ(atoms.Axes, nAxis - kC2x);
    if (HasAnyOf(kC2x, kC2z, atoms)) return atoms.Axes;
    const int nMirror = OnlyOneOf(kMirrorXy, atoms);
    if (nMirror == kMirrorXz) return ExchangedWithZ(atoms.Axes, 1);
    if (nMirror == kMirrorYz) return ExchangedWithZ(atoms.Axes, 0);
    return atoms.Axes;
}

/// The one of two frames in which more operations are present.
Frame BetterFrame(const Frame& first, const Frame& second, OrientedAtoms& atoms) {
    return TestOperations(second, atoms) > TestOperations(first, atoms) ? second : first;
}

Frame ChooseFrame(const MassTensor& masses, OrientedAtoms& atoms) {
    switch (masses.nTop) {
        case Top::kLinear:
        case Top::kAsymmetric:
            return masses.Principal;
        case Top::kSymmetric:
            return BetterFrame(AlignSymmetricTop(masses.Unique, atoms), masses.Unique, atoms);
        case Top::kSpherical:
            break;
    }
    const Frame spherical = AlignSphericalTop(masses.Principal, atoms);
    const Frame symmetric = AlignSymmetricTop(masses.Unique, atoms);
    return BetterFrame(BetterFrame(spherical, symmetric, atoms), masses.Principal, atoms);
}

unsigned MaskOf(const OrientedAtoms& atoms) {
    unsigned nMask = 0;
    for (int k = 1; k <= kOperations; ++k)
        if (atoms.fOperationPresent[k]) nMask |= 1u << (k - 1);
    return nMask;
}

/// Tests all operations in the standard position of a frame, and looks for their group.
void NameGroup(const Frame& frame, PointGroup& found) {
    TestOperations(frame, found.Atoms);
    TestOperations(InStandardPosition(found.Atoms), found.Atoms);
    found.nMask = MaskOf(found.Atoms);
    found.nGroup = FindGroup(found.nMask);
}

}  // namespace

PointGroup FindPointGroup(int nAtoms, SymmetryAtom* pAtoms, double* vCentred) {
    PointGroup found;
    if (nAtoms < 2) return found;
    if (!AreFinite(nAtoms, pAtoms)) {
        found.nFailure = kUnknownGroup;
        return found;
    }
    found.Masses = FindPrincipalAxes(nAtoms, pAtoms, vCentred);
    found.Atoms.nAtoms = nAtoms;
    found.Atoms.vCentred = vCentred;
    found.Atoms.pAtoms = pAtoms;
    NameGroup(ChooseFrame(found.Masses, found.Atoms), found);
    // Principal axes of equal moments may by chance stand between the mirrors of a dihedral group,
    // where more operations are present, but not those that its name goes by.
    if (found.nGroup < 0 && found.Masses.nTop == Top::kSymmetric)
        NameGroup(AlignSymmetricTop(found.Masses.Unique, found.Atoms), found);
    if (found.nGroup < 0) found.nFailure = kUnknownGroup;
    found.fLinear = found.nGroup >= 0 && GroupName(found.nGroup)[1] == '*';
    return found;
}

}  // namespace qsolve
