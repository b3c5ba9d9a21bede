#include "gradient/classical_gradient.h"

#include "gradient/radial_pair.h"
#include "integrals/classical_charges.h"
#include "integrals/coulomb_matrices.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Derivatives of the repulsions of a selected atom's shells with a classical one.
struct ShellSlopes {
    double dSp = 0.0, dD = 0.0;
};

ShellSlopes SlopesSlater(const ListedAtom& a, int nElement, double R) {
    const AtomClouds clouds = CloudsOf(a);
    const SlaterCloud classical = ClassicalCloud(nElement);
    const double dReach = ClassicalReach(clouds.sp, classical);
    ShellSlopes s;
    s.dSp = ClassicalSlaterCoulombSlope(clouds.sp, classical, dReach, R).dSlope;
    if (a.HasD()) s.dD = ClassicalSlaterCoulombSlope(clouds.d, classical, dReach, R).dSlope;
    return s;
}

ShellSlopes SlopesMataga(const ListedAtom& a, int nElement, double R) {
    const GammaRow& row = setup.pGamma[a.Row()];
    const double dClassical = setup.pGamma[nElement - 1].dGammaSS;
    ShellSlopes s;
    s.dSp = ClassicalMatagaCoulomb(row.dGammaSS, dClassical, R).dSlope;
    if (a.HasD()) s.dD = ClassicalMatagaCoulomb(row.dGammaDD, dClassical, R).dSlope;
    return s;
}

/// The derivative of the energy of a selected atom and a classical one with respect to their
/// distance.
double PairSlope(const ListedAtom& a, const ShellPopulations& electrons,
                 const AtomRecord& classical, double R) {
    const int nElement = classical.nAtomicNumber;
    const ShellSlopes g =
        system.MethodId == kZindoS ? SlopesMataga(a, nElement, R) : SlopesSlater(a, nElement, R);
    const double q = static_cast<double>(classical.flCharge), Z = CoreChargeOf(nElement);
    return -q * (electrons.dSp * g.dSp + electrons.dD * g.dD) +
           CoreChargeOf(a.nElement) * (Z * ClassicalPointCharge(R).dSlope - (Z - q) * g.dSp);
}

}  // namespace

void AddClassicalChargeGradient(const double* mDensityT, double* pGradient) {
    for (int iA = 0; iA < system.nSelected; ++iA) {
        const ListedAtom a = AtomAt(iA);
        if (a.IsDummy()) continue;
        const ShellPopulations electrons = PopulationsOf(a, mDensityT);
        for (int nAtom = 0; nAtom < system.nAtoms; ++nAtom) {
            if (!IsClassicalCharge(nAtom)) continue;
            const double* pXyz = Row(system.pCoords.Data(), 3, nAtom);
            const double R = Distance(a.pXyz, pXyz);
            if (R > 0.0)
                AddRadial(a.pXyz, pXyz, R, PairSlope(a, electrons, system.pAtoms[nAtom], R),
                          Row(pGradient, 3, iA));
        }
        Yield(static_cast<std::size_t>(system.nAtoms));
    }
}

}  // namespace qsolve
