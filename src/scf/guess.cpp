#include "scf/guess.h"

#include <algorithm>

#include "job/state.h"
#include "numeric/row.h"
#include "numeric/strips.h"
#include "scf/electronic_energy.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr double kSeedDisturbance = 1e-7;  ///< hartree
constexpr double kSpinDisturbance = 1e-5;  ///< hartree

bool IsUnrestricted() {
    return scf.nSpinTreatment == 1;
}

bool IsFirstScf() {
    return scf.nScfRuns < 1;
}

/// Disturbance of the elements of the first Fock matrices, in the unit of the family.
double FockDisturbance() {
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
            return 1e-6;
        case Family::kZindo:
            return 1e-7;
        case Family::kNddo:
        case Family::kNone:
            return 0.0;
    }
    return 0.0;
}

void SetToUnitMatrix(int n, Array<double>& m) {
    ClearRows(n, n, m.Data());
    for (int i = 0; i < n; ++i) Row(m.Data(), n, i)[i] = 1.0;
}

void SetDiagonal(int n, double d, Array<double>& m) {
    ClearRows(n, n, m.Data());
    for (int i = 0; i < n; ++i) Row(m.Data(), n, i)[i] = d;
}

/// One electron in every orbital, half of it of either spin.
void GuessNeutralOrbitals(int n) {
    SetDiagonal(n, 1.0, scf.mDensityT);
    SetDiagonal(n, 0.5, scf.mDensityA);
    if (IsUnrestricted()) SetDiagonal(n, 0.5, scf.mDensityB);
}

/// The populations of the atoms. Where the spins are equal in number the bias sets them apart, to
/// one side on even and to the other on odd orbitals.
void GuessAtomicPopulations(int n) {
    SetDiagonal(n, 0.0, scf.mDensityT);
    SetDiagonal(n, 0.0, scf.mDensityA);
    if (IsUnrestricted()) SetDiagonal(n, 0.0, scf.mDensityB);
    double dBias = setup.Map.dSpinBias;
    for (int i = 0; i < n; ++i) {
        const double dGuess = setup.Map.pGuessDensity[i];
        Row(scf.mDensityT.Data(), n, i)[i] = dGuess;
        Row(scf.mDensityA.Data(), n, i)[i] = setup.Map.dFractionA * dBias * dGuess;
        if (IsUnrestricted())
            Row(scf.mDensityB.Data(), n, i)[i] = setup.Map.dFractionB / dBias * dGuess;
        dBias = 1.0 / dBias;
    }
    FillAtomPopulations();
}

void GuessDensity(int n) {
    switch (FamilyOf(system.MethodId)) {
        case Family::kCndo:
        case Family::kZindo:
            GuessNeutralOrbitals(n);
            return;
        case Family::kNddo:
            GuessAtomicPopulations(n);
            return;
        case Family::kNone:
            return;
    }
}

void RememberDensity(int n, const Array<double>& mDensity, Array<double>& mPrevious,
                     Array<double>& vDiagOlder) {
    CopyRows(n, n, mDensity.Data(), mPrevious.Data());
    std::fill(vDiagOlder.begin(), vDiagOlder.end(), 0.0);
}

/// 1e-7 with the signs + + - - + + - - from orbital 0.
double SeedDisturbance(int i) {
    return (i + 4) / 2 % 2 == 0 ? kSeedDisturbance : -kSeedDisturbance;
}

}  // namespace

void InitScfGuess() {
    const int n = setup.nOrbitals;
    if (IsFirstScf()) {
        GuessDensity(n);
        SetToUnitMatrix(n, scf.mVectorsA);
        if (IsUnrestricted()) SetToUnitMatrix(n, scf.mVectorsB);
    }
    // A restricted density is halved by now, so that the first damping compares it with a full one.
    RememberDensity(n, scf.mDensityA, scf.mDensityPrevA, scf.vDiagOlderA);
    if (IsUnrestricted()) RememberDensity(n, scf.mDensityB, scf.mDensityPrevB, scf.vDiagOlderB);
}

void CopyCoreToFock(int nCycle, double* mFock) {
    const int n = setup.nOrbitals;
    CopyRows(n, n, scf.mCore.Data(), mFock);
    const double dEps = FockDisturbance();
    if (!IsFirstScf() || nCycle > 2 || dEps == 0.0) return;
    for (int i = 0; i < n; ++i) {
        const bool fRowEven = static_cast<long long>(i) * (i + 1) / 2 % 2 == 0;
        for (int j = 0; j <= i; ++j) {
            const double d = fRowEven == (j % 2 == 0) ? dEps : -dEps;
            Row(mFock, n, i)[j] += d;
            if (j != i) Row(mFock, n, j)[i] += d;
        }
    }
}

void SeedFockCndo(int n, const double* vCoreDiag, double* mFock) {
    for (int i = 0; i < n; ++i) Row(mFock, n, i)[i] = vCoreDiag[i] + SeedDisturbance(i);
}

void SeedFockZindo(int n, const double* vCoreDiag, double* mFock) {
    for (int i = 0; i < n; ++i) Row(mFock, n, i)[i] = 0.5 * vCoreDiag[i] + SeedDisturbance(i);
}

void PerturbSpinFock(int nCycle, double* mFockA, double* mFockB) {
    const bool fApart = IsUnrestricted() && setup.Map.nOccA == setup.Map.nOccB;
    if (!fApart || !IsFirstScf() || nCycle != 1) return;
    const int n = setup.nOrbitals;
    double d = kSpinDisturbance;
    for (int i = 0; i < n; ++i) {
        Row(mFockA, n, i)[i] += d;
        Row(mFockB, n, i)[i] -= d;
        d = -d;
    }
}

}  // namespace qsolve
