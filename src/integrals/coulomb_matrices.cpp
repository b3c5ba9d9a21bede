#include "integrals/coulomb_matrices.h"

#include <cmath>

#include "algebra/mirror.h"
#include "integrals/diatomic_block.h"
#include "job/state.h"
#include "link/link.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// A d-d sum of one-centre values below this, hartree, counts as no parameters at all, and this is
/// then the integral itself.
constexpr double kNoMatagaValue = 1e-10;

CoulombBlock SlaterBlock(const ListedAtom& a, const ListedAtom& b) {
    const double R = Distance(a.pXyz, b.pXyz);
    CoulombBlock block;
    if (R >= kFarthest && further.Scf.fFarRepulsion) return {1.0 / R, 1.0 / R, 1.0 / R, 1.0 / R};
    if (!(R >= kNearest && R < kFarthest)) return block;
    const AtomClouds ca = CloudsOf(a), cb = CloudsOf(b);
    block.dSpSp = EvaluateSlaterCoulomb(ca.sp, cb.sp, R);
    if (b.HasD()) block.dSpD = EvaluateSlaterCoulomb(ca.sp, cb.d, R);
    if (a.HasD()) block.dDSp = EvaluateSlaterCoulomb(ca.d, cb.sp, R);
    if (a.HasD() && b.HasD()) block.dDD = EvaluateSlaterCoulomb(ca.d, cb.d, R);
    return block;
}

CoulombBlock OneCentreSlaterBlock(const ListedAtom& a) {
    const AtomClouds clouds = CloudsOf(a);
    CoulombBlock block;
    block.dSpSp = OneCentreCoulomb(clouds.sp, clouds.sp);
    if (!a.HasD()) return block;
    block.dDSp = OneCentreCoulomb(clouds.d, clouds.sp);
    block.dSpD = OneCentreCoulomb(clouds.sp, clouds.d);
    block.dDD = OneCentreCoulomb(clouds.d, clouds.d);
    return block;
}

double MatagaValue(double R, double dG1, double dG2) {
    return kMatagaStrength / (R + MatagaOffset(dG1, dG2));
}

CoulombBlock MatagaBlock(const ListedAtom& a, const ListedAtom& b) {
    const double R = Distance(a.pXyz, b.pXyz);
    const GammaRow& ga = setup.pGamma[a.Row()];
    const GammaRow& gb = setup.pGamma[b.Row()];
    CoulombBlock block;
    block.dSpSp = MatagaValue(R, ga.dGammaSS, gb.dGammaSS);
    if (b.HasD()) block.dSpD = MatagaValue(R, ga.dGammaSS, gb.dGammaDD);
    if (a.HasD()) block.dDSp = MatagaValue(R, ga.dGammaDD, gb.dGammaSS);
    if (!a.HasD() || !b.HasD()) return block;
    const bool fNone = std::abs(kHartreePerEv * (ga.dGammaDD + gb.dGammaDD)) < kNoMatagaValue;
    block.dDD = fNone ? kNoMatagaValue : MatagaValue(R, ga.dGammaDD, gb.dGammaDD);
    return block;
}

CoulombBlock OneCentreMatagaBlock(const ListedAtom& a) {
    const GammaRow& g = setup.pGamma[a.Row()];
    const double dSD = kHartreePerEv * g.dGammaSD;
    return {kHartreePerEv * g.dGammaSS, dSD, dSD, kHartreePerEv * g.dGammaDD};
}

enum class Formula { kSlater, kMataga };

template <Formula formula>
void BuildCoulombMatrix(double* mCoulomb, int nLeading, int nOrbitals) {
    for (int iA = 0; iA < system.nSelected; ++iA) {
        const ListedAtom a = AtomAt(iA);
        if (a.IsDummy()) continue;
        for (int iB = 0; iB < iA; ++iB) {
            const ListedAtom b = AtomAt(iB);
            if (b.IsDummy()) continue;
            StoreCoulombBlock(a, b,
                              formula == Formula::kSlater ? SlaterBlock(a, b) : MatagaBlock(a, b),
                              mCoulomb, nLeading);
        }
        StoreCoulombBlock(
            a, a, formula == Formula::kSlater ? OneCentreSlaterBlock(a) : OneCentreMatagaBlock(a),
            mCoulomb, nLeading);
        Yield(static_cast<std::size_t>(nOrbitals));
    }
    CopyLowerToUpper(mCoulomb, nLeading, nOrbitals);
}

}  // namespace

AtomClouds CloudsOf(const ListedAtom& atom) {
    AtomClouds clouds;
    if (atom.nOrbitals < 1) return clouds;
    clouds.sp = {setup.vOrbitalShell[atom.nFirst], setup.vZeta1[atom.nFirst]};
    if (!atom.HasD()) return clouds;
    const bool fZindo = FamilyOf(system.MethodId) == Family::kZindo;
    clouds.d = {clouds.sp.nPrincipal - 1, fZindo ? setup.pZindo[atom.Row()].dZetaD
                                                 : parameters.pCindoParams[atom.Row()].dZetaD};
    return clouds;
}

double MatagaOffset(double dG1, double dG2) {
    return 2.0 * kMatagaStrength / ((dG1 + dG2) * kHartreePerEv);
}

void BuildSlaterCoulombMatrix(double* mCoulomb, int nLeading, int nOrbitals) {
    BuildCoulombMatrix<Formula::kSlater>(mCoulomb, nLeading, nOrbitals);
}

void BuildMatagaCoulombMatrix(double* mCoulomb, int nLeading, int nOrbitals) {
    BuildCoulombMatrix<Formula::kMataga>(mCoulomb, nLeading, nOrbitals);
}

}  // namespace qsolve
