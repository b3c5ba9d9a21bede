#include "integrals/classical_charges.h"

#include <algorithm>
#include <cmath>

#include "integrals/coulomb_matrices.h"
#include "integrals/diatomic_block.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Distances below this count as this in 1/R, bohr.
constexpr double kCoincident = 1e-6;

/// Radii within which the true shape of the clouds is kept.
constexpr double kRadiiInReach = 6.0;

/// Highest shell of a classical atom that has a radius.
constexpr int kHighestRadiusShell = 3;

enum class Range { kTrueClouds, kSmallClouds, kPointCharge };

Range RangeOf(double dReach, double R) {
    const bool fNear = R < kRadiiInReach * dReach;
    if (R >= kFarthest || (fNear && R <= kNearest)) return Range::kPointCharge;
    return fNear ? Range::kTrueClouds : Range::kSmallClouds;
}

/// Repulsions of the shells of a selected atom with a classical one.
struct ShellRepulsion {
    double dSp = 0.0, dD = 0.0;
};

ShellRepulsion RepulsionSlater(const ListedAtom& a, int nElementP, double R) {
    const AtomClouds clouds = CloudsOf(a);
    const SlaterCloud classical = ClassicalCloud(nElementP);
    const double dReach = ClassicalReach(clouds.sp, classical);
    ShellRepulsion g;
    g.dSp = ClassicalSlaterCoulomb(clouds.sp, classical, dReach, R);
    if (a.HasD()) g.dD = ClassicalSlaterCoulomb(clouds.d, classical, dReach, R);
    return g;
}

ShellRepulsion RepulsionMataga(const ListedAtom& a, int nElementP, double R) {
    const GammaRow& ga = setup.pGamma[a.Row()];
    const double dClassical = setup.pGamma[nElementP - 1].dGammaSS;
    ShellRepulsion g;
    g.dSp = ClassicalMatagaCoulomb(ga.dGammaSS, dClassical, R).dValue;
    if (a.HasD()) g.dD = ClassicalMatagaCoulomb(ga.dGammaDD, dClassical, R).dValue;
    return g;
}

/// The potential of all classical charges at the shells of one atom, and its energy term t.
struct AtomPotential {
    double dSp = 0.0, dD = 0.0, dEnergy = 0.0;
};

AtomPotential PotentialAt(const ListedAtom& a) {
    AtomPotential v;
    for (int nAtom = 0; nAtom < system.nAtoms; ++nAtom) {
        if (!IsClassicalCharge(nAtom)) continue;
        const AtomRecord& record = system.pAtoms[nAtom];
        const double R = Distance(a.pXyz, Row(system.pCoords.Data(), 3, nAtom));
        const ShellRepulsion g = system.MethodId == kZindoS
                                     ? RepulsionMataga(a, record.nAtomicNumber, R)
                                     : RepulsionSlater(a, record.nAtomicNumber, R);
        const double q = record.flCharge, Z = CoreChargeOf(record.nAtomicNumber);
        v.dSp -= q * g.dSp;
        v.dD -= q * g.dD;
        v.dEnergy += Z * ClassicalPointCharge(R).dValue - (Z - q) * g.dSp;
    }
    return v;
}

}  // namespace

bool IsClassicalCharge(int nAtom) {
    const AtomRecord& record = system.pAtoms[nAtom];
    return record.nState == kClassical && !(std::abs(record.flCharge) < kSmallestCharge) &&
           record.nAtomicNumber >= 1 && record.nAtomicNumber <= kHighestElement;
}

SlaterCloud ClassicalCloud(int nElement) {
    const int nRow = nElement - 1;
    const bool fZindo = FamilyOf(system.MethodId) == Family::kZindo;
    return {kPrincipalQuantum[nRow],
            fZindo ? setup.pZindo[nRow].dZetaS : parameters.pCindoParams[nRow].dZetaS};
}

double ClassicalReach(const SlaterCloud& selected, const SlaterCloud& classical) {
    if (classical.nPrincipal > kHighestRadiusShell) return 0.0;
    return std::min((selected.nPrincipal + 0.5) / selected.dZeta,
                    (classical.nPrincipal + 0.5) / classical.dZeta);
}

RadialValue ClassicalPointCharge(double dDistance) {
    // The derivative is that of a vector over R^3, with R^3 bounded in the same way.
    const double d = 1.0 / std::max(dDistance, kCoincident);
    return {d, -dDistance * d * d * d};
}

double ClassicalSlaterCoulomb(const SlaterCloud& shell, const SlaterCloud& classical, double dReach,
                              double dDistance) {
    switch (RangeOf(dReach, dDistance)) {
        case Range::kTrueClouds:
            return EvaluateSlaterCoulomb(shell, classical, dDistance);
        case Range::kSmallClouds:
            return EvaluateSlaterCoulomb({1, shell.dZeta}, {1, classical.dZeta}, dDistance);
        case Range::kPointCharge:
            break;
    }
    return ClassicalPointCharge(dDistance).dValue;
}

RadialValue ClassicalSlaterCoulombSlope(const SlaterCloud& shell, const SlaterCloud& classical,
                                        double dReach, double dDistance) {
    switch (RangeOf(dReach, dDistance)) {
        case Range::kTrueClouds:
            return EvaluateSlaterCoulombSlope(shell, classical, dDistance);
        case Range::kSmallClouds:
            return EvaluateSlaterCoulombSlope({1, shell.dZeta}, {1, classical.dZeta}, dDistance);
        case Range::kPointCharge:
            break;
    }
    return ClassicalPointCharge(dDistance);
}

RadialValue ClassicalMatagaCoulomb(double dGammaShell, double dGammaClassical, double dDistance) {
    const double dSum =
        std::max(dDistance, kCoincident) + MatagaOffset(dGammaShell, dGammaClassical);
    return {kMatagaStrength / dSum, -kMatagaStrength / (dSum * dSum)};
}

double AddClassicalCharges(double* mCore, int nLeading) {
    double dEnergy = 0.0;
    for (int iA = 0; iA < system.nSelected; ++iA) {
        const ListedAtom a = AtomAt(iA);
        if (a.IsDummy()) continue;
        const AtomPotential v = PotentialAt(a);
        dEnergy += CoreChargeOf(a.nElement) * v.dEnergy;
        for (int i = 0; i < a.nOrbitals; ++i)
            Row(mCore, nLeading, a.nFirst + i)[a.nFirst + i] += i < kFirstD ? v.dSp : v.dD;
        Yield(static_cast<std::size_t>(system.nAtoms));
    }
    return dEnergy;
}

}  // namespace qsolve
