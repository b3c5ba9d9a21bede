#include "properties/orbital_values.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "integrals/integrals.h"
#include "job/atoms.h"
#include "numeric/decay.h"
#include "properties/plot_positions.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Factors of the real spherical harmonics, by shell: sqrt(1 / 4 pi), sqrt(3 / 4 pi), and
/// sqrt(15 / 4 pi) of d(xy).
constexpr double kFactorS = 0.28209479177387814;
constexpr double kFactorP = 0.48860251190291992;
constexpr double kFactorD = 1.0925484305920792;

/// exp(-kFaintest) times any power of the exponent that a Slater orbital has is below the smallest
/// float.
constexpr double kFaintest = 150.0;

double RadialFactor(int n, int l, double dZeta) {
    if (!IsSlaterOrbital(n, l, dZeta)) return 0.0;
    return std::pow(2.0 * dZeta, n + 0.5) / std::sqrt(ExactFactorial(2 * n));
}

/// r^l Y of an orbital type, from 1; 0 for an unknown one.
double AngularPolynomial(int nType, double x, double y, double z) {
    switch (nType) {
        case 1:
            return kFactorS;
        case 2:
            return kFactorP * x;
        case 3:
            return kFactorP * y;
        case 4:
            return kFactorP * z;
        case 5:
            return kFactorD * (2.0 * z * z - x * x - y * y) / (2.0 * std::numbers::sqrt3);
        case 6:
            return kFactorD * z * x;
        case 7:
            return kFactorD * y * z;
        case 8:
            return kFactorD * (x * x - y * y) / 2.0;
        case 9:
            return kFactorD * x * y;
        default:
            return 0.0;
    }
}

/// The strip of points as one atom sees it.
struct View {
    int nPoints;
    double vX[kStripPoints], vY[kStripPoints], vZ[kStripPoints], vR[kStripPoints];
    double vDecay[kStripPoints];
    double dZetaOfDecay = -1.0;  ///< exponent of vDecay, which shells may share
};

void LookFrom(const AtomOrbitals& atom, const double* vX, const double* vY, const double* vZ,
              View& view) {
    for (int i = 0; i < view.nPoints; ++i) {
        const double x = vX[i] - atom.dXyz[0], y = vY[i] - atom.dXyz[1], z = vZ[i] - atom.dXyz[2];
        view.vX[i] = x;
        view.vY[i] = y;
        view.vZ[i] = z;
        view.vR[i] = std::sqrt(x * x + y * y + z * z);
    }
}

/// vRadial = r^(n-1-l) times the sum of the terms' exponentials with their factors.
void FillRadial(const ShellTerms& shell, int l, const double* pFactor, View& view,
                double* vRadial) {
    std::fill_n(vRadial, view.nPoints, 0.0);
    for (int t = 0; t < shell.nTerms; ++t) {
        if (pFactor[t] == 0.0) continue;
        if (view.dZetaOfDecay != shell.dZeta[t])
            FillDecay(view.nPoints, shell.dZeta[t], view.vR, view.vDecay);
        view.dZetaOfDecay = shell.dZeta[t];
        for (int i = 0; i < view.nPoints; ++i) vRadial[i] += pFactor[t] * view.vDecay[i];
    }
    for (int nPower = 0; nPower < shell.nPrincipal - 1 - l; ++nPower)
        for (int i = 0; i < view.nPoints; ++i) vRadial[i] *= view.vR[i];
}

void FillP(const View& view, const double* vRadial, double (*mValue)[kStripPoints]) {
    for (int i = 0; i < view.nPoints; ++i) {
        const double f = kFactorP * vRadial[i];
        mValue[0][i] = f * view.vX[i];
        mValue[1][i] = f * view.vY[i];
        mValue[2][i] = f * view.vZ[i];
    }
}

