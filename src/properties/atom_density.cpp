#include "properties/atom_density.h"

#include <algorithm>

#include "integrals/integrals.h"
#include "numeric/row.h"
#include "scf/state.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// m of the orbitals of an atom: below 0 the function with the sine.
constexpr int kMagnetic[kAtomOrbitals] = {0, 1, -1, 0, 0, 1, -1, 2, -2};

double IntegralOfPair(const AtomDensity& atom, int i, int j, double r) {
    const int lA = ShellOfOrbital(i), lB = ShellOfOrbital(j), m = kMagnetic[i];
    const ShellTerms &a = atom.Shells[lA], &b = atom.Shells[lB];
    double dSum = 0.0;
    for (int s = 0; s < a.nTerms; ++s)
        for (int t = 0; t < b.nTerms; ++t) {
            double d = 0.0;
            PotentialIntegral(r, a.nPrincipal, lA, m, a.dZeta[s], b.nPrincipal, lB, m, b.dZeta[t],
                              d);
            dSum += a.dWeight[s] * b.dWeight[t] * d;
        }
    return dSum;
}

/// Fills mLocalPotential, kAtomOrbitals x kAtomOrbitals, in the frame that points at the charge.
/// An orbital with the sine comes after its twin with the cosine, which has the same integrals.
void FillLocalPotential(const AtomDensity& atom, double r, double* mLocalPotential) {
    std::fill_n(mLocalPotential, kAtomOrbitals * kAtomOrbitals, 0.0);
    for (int i = 0; i < atom.nOrbitals; ++i)
        for (int j = 0; j <= i; ++j) {
            if (kMagnetic[i] != kMagnetic[j]) continue;
            const double d = kMagnetic[i] < 0 ? Row(mLocalPotential, kAtomOrbitals, i - 1)[j - 1]
                                              : IntegralOfPair(atom, i, j, r);
            Row(mLocalPotential, kAtomOrbitals, i)[j] = d;
            Row(mLocalPotential, kAtomOrbitals, j)[i] = d;
        }
}

}  // namespace

ShellTerms TermsOfOrbital(int nOrbital) {
    ShellTerms terms;
    terms.nPrincipal = setup.vOrbitalShell[nOrbital];
    terms.nTerms = setup.vCoef2[nOrbital] != 0.0 ? 2 : 1;
    terms.dZeta[0] = setup.vZeta1[nOrbital];
    terms.dZeta[1] = setup.vZeta2[nOrbital];
    terms.dWeight[0] = terms.nTerms > 1 ? setup.vCoef1[nOrbital] : 1.0;
    terms.dWeight[1] = setup.vCoef2[nOrbital];
    return terms;
}

AtomDensity DensityOfAtom(int nPosition) {
    AtomDensity atom;
    const int nFirst = setup.Map.pFirstOrbital[nPosition] - 1;
    atom.nOrbitals = std::min(setup.Map.pLastOrbital[nPosition] - nFirst, kAtomOrbitals);
    for (int l = 0; l < 3; ++l)
        if (kShellBegin[l] < atom.nOrbitals)
            atom.Shells[l] = TermsOfOrbital(nFirst + kShellBegin[l]);
    for (int i = 0; i < atom.nOrbitals; ++i)
        std::copy_n(Row(scf.mDensityT.Data(), scf.nOrbitals, nFirst + i) + nFirst, atom.nOrbitals,
                    Row(atom.mDensity, kAtomOrbitals, i));
    return atom;
}

double AttractionOfDensity(const AtomDensity& atom, const double* pVector, double r) {
    const int n = atom.nOrbitals;
    const double vDirection[3] = {pVector[0] / r, pVector[1] / r, pVector[2] / r};
    double mRotation[kAtomOrbitals * kAtomOrbitals], mLocalPotential[kAtomOrbitals * kAtomOrbitals];
    BuildRotation(vDirection, mRotation, n);
    FillLocalPotential(atom, r, mLocalPotential);

    // The sum over i, j of P_ij (R^T L R)_ij is that over a, b of L_ab (R P R^T)_ab.
    double dSum = 0.0;
    for (int a = 0; a < n; ++a) {
        double vTurned[kAtomOrbitals] = {};  // row a of R P
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < n; ++j)
                vTurned[j] +=
                    Row(mRotation, kAtomOrbitals, a)[i] * Row(atom.mDensity, kAtomOrbitals, i)[j];
        for (int b = 0; b < n; ++b) {
            const double dLocal = Row(mLocalPotential, kAtomOrbitals, a)[b];
            if (dLocal == 0.0) continue;
            for (int j = 0; j < n; ++j)
                dSum += dLocal * vTurned[j] * Row(mRotation, kAtomOrbitals, b)[j];
        }
    }
    return dSum;
}

}  // namespace qsolve
