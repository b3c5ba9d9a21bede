#include "numeric/vector_pairs.h"

#include "numeric/forms/forms.h"
#include "numeric/forms/wide.h"

namespace qsolve::QSOLVE_FORM {
namespace {

/// kWide or nCount products of one p with the q from iFirst on.
template <bool fSame>
[[gnu::always_inline]] inline Wide ProductsOf(const VectorPairs& pairs, int p, int iFirst,
                                              int nCount) {
    Wide b;
    LoadPart(pairs.vSecondJ + iFirst, nCount, b);
    Wide x = pairs.vFirstI[p] * b;
    if (!fSame) {
        LoadPart(pairs.vSecondI + iFirst, nCount, b);
        x += pairs.vFirstJ[p] * b;
    }
    return x;
}

template <bool fSame>
void FillProducts(const VectorPairs& pairs, double* x) {
    for (int p = 0; p < pairs.nFirst; ++p) {
        const int nSecond = pairs.fTriangle ? p + 1 : pairs.nSecond;
        for (int q = 0; q < nSecond; q += kWide) {
            const int nCount = Least(nSecond - q, kWide);
            StorePart(ProductsOf<fSame>(pairs, p, q, nCount), nCount, x + q);
        }
        x += nSecond;
    }
}

}  // namespace

void FillVectorPairs(const VectorPairs& pairs, double* vProducts) {
    if (pairs.vFirstI == pairs.vFirstJ)
        FillProducts<true>(pairs, vProducts);
    else
        FillProducts<false>(pairs, vProducts);
}

}  // namespace qsolve::QSOLVE_FORM
