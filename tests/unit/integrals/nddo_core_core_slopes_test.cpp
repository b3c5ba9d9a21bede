#include "integrals/nddo_core_core.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "integrals/mindo3.h"
#include "integrals/nddo_classical.h"
#include "integrals/nddo_pair_sp.h"
#include "link/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

constexpr double kStep = 1e-3;  ///< of five-point differences, Angstrom

template <class Function>
double Slope(Function f, double R) {
    return (8.0 * (f(R + kStep) - f(R - kStep)) - (f(R + 2.0 * kStep) - f(R - 2.0 * kStep))) /
           (12.0 * kStep);
}

/// Elements of a pair, and distances: of a bond, and where Gaussians are held at exp(-25).
struct CorePair {
    int nMethod, nA, nB;
};
constexpr double kDistances[] = {0.8, 1.1, 1.7, 2.6, 3.9, 7.0};

class CoreCoreSlopes : public FreshState, public testing::WithParamInterface<CorePair> {
  protected:
    CoreCoreSlopes() {
        SetUpJob(Water(GetParam().nMethod));
        a = NddoAtomOf(GetParam().nA);
        b = NddoAtomOf(GetParam().nB);
    }
    double Ss(double R) const {
        if (system.MethodId == kMindo3) return MindoCoulomb(a, b, R);
        double g[kLocalIntegrals];
        ComputeLocalIntegrals(a, b, R, g);
        return g[0];
    }
    double SsSlope(double R) const {
        return Slope([this](double r) { return Ss(r); }, R);
    }
    NddoAtom a, b;
};

TEST_P(CoreCoreSlopes, ExcessHasTheSlopeOfTheEnergy) {
    const double ZZ = a.dCore * b.dCore;
    const bool fMindo = system.MethodId == kMindo3;
    const auto excess = [&](double R) {
        const double dEnergy =
            fMindo ? MindoCoreCore(a, b, R, Ss(R)) : NddoCoreCore(a, b, R, Ss(R));
        return dEnergy - ZZ * Ss(R);
    };
    for (const double R : kDistances) {
        const double dSlope = fMindo ? MindoCoreExcessSlope(a, b, R, Ss(R), SsSlope(R))
                                     : NddoCoreExcessSlope(a, b, R, Ss(R), SsSlope(R));
        EXPECT_NEAR(dSlope, Slope(excess, R), 1e-7 * (1.0 + std::abs(dSlope))) << R;
    }
}

TEST_P(CoreCoreSlopes, OfAClassicalChargeHasTheSlopeOfTheEnergy) {
    const double vDirection[] = {0, 0, 1}, ZZ = a.dCore * b.dCore;
    const bool fMindo = system.MethodId == kMindo3;
    const auto excess = [&](double R) {
        if (fMindo) {
            const double x = std::exp(
                -setup.pMindoPairs[MindoPairIndex(a.Listed.nElement, b.Listed.nElement)].dAlphaAB *
                R);
            return ZZ * (14.399651703941002 / R - Ss(R)) * x;
        }
        double v[kClassicalProducts], f = 0.0;
        ClassicalPotential(a, b, vDirection, R, v, &f);
        return ZZ * v[0] * (f - 1.0);
    };
    for (const double R : kDistances) {
        const double dSlope = fMindo ? ClassicalExcessSlopeMindo(a, b, R, Ss(R), SsSlope(R))
                                     : ClassicalExcessSlopeNddo(a, b, R, Ss(R), SsSlope(R));
        EXPECT_NEAR(dSlope, Slope(excess, R), 1e-7 * (1.0 + std::abs(dSlope))) << R;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, CoreCoreSlopes,
    testing::Values(CorePair{kMndo, 6, 1}, CorePair{kMndo, 1, 8}, CorePair{kMndo, 7, 1},
                    CorePair{kAm1, 8, 1}, CorePair{kAm1, 1, 7}, CorePair{kAm1, 6, 8},
                    CorePair{kAm1, 5, 1}, CorePair{kAm1, 6, 5}, CorePair{kAm1, 5, 9},
                    CorePair{kAm1, 17, 5}, CorePair{kAm1, 5, 7}, CorePair{kPm3, 7, 1},
                    CorePair{kPm3, 16, 17}, CorePair{kMindo3, 6, 1}, CorePair{kMindo3, 1, 7},
                    CorePair{kMindo3, 8, 1}, CorePair{kMindo3, 7, 8}));

}  // namespace
}  // namespace qsolve
