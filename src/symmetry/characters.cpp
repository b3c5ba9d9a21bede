#include "symmetry/characters.h"

#include <algorithm>
#include <cmath>

namespace qsolve {
namespace {

// ---- shells -------------------------------------------------------------------------------------

/// A real harmonic of degree l as a polynomial: up to three terms c x^a y^b z^c.
struct Term {
    double dFactor;
    int nPower[3];
};
struct Harmonic {
    Term Terms[3];
};

// clang-format off
constexpr Harmonic kP[] = {
    {{{1, {1, 0, 0}}}},
    {{{1, {0, 1, 0}}}},
    {{{1, {0, 0, 1}}}},
};
constexpr Harmonic kD[] = {
    {{{2, {0, 0, 2}}, {-1, {2, 0, 0}}, {-1, {0, 2, 0}}}},
    {{{1, {1, 0, 1}}}},
    {{{1, {0, 1, 1}}}},
    {{{1, {2, 0, 0}}, {-1, {0, 2, 0}}}},
    {{{1, {1, 1, 0}}}},
};
constexpr Harmonic kF[] = {
    {{{2, {0, 0, 3}}, {-3, {2, 0, 1}}, {-3, {0, 2, 1}}}},
    {{{4, {1, 0, 2}}, {-1, {3, 0, 0}}, {-1, {1, 2, 0}}}},
    {{{4, {0, 1, 2}}, {-1, {2, 1, 0}}, {-1, {0, 3, 0}}}},
    {{{1, {2, 0, 1}}, {-1, {0, 2, 1}}}},
    {{{1, {1, 1, 1}}}},
    {{{1, {3, 0, 0}}, {-3, {1, 2, 0}}}},
    {{{3, {2, 1, 0}}, {-1, {0, 3, 0}}}},
};
// clang-format on

/// A polynomial of degree l as a symmetric tensor of rank l: 3, 9 or 27 numbers, the first index
/// slowest.
constexpr int kMostNumbers = 27, kMostHarmonics = 7;
using Tensor = double[kMostNumbers];

constexpr int PowerOf3(int l) {
    return l == 0 ? 1 : 3 * PowerOf3(l - 1);
}

/// The tensor of unit length that belongs to a harmonic: each of the l! / (a! b! c!) orders of the
/// indices of a term has the same share of its factor.
void FillTensor(int l, const Harmonic& harmonic, double* t) {
    constexpr double kFactorials[] = {1, 1, 2, 6};
    double dSquare = 0.0;
    for (int i = 0; i < PowerOf3(l); ++i) {
        int nPower[3] = {};
        for (int k = i, n = 0; n < l; ++n, k /= 3) ++nPower[k % 3];
        t[i] = 0.0;
        for (const Term& term : harmonic.Terms) {
            if (!std::equal(nPower, nPower + 3, term.nPower)) continue;
            t[i] = term.dFactor;
            for (const int n : nPower) t[i] *= kFactorials[n];
        }
        dSquare += t[i] * t[i];
    }
    for (int i = 0; i < PowerOf3(l); ++i) t[i] /= std::sqrt(dSquare);
}

/// Turns each of the l indices by R.
void TurnTensor(int l, const double* mOperation, double* t) {
    for (int nStep = 1; nStep < PowerOf3(l); nStep *= 3)
        for (int i = 0; i < PowerOf3(l); ++i) {
            if (i / nStep % 3 != 0) continue;
            const double v[3] = {t[i], t[i + nStep], t[i + 2 * nStep]};
            for (int x = 0; x < 3; ++x) {
                const double* r = mOperation + 3 * x;
                t[i + x * nStep] = r[0] * v[0] + r[1] * v[1] + r[2] * v[2];
            }
        }
}

void FillShell(int l, const Harmonic* pHarmonics, const double* mOperation, double* m) {
    const int n = 2 * l + 1;
    Tensor tensors[kMostHarmonics];
    for (int i = 0; i < n; ++i) FillTensor(l, pHarmonics[i], tensors[i]);
    for (int j = 0; j < n; ++j) {
        Tensor turned;
        std::copy_n(tensors[j], PowerOf3(l), turned);
        TurnTensor(l, mOperation, turned);
        for (int i = 0; i < n; ++i) {
            const double* t = tensors[i];
            m[n * i + j] = 0.0;
            for (int k = 0; k < PowerOf3(l); ++k) m[n * i + j] += t[k] * turned[k];
        }
    }
}

// ---- characters ---------------------------------------------------------------------------------

double Coefficient(double c) {
    return std::abs(c) < kNoCoefficient ? 0.0 : c;
}

/// sum over i, j of b_i D_ij a_j for one shell of n functions.
double ShellTrace(int n, const double* m, const double* a, const double* b) {
    double dSum = 0.0;
    for (int i = 0; i < n; ++i) {
        double dTurned = 0.0;
        for (int j = 0; j < n; ++j) dTurned += m[n * i + j] * Coefficient(a[j]);
        dSum += Coefficient(b[i]) * dTurned;
    }
    return dSum;
}

constexpr double kUnit[] = {1.0};  // of an s shell

}  // namespace

void BuildShellRotation(int nDegree, const double* mOperation, ShellRotation& rotation) {
    if (nDegree >= 1) FillShell(1, kP, mOperation, rotation.mP);
    if (nDegree >= 2) FillShell(2, kD, mOperation, rotation.mD);
    if (nDegree >= 3) FillShell(3, kF, mOperation, rotation.mF);
}

double OrbitalCharacter(int nAtoms, const SymmetryAtom* pAtoms, const AtomRange* pRanges,
                        int nOperation, const ShellRotation& rotation,
                        const double* vCoefficients) {
    if (nOperation == 0) return 1.0;
    const double* pMatrices[] = {kUnit, rotation.mP, rotation.mD, rotation.mF};
    double dSum = 0.0;
    for (int i = 0; i < nAtoms; ++i) {
        const int nImage = pAtoms[i].nImage[nOperation] - 1;
        const double *a = vCoefficients + pRanges[i].nFirst,
                     *b = vCoefficients + pRanges[nImage].nFirst;
        for (int l = 0; l < 4 && l * l < pRanges[i].nCount; ++l)
            dSum += ShellTrace(2 * l + 1, pMatrices[l], a + l * l, b + l * l);
    }
    return dSum;
}

double ModeCharacter(int nAtoms, const SymmetryAtom* pAtoms, const AtomRange* pRanges,
                     int nOperation, const ShellRotation& rotation, const double* vDisplacements) {
    if (nOperation == 0) return 1.0;
    double dSum = 0.0;
    for (int i = 0; i < nAtoms; ++i) {
        const int nImage = pAtoms[i].nImage[nOperation] - 1;
        dSum += ShellTrace(3, rotation.mP, vDisplacements + pRanges[i].nFirst,
                           vDisplacements + pRanges[nImage].nFirst);
    }
    return dSum;
}

}  // namespace qsolve