void FillD(const View& view, const double* vRadial, double (*mValue)[kStripPoints]) {
    constexpr double kInvTwiceSqrt3 = 0.5 * std::numbers::inv_sqrt3;
    for (int i = 0; i < view.nPoints; ++i) {
        const double x = view.vX[i], y = view.vY[i], z = view.vZ[i];
        const double f = kFactorD * vRadial[i];
        mValue[0][i] = f * kInvTwiceSqrt3 * (2.0 * z * z - x * x - y * y);
        mValue[1][i] = f * z * x;
        mValue[2][i] = f * y * z;
        mValue[3][i] = f * 0.5 * (x * x - y * y);
        mValue[4][i] = f * x * y;
    }
}

}  // namespace

double SlaterOrbitalValue(int nOrbital, double x, double y, double z, double dZeta) {
    const float* pPlace = PlotPlace(setup.vOrbitalAtom[nOrbital]);
    const int n = setup.vOrbitalShell[nOrbital], nType = setup.vOrbitalType[nOrbital];
    const int l = ShellOfOrbital(nType - 1);
    const double dX = x - static_cast<double>(pPlace[0]), dY = y - static_cast<double>(pPlace[1]),
                 dZ = z - static_cast<double>(pPlace[2]);
    const double r = std::sqrt(dX * dX + dY * dY + dZ * dZ);
    const double dFactor = RadialFactor(n, l, dZeta);
    if (dFactor == 0.0) return 0.0;
    return dFactor * std::pow(r, n - 1 - l) * std::exp(-dZeta * r) *
           AngularPolynomial(nType, dX, dY, dZ);
}

AtomOrbitals OrbitalsOfAtom(int nPosition, double dLeastWeight) {
    AtomOrbitals atom;
    std::copy_n(PlotPlace(AtomNumberAt(nPosition)), 3, atom.dXyz);
    atom.nFirst = setup.Map.pFirstOrbital[nPosition] - 1;
    atom.nOrbitals = setup.Map.pLastOrbital[nPosition] - atom.nFirst;
    double dSmallest = std::numeric_limits<double>::infinity();
    for (int l = 0; l < 3; ++l) {
        if (kShellBegin[l] >= atom.nOrbitals) break;
        ShellTerms& shell = atom.Shells[l];
        shell = TermsOfOrbital(atom.nFirst + kShellBegin[l]);
        if (shell.nTerms == 2 && shell.dWeight[1] < dLeastWeight) {
            shell.nTerms = 1;
            shell.dWeight[0] = 1.0;
        }
        for (int t = 0; t < shell.nTerms; ++t) {
            atom.dFactor[l][t] =
                shell.dWeight[t] * RadialFactor(shell.nPrincipal, l, shell.dZeta[t]);
            if (atom.dFactor[l][t] != 0.0) dSmallest = std::min(dSmallest, shell.dZeta[t]);
        }
    }
    atom.dReach = kFaintest / dSmallest;
    return atom;
}

bool IsOutOfReach(const AtomOrbitals& atom, const double* pStart, const double* pStep,
                  int nPoints) {
    // Every point lies within half the strip's length of its middle.
    const double dHalf = 0.5 * (nPoints - 1);
    double dToMiddle = 0.0, dStep = 0.0;
    for (int c = 0; c < 3; ++c) {
        const double d = pStart[c] + dHalf * pStep[c] - atom.dXyz[c];
        dToMiddle += d * d;
        dStep += pStep[c] * pStep[c];
    }
    return std::sqrt(dToMiddle) - dHalf * std::sqrt(dStep) > atom.dReach;
}

void FillOrbitalValues(const AtomOrbitals& atom, int nPoints, const double* vX, const double* vY,
                       const double* vZ, OrbitalValues& values) {
    View view;
    view.nPoints = nPoints;
    LookFrom(atom, vX, vY, vZ, view);
    double vRadial[kStripPoints];
    for (int l = 0; l < 3 && kShellBegin[l] < atom.nOrbitals; ++l) {
        FillRadial(atom.Shells[l], l, atom.dFactor[l], view, vRadial);
        double(*mValue)[kStripPoints] = values.mValue + kShellBegin[l];
        if (l == 0)
            for (int i = 0; i < nPoints; ++i) mValue[0][i] = kFactorS * vRadial[i];
        else if (l == 1)
            FillP(view, vRadial, mValue);
        else
            FillD(view, vRadial, mValue);
    }
}

}  // namespace qsolve
