#include "symmetry/operations.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

#include "numeric/matrix3.h"

namespace qsolve {
namespace {

/// An operation (a, b, c): with b 0 a rotation of order a about z, its third diagonal entry c, else
/// the diagonal of the matrix.
struct OperationRow {
    const char* sName;
    int a, b, c;
};

// clang-format off
constexpr OperationRow kOperationRows[] = {
    {"E",    1,  1,  1},
    {"C2x",  1, -1, -1},
    {"C2y", -1,  1, -1},
    {"C2z", -1, -1,  1},
    {"sxy",  1,  1, -1},
    {"sxz",  1, -1,  1},
    {"syz", -1,  1,  1},
    {"i",   -1, -1, -1},
    {"C3",   3,  0,  1},
    {"C4",   4,  0,  1},
    {"C5",   5,  0,  1},
    {"C6",   6,  0,  1},
    {"C7",   7,  0,  1},
    {"C8",   8,  0,  1},
    {"S4",   4,  0, -1},
    {"S6",   6,  0, -1},
    {"S8",   8,  0, -1},
    {"S10", 10,  0, -1},
    {"S12", 12,  0, -1},
    {"S5",   5,  0, -1},
    {"C2d",  0,  0, -1},  // exchange of x and y with z negated
};
// clang-format on
static_assert(std::size(kOperationRows) == kOperations + 1);

void FillUntilted(const OperationRow& row, double* m) {
    std::fill_n(m, 9, 0.0);
    m[8] = row.c;
    if (row.b != 0) {
        m[0] = row.a;
        m[4] = row.b;
    } else if (row.a == 0) {
        m[1] = m[3] = 1.0;
    } else {
        const double dAngle = 2.0 * std::numbers::pi / row.a;
        m[0] = m[4] = std::cos(dAngle);
        m[3] = std::sin(dAngle);
        m[1] = -m[3];
    }
}

bool IsNear(double a, double b) {
    return std::abs(a - b) < kImageTolerance;
}

/// Position, from 1, of the atom at a place; 0 where there is none of that number.
int AtomAtPlace(const double* pPlace, int nAtomicNumber, const OrientedAtoms& atoms) {
    for (int i = 0; i < atoms.nAtoms; ++i) {
        const SymmetryAtom& atom = atoms.pAtoms[i];
        if (atom.nAtomicNumber == nAtomicNumber && IsNear(atom.dZ, pPlace[2]) &&
            IsNear(atom.dX, pPlace[0]) && IsNear(atom.dY, pPlace[1]))
            return i + 1;
    }
    return 0;
}

}  // namespace

const char* OperationName(int nIndex) {
    return kOperationRows[nIndex].sName;
}

void BuildOperation(int nIndex, const double* mTilt, double* mOperation) {
    if (nIndex != kC3 && nIndex != kS6) {
        FillUntilted(kOperationRows[nIndex], mOperation);
        return;
    }
    double mUntilted[9];
    FillUntilted(kOperationRows[nIndex], mUntilted);
    ToFrame3(mTilt, mUntilted, mOperation);
}

void BuildMoleculeOperation(int nIndex, const Frame& frame, double* mOperation) {
    double mFramed[9], mBack[9];
    BuildOperation(nIndex, frame.mTilt, mFramed);
    Transpose3(frame.mAxes, mBack);
    ToFrame3(mBack, mFramed, mOperation);
}

void SetFrame(const Frame& frame, OrientedAtoms& atoms) {
    atoms.Axes = frame;
    std::fill_n(atoms.fOperationPresent, kOperations + 1, false);
    for (int i = 0; i < atoms.nAtoms; ++i) {
        double v[3];
        Transform3(frame.mAxes, atoms.vCentred + 3 * i, v);
        atoms.pAtoms[i].dX = v[0];
        atoms.pAtoms[i].dY = v[1];
        atoms.pAtoms[i].dZ = v[2];
    }
}

bool TestOperation(int nIndex, OrientedAtoms& atoms) {
    double mOperation[9];
    BuildOperation(nIndex, atoms.Axes.mTilt, mOperation);
    atoms.fOperationPresent[nIndex] = false;
    for (int i = 0; i < atoms.nAtoms; ++i) {
        SymmetryAtom& atom = atoms.pAtoms[i];
        const double vPlace[3] = {atom.dX, atom.dY, atom.dZ};
        double vImage[3];
        Transform3(mOperation, vPlace, vImage);
        atom.nImage[nIndex] = AtomAtPlace(vImage, atom.nAtomicNumber, atoms);
        if (atom.nImage[nIndex] == 0) return false;
    }
    atoms.fOperationPresent[nIndex] = true;
    return true;
}

int TestOperations(const Frame& frame, OrientedAtoms& atoms) {
    SetFrame(frame, atoms);
    int nPresent = 0;
    for (int k = 1; k <= kOperations; ++k) nPresent += TestOperation(k, atoms);
    return nPresent;
}

}  // namespace qsolve
