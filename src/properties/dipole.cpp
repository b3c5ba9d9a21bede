#include <algorithm>
#include <cmath>

#include "integrals/dipole_terms.h"
#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "properties/properties.h"
#include "properties/state.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {

namespace {

// Debye of a charge of e at a unit of length.
constexpr double kDebyePerBohr = 2.5416;
constexpr double kDebyePerAngstrom = 4.803;

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

/// The hybrids' electrons lie off their nucleus by dDebye for each unit of the product.
void SubtractHybrid(double dDebye, const DipoleProducts& products, double* pRow) {
    for (int k = 0; k < 3; ++k) pRow[k] -= products.d[k] * dDebye;
}

void AddAtom(int nPosition, const double* mDensityT, int nOrbitals) {
    const int nAtom = AtomNumberAt(nPosition);
    const AtomRecord& atom = AtomByNumber(nAtom);
    if (IsDummy(atom)) return;
    AddPointCharge(nAtom, atom);
    const int nFirst = setup.Map.pFirstOrbital[nPosition] - 1;
    const int nCount = setup.Map.pLastOrbital[nPosition] - nFirst;
    if (nCount >= 4)
        SubtractHybrid(setup.vSpHybrid[RowOf(atom)], SpProducts(mDensityT, nOrbitals, nFirst),
                       RowOfTable(kSpHybrid));
    if (nCount >= 9)
        SubtractHybrid(setup.vPdHybrid[RowOf(atom)], PdProducts(mDensityT, nOrbitals, nFirst),
                       RowOfTable(kPdHybrid));
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
    std::fill_n(&properties.dDipoleTable[0][0], 16, 0.0);
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
