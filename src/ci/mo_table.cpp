#include "ci/mo_table.h"

#include <algorithm>
#include <cstddef>

#include "integrals/mo_dipole.h"
#include "integrals/mo_integral.h"
#include "link/link.h"
#include "numeric/product.h"
#include "numeric/rank_update.h"
#include "numeric/row.h"
#include "setup/state.h"

namespace qsolve {
namespace {

/// Pairs whose potentials are held at a time.
constexpr int kStrip = 64;

/// Says how many tenths of the integrals are done, when there are more than before.
class Progress {
  public:
    explicit Progress(int nAll) : nAll_(nAll) {}
    void Tell(int nDone) {
        const int nTenths = static_cast<int>(10LL * nDone / nAll_);
        if (nTenths == nTenths_) return;
        nTenths_ = nTenths;
        StatusFormat(kMsgCiIntegralsProgress, 10 * nTenths);
    }

  private:
    int nAll_, nTenths_ = 0;
};

/// The charge distributions of all pairs, one a row of mProducts.
void FillProducts(int nLevels, const double* mActive, int nSize, double* mProducts) {
    for (int a = 0; a < nLevels; ++a)
        for (int b = 0; b <= a; ++b) {
            FillMoProduct(Row(mActive, setup.nOrbitals, a), Row(mActive, setup.nOrbitals, b),
                          Row(mProducts, nSize, PairOf(a, b)));
            Yield(static_cast<std::size_t>(setup.nOrbitals));
        }
}

/// The lower triangle of the integrals, strip by strip of the potentials.
void FillIntegrals(int nSize, const double* mProducts, MoTable& table) {
    const int nPairs = table.nPairs;
    Progress progress(nPairs);
    Array<double> mPotentials;
    mPotentials.Take(static_cast<std::size_t>(std::min(nPairs, kStrip)),
                     static_cast<std::size_t>(nSize), kWork);
    for (int nFirst = 0; nFirst < nPairs; nFirst += kStrip) {
        const int nRows = std::min(kStrip, nPairs - nFirst);
        for (int i = 0; i < nRows; ++i)
            FillMoPotential(Row(mProducts, nSize, nFirst + i), Row(mPotentials.Data(), nSize, i));
        AddProduct({.nRows = nRows,
                    .nInner = nSize,
                    .nColumns = nFirst + nRows,
                    .a = Plain(mPotentials.Data(), nSize),
                    .b = Transposed(mProducts, nSize),
                    .pC = Row(table.vMoInt.Data(), nPairs, nFirst),
                    .nStepC = nPairs});
        progress.Tell(nFirst + nRows);
    }
    MirrorLower(nPairs, table.vMoInt.Data());
}

}  // namespace

void FillMoTable(int nLevels, const double* mActive, const double* vOrigin, MoTable& table) {
    const int nSize = MoProductSize();
    const auto nPairs = static_cast<std::size_t>(PairOf(nLevels, 0));
    table.nPairs = PairOf(nLevels, 0);
    table.vMoInt.Take(nPairs, nPairs, kWork);
    table.mDipole.Take(3, nPairs, kWork);
    if (nLevels == 0) return;
    Array<double> mProducts, mForm;
    mProducts.Take(nPairs, static_cast<std::size_t>(nSize), kWork);
    mForm.Take(3, static_cast<std::size_t>(nSize), kWork);
    FillProducts(nLevels, mActive, nSize, mProducts.Data());
    FillMoDipole(vOrigin, mForm.Data());
    MultiplyByTransposed(3, nSize, table.nPairs, mForm.Data(), mProducts.Data(),
                         table.mDipole.Data());
    FillIntegrals(nSize, mProducts.Data(), table);
}

}  // namespace qsolve
