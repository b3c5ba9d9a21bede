#include "gradient/cndo_gradient.h"

#include <algorithm>

#include "gradient/radial_pair.h"
#include "integrals/coulomb_matrices.h"
#include "integrals/diatomic_block.h"
#include "integrals/zindo_core.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// An atom with what its pairs need.
struct CndoAtom {
    ListedAtom Listed;
    AtomClouds Clouds;                     ///< ZINDO/S: none
    double dGammaSp = 0.0, dGammaD = 0.0;  ///< ZINDO/S: one-centre values, eV
    double dCore = 0.0;                    ///< core charge
    ShellPopulations Electrons;
};

CndoAtom CndoAtomAt(int nPosition, const double* mDensityT) {
    CndoAtom atom;
    atom.Listed = AtomAt(nPosition);
    if (atom.Listed.IsDummy()) return atom;
    atom.dCore = CoreChargeOf(atom.Listed.nElement);
    atom.Electrons = PopulationsOf(atom.Listed, mDensityT);
    if (system.MethodId == kZindoS) {
        const GammaRow& row = setup.pGamma[atom.Listed.Row()];
        atom.dGammaSp = row.dGammaSS;
        atom.dGammaD = row.dGammaDD;
    } else {
        atom.Clouds = CloudsOf(atom.Listed);
    }
    return atom;
}

/// Derivatives of the Slater Coulomb integrals of a pair with respect to its distance.
CoulombBlock SlaterSlopes(const CndoAtom& a, const CndoAtom& b, double R) {
    const auto Slope = [R](const SlaterCloud& p, const SlaterCloud& q) {
        return EvaluateSlaterCoulombSlope(p, q, R).dSlope;
    };
    CoulombBlock slopes;
    slopes.dSpSp = Slope(a.Clouds.sp, b.Clouds.sp);
    if (b.Listed.HasD()) slopes.dSpD = Slope(a.Clouds.sp, b.Clouds.d);
    if (a.Listed.HasD()) slopes.dDSp = Slope(a.Clouds.d, b.Clouds.sp);
    if (a.Listed.HasD() && b.Listed.HasD()) slopes.dDD = Slope(a.Clouds.d, b.Clouds.d);
    return slopes;
}

/// The same by Mataga and Nishimoto, without a cut-off. Where there are no one-centre values the
/// offset is infinite and the slope 0.
CoulombBlock MatagaSlopes(const CndoAtom& a, const CndoAtom& b, double R) {
    const auto Slope = [R](double dG1, double dG2) {
        const double d = R + MatagaOffset(dG1, dG2);
        return -kMatagaStrength / (d * d);
    };
    CoulombBlock slopes;
    slopes.dSpSp = Slope(a.dGammaSp, b.dGammaSp);
    if (b.Listed.HasD()) slopes.dSpD = Slope(a.dGammaSp, b.dGammaD);
    if (a.Listed.HasD()) slopes.dDSp = Slope(a.dGammaD, b.dGammaSp);
    if (a.Listed.HasD() && b.Listed.HasD()) slopes.dDD = Slope(a.dGammaD, b.dGammaD);
    return slopes;
}

/// Those of the method, 0 where its integrals do not change with the distance.
CoulombBlock SlopesOf(const CndoAtom& a, const CndoAtom& b, double R) {
    if (R < kNearest) return {};
    if (system.MethodId == kZindoS) return MatagaSlopes(a, b, R);
    if (R < kFarthest) return SlaterSlopes(a, b, R);
    const double d = further.Scf.fFarRepulsion ? -1.0 / (R * R) : 0.0;
    return {d, d, d, d};
}

/// Adds the squares of a density's elements between two atoms to the sums of their shells.
void AddSquares(const ListedAtom& a, const ListedAtom& b, const double* mDensity, double dWeight,
                CoulombBlock& sums) {
    for (int i = 0; i < a.nOrbitals; ++i) {
        const double* P = Row(mDensity, setup.nOrbitals, a.nFirst + i) + b.nFirst;
        double dSp = 0.0, dD = 0.0;
        for (int j = 0; j < b.nOrbitals; ++j) (j < kFirstD ? dSp : dD) += P[j] * P[j];
        (i < kFirstD ? sums.dSpSp : sums.dDSp) += dWeight * dSp;
        (i < kFirstD ? sums.dSpD : sums.dDD) += dWeight * dD;
    }
}

