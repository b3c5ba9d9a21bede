#include "integrals/mo_dipole.h"

#include <gtest/gtest.h>

#include <vector>

#include "integrals/atom_list.h"
#include "integrals/mo_integral.h"
#include "job/methods.h"
#include "job/state.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "properties/state.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/fresh_state.h"
#include "tests/support/matrices.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

class MoDipoles : public FreshState, public testing::WithParamInterface<int> {
  protected:
    /// Runs an anion, whose dipole has a reference, with d orbitals where a method has them.
    MoDipoles() {
        const int nHeavy = GetParam() == kMndoD ? 16 : GetParam() == kZindoS ? 22 : 8;
        JobScript script = Molecule(GetParam(), {{nHeavy, 0.1, 0.2, 0.3},
                                                 {6, 1.3, 0.4, 0.1},
                                                 {1, 1.9, -0.6, 0.3},
                                                 {1, 1.9, 1.3, -0.4},
                                                 {1, -0.9, 0.3, 0.5}});
        script.Options.nTotalCharge = -1;
        script.Options.nMultiplicity = 0;
        EnergyOf(script);
        const auto nSize = static_cast<std::size_t>(MoProductSize());
        mForm.resize(3 * nSize);
        vProduct.resize(nSize);
        FillMoDipole(scf.dChargeOrigin, mForm.data());
    }
    /// An element of one axis between two orbitals.
    double Element(int nAxis, const double* a, const double* b) {
        const int n = MoProductSize();
        FillMoProduct(a, b, vProduct.data());
        return Dot(n, Row(mForm.data(), n, nAxis), vProduct.data());
    }
    std::vector<double> mForm, vProduct;
};
INSTANTIATE_TEST_SUITE_P(Methods, MoDipoles,
                         testing::Values(kCndo, kIndo, kZindo1, kZindoS, kMindo3, kMndo, kAm1, kPm3,
                                         kMndoD));

/// The moment of the molecule is made from charges in single precision. In Angstrom it takes 4.803
/// Debye, which is 1.6e-5 more than 2.5416 times the bohr per Angstrom.
TEST_P(MoDipoles, SumToTheDipoleMomentOfTheMolecule) {
    const double dLength = UsesAtomicUnits(GetParam()) ? 1.0 : 1.889725985;
    double dMoment[3] = {};
    for (int i = 0; i < system.nSelected; ++i)
        for (int k = 0; k < 3; ++k)
            dMoment[k] += CoreChargeOf(AtomAt(i).nElement) * dLength *
                          (AtomAt(i).pXyz[k] - scf.dChargeOrigin[k]);
    for (int m = 0; m < setup.nOccupied; ++m)
        for (int k = 0; k < 3; ++k) {
            const double* c = Row(scf.mVectorsA.Data(), setup.nOrbitals, m);
            dMoment[k] += (m < setup.nDoublyOcc ? 2.0 : 1.0) * Element(k, c, c);
        }
    const double* pSum = properties.dDipoleTable[3];
    const double dTolerance = 1e-5 + (UsesAtomicUnits(GetParam()) ? 0.0 : 2e-5 * pSum[3]);
    EXPECT_GT(pSum[3], 0.5);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(2.5416 * dMoment[k], pSum[k], dTolerance) << k;
}

/// With the origin at an atom, what is left of that atom is its hybrids: equal bilinear forms in
/// either order, linear in each orbital.
TEST_P(MoDipoles, AreBilinearAndSymmetric) {
    const int n = setup.nOrbitals;
    const TestMatrix c = RandomMatrix(3, n, 11);
    std::vector<double> sum;
    for (int i = 0; i < n; ++i) sum.push_back(c(0, i) + 2.0 * c(1, i));
    const double *a = c.Data(), *b = Row(a, n, 1), *other = Row(a, n, 2);
    for (int k = 0; k < 3; ++k) {
        const double dA = Element(k, a, other), dB = Element(k, b, other);
        EXPECT_NEAR(Element(k, other, a), dA, 1e-12);
        EXPECT_NEAR(Element(k, sum.data(), other), dA + 2.0 * dB, 1e-11);
    }
}

TEST_P(MoDipoles, MoveWithTheirOriginByTheOverlap) {
    const int n = setup.nOrbitals;
    const TestMatrix c = RandomMatrix(2, n, 3);
    const double *a = c.Data(), *b = Row(a, n, 1);
    const double dBefore = Element(1, a, b);
    const double dOrigin[3] = {scf.dChargeOrigin[0], scf.dChargeOrigin[1] + 0.7,
                               scf.dChargeOrigin[2]};
    FillMoDipole(dOrigin, mForm.data());
    const double dLength = UsesAtomicUnits(GetParam()) ? 1.0 : 1.889725985;
    EXPECT_NEAR(Element(1, a, b), dBefore + 0.7 * dLength * Dot(n, a, b), 1e-11);
}

}  // namespace
}  // namespace qsolve
