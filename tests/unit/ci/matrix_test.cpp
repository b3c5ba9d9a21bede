#include "ci/matrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "job/methods.h"
#include "job/state.h"
#include "numeric/row.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/ci_case.h"
#include "tests/support/fresh_state.h"

namespace qsolve {
namespace {

/// How far the SCF converges leaves elements of its Fock matrix, eV; and CNDO has an exchange of
/// 1e-5 hartree in the interaction that it does not have in the SCF.
constexpr double kConverged = 5e-6, kCndoExchange = 5e-4;

class CiMatrix : public FreshState, public testing::WithParamInterface<CiCase> {
  protected:
    CiMatrix() {
        RunCase(GetParam());
        PlaceConfigurations(ci);
        FillLists(ci.Configs, ci.Lists);
        const double* pFirst = Row(scf.mVectorsA.Data(), setup.nOrbitals, ci.Window.nBelow);
        FillMoTable(ci.Window.nLevels, pFirst, scf.dChargeOrigin, ci.Table);
        FillActiveEnergies(ci.Window, scf.vEnergyA.Data(), ci.Table, ci.Energies);
    }
    CiOperator Operator() const { return {ci.Window, ci.Table, ci.Energies, ci.Configs, ci.Lists}; }
    /// In the unit of the method.
    static double Tolerance() {
        const double dEv = GetParam().nMethod == kCndo ? kCndoExchange : kConverged;
        return UsesAtomicUnits(system.MethodId) ? dEv / 27.2 : dEv;
    }
    Interaction ci;
};
INSTANTIATE_TEST_SUITE_P(Cases, CiMatrix, testing::ValuesIn(AllCases()),
                         [](const auto& test) { return NameOf(test.param); });

/// Every element, those between three and more electrons included, which are never computed.
TEST_P(CiMatrix, IsTheHamiltonianBetweenTheDeterminants) {
    const int n = ci.Configs.nConfigs;
    TestMatrix mElements(n, n);
    ForEachElement(Operator(), [&](int k, int q, double d) {
        EXPECT_EQ(mElements(k, q), 0.0) << "twice: " << k << " " << q;
        mElements(k, q) = mElements(q, k) = d;
    });
    const ElectronsOfWindow electrons(ci.Window.nBelow, ci.Window.nLevels);
    const double dBelow = electrons.FrozenEnergy() - LevelsOfScf().dEnergy;
    double dLargest = 0.0;
    for (int k = 0; k < n; ++k) {
        Vector h = electrons.Hamilton({{BitsOf(ci.Configs, k), 1.0}});
        h[BitsOf(ci.Configs, k)] += dBelow;
        for (int q = 0; q < n; ++q)
            dLargest = std::max(dLargest, std::abs(h[BitsOf(ci.Configs, q)] - mElements(k, q)));
    }
    EXPECT_LT(dLargest, Tolerance());
    EXPECT_NEAR(ci.Energies.dReference, -dBelow, Tolerance());
    for (int i = 0; i < ci.Window.nLevels; ++i)
        EXPECT_NEAR(ci.Energies.vActiveEnergy[i], electrons.One(i, i), Tolerance()) << i;
}

}  // namespace
}  // namespace qsolve
