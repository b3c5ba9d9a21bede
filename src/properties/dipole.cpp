#include <algorithm>
#include <cmath>

#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "properties/properties.h"
#include "properties/state.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {

namespace {

// Debye of a charge of e at a unit of length.
constexpr double kDebyePerBohr = 2.5416;
constexpr double kDebyePerAngstrom = 4.803;

// Elements of the position operator between a d function and the p function along an axis, relative
// to that of dxy and px along y: 1/sqrt(3) and 2/sqrt(3) where the d function is z2.
constexpr double kOneByRoot3 = 0.5773503;
constexpr double kTwoByRoot3 = 1.1547005;

enum DipoleRow : int { kPointCharge, kSpHybrid, kPdHybrid, kSum };

double* RowOfTable(DipoleRow nRow) {
    return properties.dDipoleTable[nRow];
}

void AddPointCharge(int nAtom, const AtomRecord& atom) {
    const double dConversion = UsesAtomicUnits(system.MethodId) ? kDebyePerBohr : kDebyePerAngstrom;
    const double* pXyz = system.pCoords.Data() + 3 * (nAtom - 1);
    for (int k = 0; k < 3; ++k)
        RowOfTable(kPointCharge)[k] +=
            (pXyz[k] - scf.dChargeOrigin[k]) * dConversion * static_cast<double>(atom.flCharge);
}

/// Adds the terms of an atom whose s orbital is nFirst, from 0; the p orbitals follow it.
void AddSpHybrid(int nRow, int nFirst, const double* mDensityT, int nOrbitals) {
    for (int k = 0; k < 3; ++k)
        RowOfTable(kSpHybrid)[k] -=
            setup.vSpHybrid[nRow] * Row(mDensityT, nOrbitals, nFirst + 1 + k)[nFirst];
}

/// The same for d, which follow p in the order z2, xz, yz, x2-y2, xy.
void AddPdHybrid(int nRow, int nFirst, const double* mDensityT, int nOrbitals) {
    const int x = nFirst + 1, y = nFirst + 2, z = nFirst + 3;
    const double* z2 = Row(mDensityT, nOrbitals, nFirst + 4);
    const double* xz = Row(mDensityT, nOrbitals, nFirst + 5);
    const double* yz = Row(mDensityT, nOrbitals, nFirst + 6);
    const double* x2y2 = Row(mDensityT, nOrbitals, nFirst + 7);
    const double* xy = Row(mDensityT, nOrbitals, nFirst + 8);
    const double d = setup.vPdHybrid[nRow];
    double* pRow = RowOfTable(kPdHybrid);
    pRow[0] -= (xy[y] + xz[z] + x2y2[x] - kOneByRoot3 * z2[x]) * d;
    pRow[1] -= (xy[x] - x2y2[y] + yz[z] - kOneByRoot3 * z2[y]) * d;
    pRow[2] -= (yz[y] + kTwoByRoot3 * z2[z] + xz[x]) * d;
}

void AddAtom(int nPosition, const double* mDensityT, int nOrbitals) {
    const int nAtom = AtomNumberAt(nPosition);
    const AtomRecord& atom = AtomByNumber(nAtom);
    if (IsDummy(atom)) return;
    AddPointCharge(nAtom, atom);
    const int nFirst = setup.Map.pFirstOrbital[nPosition] - 1;
    const int nCount = setup.Map.pLastOrbital[nPosition] - nFirst;
    if (nCount >= 4) AddSpHybrid(RowOf(atom), nFirst, mDensityT, nOrbitals);
    if (nCount >= 9) AddPdHybrid(RowOf(atom), nFirst, mDensityT, nOrbitals);
}

/// Fills the row of sums and the column of totals.
void SumTable() {
    double* pSum = RowOfTable(kSum);
    for (const DipoleRow nRow : {kPointCharge, kSpHybrid, kPdHybrid})
        for (int k = 0; k < 3; ++k) pSum[k] += RowOfTable(nRow)[k];
    for (auto& row : properties.dDipoleTable)
        row[3] = std::sqrt(row[0] * row[0] + row[1] * row[1] + row[2] * row[2]);
}

void ReportDipole() {
    constexpr MessageId kRows[] = {kMsgDipolePointCharge, kMsgDipoleSpHybrid, kMsgDipolePdHybrid,
                                   kMsgDipoleSum};
    LogFormat(kMsgDipoleHeading);
    for (int i = 0; i < 4; ++i) {
        const double* v = properties.dDipoleTable[i];
        LogFormat(kRows[i], v[0], v[1], v[2], v[3]);
    }
}

}  // namespace

void ComputeDipole(const double* mDensityT, int nOrbitals) {
    if (system.nSelected <= 1) return;
    properties = PropertyState{};
    for (int i = 0; i < system.nSelected; ++i) AddAtom(i, mDensityT, nOrbitals);
    SumTable();

    const double* pSum = RowOfTable(kSum);
    results.Block.flDipoleX = static_cast<float>(pSum[0]);
    results.Block.flDipoleY = static_cast<float>(pSum[1]);
    results.Block.flDipoleZ = static_cast<float>(pSum[2]);
    results.Block.flDipoleTotal = static_cast<float>(pSum[3]);
    if (setup.fFinalReport) ReportDipole();
}

}  // namespace qsolve
