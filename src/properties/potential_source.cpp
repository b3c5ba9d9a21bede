#include "properties/potential_source.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "numeric/decay.h"
#include "numeric/row.h"

namespace qsolve {
namespace {

/// One Slater function of a shell.
struct RadialTerm {
    int l = 0, n = 0;
    double dZeta = 0.0, dWeight = 0.0;
};

/// Part of a multipole that may be left out.
constexpr double kNegligible = 1e-13;

/// Least argument at which the difference 1 - exp(-x) Q_nL(x) has digits enough.
constexpr double LeastArgument(int L) {
    return L == 0 ? 0.3 : L;
}

double ScreeningAt(const ScreenedCloud& cloud, int L, double x) {
    double d = 0.0;
    for (int k = cloud.nPower + L - 1; k >= 0; --k) d = d * x + cloud.vScreening[L][k];
    return std::exp(-x) * d;
}

/// The distance from which on no rank's screening matters.
double ReachOf(const ScreenedCloud& cloud) {
    constexpr double kFarthest = 120.0, kStep = 0.5;
    double x = kFarthest;
    const auto IsNegligible = [&](double dAt) {
        for (int L = 0; L <= kTopRank; ++L)
            if (cloud.fRank[L] && std::abs(ScreeningAt(cloud, L, dAt)) > kNegligible) return false;
        return true;
    };
    while (x > kStep && IsNegligible(x - kStep)) x -= kStep;
    return x / cloud.dZeta;
}

/// The cloud with this n and zeta: an old one, or a new one at the end.
ScreenedCloud& CloudFor(int n, double dZeta, ScreenedCloud* pClouds, int& nClouds) {
    for (int c = 0; c < nClouds; ++c)
        if (pClouds[c].nPower == n && pClouds[c].dZeta == dZeta) return pClouds[c];
    ScreenedCloud& cloud = pClouds[nClouds++];
    cloud = ScreenedCloud{};
    cloud.nPower = n;
    cloud.dZeta = dZeta;
    return cloud;
}

/// Adds the products of two Slater functions, dTimes over, to a cloud. Electrons count negative.
void AddProducts(const AtomDensity& atom, const RadialTerm& a, const RadialTerm& b, double dTimes,
                 ScreenedCloud& cloud) {
    const double dCommon = -dTimes * a.dWeight * b.dWeight * PairFactor(a.n, a.dZeta, b.n, b.dZeta);
    for (int L = std::abs(a.l - b.l); L <= a.l + b.l; L += 2) {
        if (!cloud.fRank[L]) FillScreeningPolynomial(cloud.nPower, L, cloud.vScreening[L]);
        cloud.fRank[L] = true;
        const double dRank =
            dCommon * ExactFactorial(cloud.nPower + L) / std::pow(cloud.dZeta, L + 1);
        for (int i = kShellBegin[a.l]; i < kShellBegin[a.l + 1]; ++i)
            for (int j = kShellBegin[b.l]; j < kShellBegin[b.l + 1]; ++j)
                AddDirectionPolynomial(i, j, L, dRank * Row(atom.mDensity, kAtomOrbitals, i)[j],
                                       cloud.vMoments);
    }
}

/// Lists the Slater functions of an atom, at most four; returns their number.
int ListTerms(const AtomDensity& atom, RadialTerm* pTerms) {
    int nTerms = 0;
    for (int l = 0; l < 3; ++l) {
        const ShellTerms& shell = atom.Shells[l];
        for (int t = 0; t < shell.nTerms; ++t)
            if (IsSlaterOrbital(shell.nPrincipal, l, shell.dZeta[t]))
                pTerms[nTerms++] = {l, shell.nPrincipal, shell.dZeta[t], shell.dWeight[t]};
    }
    return nTerms;
}

// ---- at many points -----------------------------------------------------------------------------

/// A strip of points as one atom sees it.
struct Strip {
    int nPoints = 0;
    double dNearest = 0.0;                       ///< least distance of a point
    double vDistance[kStripPoints];              ///< R
    double vMonomial[kMonomials][kStripPoints];  ///< each divided by R^(2L+1)
};

void FillDistances(const PotentialSource& source, int nPoints, const double* vX, const double* vY,
                   const double* vZ, Strip& strip) {
    double* pX = strip.vMonomial[MonomialIndex(1, 0, 0)];
    double* pY = strip.vMonomial[MonomialIndex(0, 1, 0)];
    double* pZ = strip.vMonomial[MonomialIndex(0, 0, 1)];
    for (int k = 0; k < nPoints; ++k) {
        pX[k] = vX[k] - source.dXyz[0];
        pY[k] = vY[k] - source.dXyz[1];
        pZ[k] = vZ[k] - source.dXyz[2];
        strip.vDistance[k] = std::sqrt(pX[k] * pX[k] + pY[k] * pY[k] + pZ[k] * pZ[k]);
    }
    strip.nPoints = nPoints;
    strip.dNearest = std::numeric_limits<double>::infinity();
    for (int k = 0; k < nPoints; ++k) strip.dNearest = std::min(strip.dNearest, strip.vDistance[k]);
}

/// Turns the differences of coordinates, at the place of the monomials of rank 1, into all
/// monomials up to nTopRank: each is one of the rank below times a coordinate and 1/R^2.
void FillMonomials(int nTopRank, Strip& strip) {
    double vScaled[3][kStripPoints], vInverse[kStripPoints];
    for (int k = 0; k < strip.nPoints; ++k) vInverse[k] = 1.0 / strip.vDistance[k];
    for (int c = 0; c < 3; ++c) {
        const double* pFrom = strip.vMonomial[FirstMonomial(1) + c];
        for (int k = 0; k < strip.nPoints; ++k)
            vScaled[c][k] = pFrom[k] * vInverse[k] * vInverse[k];
    }
    std::copy_n(vInverse, strip.nPoints, strip.vMonomial[0]);
    for (int L = 1; L <= nTopRank; ++L)
        for (int x = L; x >= 0; --x)
            for (int y = L - x; y >= 0; --y) {
                const int z = L - x - y, c = x > 0 ? 0 : y > 0 ? 1 : 2;
                const double* pFrom =
                    strip.vMonomial[MonomialIndex(x - (c == 0), y - (c == 1), z - (c == 2))];
                double* pTo = strip.vMonomial[MonomialIndex(x, y, z)];
                for (int k = 0; k < strip.nPoints; ++k) pTo[k] = pFrom[k] * vScaled[c][k];
            }
}

/// vSum = the polynomial of rank L at the points.
template <int L>
void Evaluate(const double* vMoments, const Strip& strip, double* vSum) {
    constexpr int nFirst = FirstMonomial(L);
    for (int k = 0; k < strip.nPoints; ++k) {
        double d = 0.0;
        for (int m = nFirst; m < nFirst + MonomialsOfRank(L); ++m)
            d += vMoments[m] * strip.vMonomial[m][k];
        vSum[k] = d;
    }
}

void EvaluateRank(int L, const double* vMoments, const Strip& strip, double* vSum) {
    switch (L) {
        case 0:
            return Evaluate<0>(vMoments, strip, vSum);
        case 1:
            return Evaluate<1>(vMoments, strip, vSum);
        case 2:
            return Evaluate<2>(vMoments, strip, vSum);
        case 3:
            return Evaluate<3>(vMoments, strip, vSum);
        default:
            return Evaluate<4>(vMoments, strip, vSum);
    }
}

/// vPotential += the point multipoles of the atom.
void AddMultipoles(const PotentialSource& source, const Strip& strip, double* vPotential) {
    double vSum[kStripPoints];
    for (int L = 0; L <= source.nTopRank; ++L) {
        EvaluateRank(L, source.vMoments, strip, vSum);
        for (int k = 0; k < strip.nPoints; ++k) vPotential[k] += vSum[k];
    }
}

/// vPotential -= what the points do not see of a cloud.
void AddScreening(const ScreenedCloud& cloud, const Strip& strip, double* vPotential) {
    double vArgument[kStripPoints], vDecay[kStripPoints], vQ[kStripPoints], vSum[kStripPoints];
    FillDecay(strip.nPoints, cloud.dZeta, strip.vDistance, vDecay);
    for (int k = 0; k < strip.nPoints; ++k) vArgument[k] = cloud.dZeta * strip.vDistance[k];
    for (int L = 0; L <= kTopRank; ++L) {
        if (!cloud.fRank[L]) continue;
        EvaluateRank(L, cloud.vMoments, strip, vSum);
        std::fill_n(vQ, strip.nPoints, 0.0);
        for (int j = cloud.nPower + L - 1; j >= 0; --j) {
            const double c = cloud.vScreening[L][j];
            for (int k = 0; k < strip.nPoints; ++k) vQ[k] = vQ[k] * vArgument[k] + c;
        }
        for (int k = 0; k < strip.nPoints; ++k) vPotential[k] -= vDecay[k] * vQ[k] * vSum[k];
    }
}

/// The potential where the sum over multipoles does not serve: near the nucleus and far away.
double PotentialAtPoint(const PotentialSource& source, const AtomDensity& atom,
                        const double* pVector, double r) {
    if (!(r >= kNoDistance)) return 0.0;
    if (r > kFarDistance) return source.dNetCharge / r;
    return source.dCore / r - AttractionOfDensity(atom, pVector, r);
}

}  // namespace

void BuildPotentialSource(const AtomDensity& atom, double dCore, ScreenedCloud* pClouds,
                          PotentialSource& source) {
    source.dCore = dCore;
    source.pClouds = pClouds;
    source.nClouds = source.nTopRank = 0;
    std::fill_n(source.vMoments, kMonomials, 0.0);
    source.vMoments[0] = dCore;
    source.dNear = kNoDistance;

    RadialTerm terms[4];
    const int nTerms = ListTerms(atom, terms);
    for (int a = 0; a < nTerms; ++a)
        for (int b = 0; b <= a; ++b)
            AddProducts(atom, terms[a], terms[b], a == b ? 1.0 : 2.0,
                        CloudFor(terms[a].n + terms[b].n, terms[a].dZeta + terms[b].dZeta, pClouds,
                                 source.nClouds));
    for (int c = 0; c < source.nClouds; ++c) {
        ScreenedCloud& cloud = pClouds[c];
        cloud.dReach = ReachOf(cloud);
        for (int m = 0; m < kMonomials; ++m) source.vMoments[m] += cloud.vMoments[m];
        for (int L = 0; L <= kTopRank; ++L) {
            if (!cloud.fRank[L]) continue;
            source.nTopRank = std::max(source.nTopRank, L);
            source.dNear = std::max(source.dNear, LeastArgument(L) / cloud.dZeta);
        }
    }
}

void AddPotential(const PotentialSource& source, const AtomDensity& atom, int nPoints,
                  const double* vX, const double* vY, const double* vZ, double* vPotential) {
    Strip strip;
    double vOfAtom[kStripPoints] = {};
    FillDistances(source, nPoints, vX, vY, vZ, strip);
    FillMonomials(source.nTopRank, strip);
    AddMultipoles(source, strip, vOfAtom);
    for (int c = 0; c < source.nClouds; ++c)
        if (strip.dNearest < source.pClouds[c].dReach)
            AddScreening(source.pClouds[c], strip, vOfAtom);
    for (int k = 0; k < nPoints; ++k) {
        const double r = strip.vDistance[k];
        if (r >= source.dNear && r <= kFarDistance) {
            vPotential[k] += vOfAtom[k];
            continue;
        }
        const double pVector[3] = {vX[k] - source.dXyz[0], vY[k] - source.dXyz[1],
                                   vZ[k] - source.dXyz[2]};
        vPotential[k] += PotentialAtPoint(source, atom, pVector, r);
    }
}

}  // namespace qsolve