/// Repulsion of the electrons of A and B along their distance.
double Repulsion(const CndoAtom& a, const CndoAtom& b, const CoulombBlock& slopes,
                 const double* mDensityA, const double* mDensityB) {
    CoulombBlock exchange;
    AddSquares(a.Listed, b.Listed, mDensityA, mDensityB ? 1.0 : 2.0, exchange);
    if (mDensityB) AddSquares(a.Listed, b.Listed, mDensityB, 1.0, exchange);
    const ShellPopulations &p = a.Electrons, &q = b.Electrons;
    return (p.dSp * q.dSp - exchange.dSpSp) * slopes.dSpSp +
           (p.dSp * q.dD - exchange.dSpD) * slopes.dSpD +
           (p.dD * q.dSp - exchange.dDSp) * slopes.dDSp + (p.dD * q.dD - exchange.dDD) * slopes.dDD;
}

/// Attraction of the electrons of A by the core of B and of those of B by the core of A.
double Attraction(const CndoAtom& a, const CndoAtom& b, const CoulombBlock& g) {
    const ShellPopulations &p = a.Electrons, &q = b.Electrons;
    if (FamilyOf(system.MethodId) == Family::kCndo)
        return -((p.dSp + p.dD) * b.dCore + (q.dSp + q.dD) * a.dCore) * g.dSpSp;
    return -p.dSp * ZindoCoreAttraction(b.Listed, g.dSpSp, g.dSpD) -
           p.dD * ZindoCoreAttraction(b.Listed, g.dDSp, g.dDD) -
           q.dSp * ZindoCoreAttraction(a.Listed, g.dSpSp, g.dDSp) -
           q.dD * ZindoCoreAttraction(a.Listed, g.dSpD, g.dDD);
}

/// Repulsion of the cores. Point charges within kNearest keep the field of a ball of that radius,
/// so that it drives them apart.
double CoreRepulsion(const CndoAtom& a, const CndoAtom& b, const CoulombBlock& slopes, double R) {
    const double ZZ = a.dCore * b.dCore, dFloored = std::max(R, kNearest);
    if (system.MethodId == kZindoS) return ZZ * slopes.dSpSp;
    return -ZZ * R / (dFloored * dFloored * dFloored);
}

/// The derivative of the energy of a pair with respect to its distance R.
double PairSlope(const CndoAtom& a, const CndoAtom& b, double R, const double* mDensityA,
                 const double* mDensityB) {
    const CoulombBlock slopes = SlopesOf(a, b, R);
    return Repulsion(a, b, slopes, mDensityA, mDensityB) + Attraction(a, b, slopes) +
           CoreRepulsion(a, b, slopes, R);
}

}  // namespace

void AddCndoGradient(const double* mDensityT, const double* mDensityA, const double* mDensityB,
                     double* pGradient) {
    Array<CndoAtom> pAtoms;
    pAtoms.Take(static_cast<std::size_t>(system.nSelected), kWork);
    for (int iA = 0; iA < system.nSelected; ++iA) {
        pAtoms[iA] = CndoAtomAt(iA, mDensityT);
        const CndoAtom& a = pAtoms[iA];
        for (int iB = 0; iB < iA; ++iB) {
            const CndoAtom& b = pAtoms[iB];
            if (a.Listed.IsDummy() || b.Listed.IsDummy()) continue;
            const double R = Distance(a.Listed.pXyz, b.Listed.pXyz);
            if (!(R > 0.0)) continue;
            const double dSlope = PairSlope(a, b, R, mDensityA, mDensityB);
            AddRadial(a.Listed.pXyz, b.Listed.pXyz, R, dSlope, Row(pGradient, 3, iA));
            AddRadial(b.Listed.pXyz, a.Listed.pXyz, R, dSlope, Row(pGradient, 3, iB));
        }
        Yield(static_cast<std::size_t>(system.nSelected));
    }
}

}  // namespace qsolve
