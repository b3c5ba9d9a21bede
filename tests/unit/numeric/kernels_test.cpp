#include "numeric/kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "numeric/decay.h"
#include "numeric/householder.h"
#include "numeric/pair_block.h"
#include "numeric/product.h"
#include "numeric/vector_pairs.h"
#include "tests/support/matrices.h"

namespace qsolve {
namespace {

/// Takes back what a test chooses.
struct KernelForms : testing::Test {
    const Kernels* pBefore = kernels;
    ~KernelForms() override { kernels = pBefore; }
};

/// What a kernel makes of a start, in each form, held against the portable one.
template <class Kernel>
void ExpectTheSame(const TestMatrix& start, double dTolerance, const Kernel& kernel) {
    TestMatrix wanted = start;
    kernel(*KernelsAt(0), wanted);
    for (int i = 1; const Kernels* pForm = KernelsAt(i); ++i) {
        TestMatrix found = start;
        kernel(*pForm, found);
        EXPECT_LE(LargestDifference(found, wanted), dTolerance) << pForm->sName;
    }
}

TEST_F(KernelForms, AreChosenByName) {
    for (int i = 0; const Kernels* pForm = KernelsAt(i); ++i) {
        EXPECT_TRUE(ChooseKernels(pForm->sName));
        EXPECT_EQ(kernels, pForm);
    }
    EXPECT_EQ(std::string(KernelsAt(0)->sName), "portable");
    EXPECT_EQ(KernelsAt(-1), nullptr);
    EXPECT_EQ(KernelsAt(100), nullptr);
}

TEST_F(KernelForms, OfAnUnknownNameLeaveThoseInUse) {
    ChooseKernels("portable");
    EXPECT_FALSE(ChooseKernels("cray"));
    EXPECT_EQ(kernels, KernelsAt(0));
    EXPECT_TRUE(ChooseKernels(nullptr));
    EXPECT_EQ(KernelsAt(0) == kernels, KernelsAt(1) == nullptr) << "the fastest is the default";
    EXPECT_TRUE(ChooseKernels(""));
}

// Numbers are up to 1, sums of up to 2 n of them.
constexpr int kSizes[] = {0, 1, 2, 7, 8, 9, 31, 67, 130};
double Rounding(int n) {
    return 1e-15 * (n + 1);
}

TEST_F(KernelForms, AgreeOnProducts) {
    for (const int n : kSizes) {
        const TestMatrix a = RandomMatrix(n, n + 3, 1), b = RandomMatrix(n + 3, n, 2);
        ExpectTheSame(TestMatrix(n, n), Rounding(n), [&](const Kernels& form, TestMatrix& c) {
            form.AddProduct({n, n + 3, n, Plain(a.Data(), n + 3), Plain(b.Data(), n), c.Data(), n});
        });
    }
}

TEST_F(KernelForms, GiveASmallProductTheBitsThatItHasWithinALargeOne) {
    const int nInner = 30, nMost = 500;
    const TestMatrix a = RandomMatrix(30, nInner, 1), b = RandomMatrix(nInner, nMost, 2);
    const TestMatrix w = RandomMatrix(1, nInner, 3);
    for (int i = 0; const Kernels* pForm = KernelsAt(i); ++i)
        for (const auto& [dFactor, vWeights] : {std::pair<double, const double*>{1.0, nullptr},
                                                {-1.0, nullptr},
                                                {-1.7, nullptr},
                                                {0.3, w.Data()}})
            for (const int n : kSizes) {
                if (n > a.nRows) continue;
                TestMatrix whole(n, nMost, 0.5), part(n, n, 0.5);
                Product product{n,
                                nInner,
                                nMost,
                                Plain(a.Data(), nInner),
                                Plain(b.Data(), nMost),
                                whole.Data(),
                                nMost,
                                dFactor,
                                vWeights};
                pForm->AddProduct(product);
                product.nColumns = product.nStepC = n;
                product.pC = part.Data();
                pForm->AddProduct(product);
                for (int r = 0; r < n; ++r)
                    for (int c = 0; c < n; ++c)
                        ASSERT_EQ(part(r, c), whole(r, c)) << pForm->sName << " " << n;
            }
}

TEST_F(KernelForms, AgreeOnRows) {
    for (const int n : kSizes) {
        const TestMatrix a = RandomSymmetric(n, 1), t = RandomMatrix(1, n, 2);
        const TestMatrix y = RandomMatrix(1, n, 3);
        ExpectTheSame(TestMatrix(1, 1), Rounding(n), [&](const Kernels& form, TestMatrix& d) {
            d(0, 0) = form.Dot(n, t.Data(), y.Data());
        });
        ExpectTheSame(y, Rounding(n), [&](const Kernels& form, TestMatrix& v) {
            form.DotRows(n, n, a.Data(), n, t.Data(), v.Data());
        });
        ExpectTheSame(y, Rounding(n), [&](const Kernels& form, TestMatrix& v) {
            form.AddRows(n, n, a.Data(), n, t.Data(), v.Data());
        });
        ExpectTheSame(y, Rounding(1), [&](const Kernels& form, TestMatrix& v) {
            TestMatrix x = t;
            form.Rotate(n, 0.8, -0.6, x.Data(), v.Data());
        });
    }
}

TEST_F(KernelForms, ReadOfLowerTrianglesWhatTheirRowsHold) {
    const int n = 67;
    const TestMatrix a = RandomMatrix(n, n, 1), b = RandomMatrix(n, n, 2);
    for (int i = 0; const Kernels* pForm = KernelsAt(i); ++i)
        for (const int nFirst : kSizes)
            for (int nEnd = nFirst; nEnd <= n; nEnd += 5) {
                double dDot = 0.0, dLargest = 0.0;
                for (int r = nFirst; r < nEnd; ++r)
                    for (int c = 0; c <= r; ++c) {
                        dDot += a(r, c) * b(r, c);
                        if (c < r) dLargest = std::max(dLargest, std::abs(a(r, c)));
                    }
                const double dFound = pForm->DotLower(n, nFirst, nEnd, a.Data(), b.Data());
                EXPECT_NEAR(dFound, dDot, Rounding(n)) << pForm->sName << " " << nFirst;
                EXPECT_EQ(pForm->LargestBelow(n, nFirst, nEnd, a.Data()), dLargest);
            }
}

TEST_F(KernelForms, MirrorTheRowsThatTheyAreTold) {
    const int n = 35;
    for (int i = 0; const Kernels* pForm = KernelsAt(i); ++i)
        for (const int nFirst : {0, 3, 8, 16, 21})
            for (int nEnd = nFirst; nEnd <= n; ++nEnd) {
                const TestMatrix start = RandomMatrix(n, n, 1);
                TestMatrix m = start;
                pForm->MirrorRows(n, nFirst, nEnd, m.Data());
                for (int r = 0; r < n; ++r)
                    for (int c = 0; c < n; ++c) {
                        const bool fTold = c > r && c >= nFirst && c < nEnd;
                        ASSERT_EQ(m(r, c), fTold ? start(c, r) : start(r, c))
                            << pForm->sName << " " << nFirst << " " << nEnd;
                    }
            }
}

TEST_F(KernelForms, AgreeOnExponentials) {
    TestMatrix r = RandomMatrix(1, 1000, 1);
    for (double& x : r.v) x = 200.0 * (x + 1.0);
    ExpectTheSame(TestMatrix(1, 1000), 1e-15, [&](const Kernels& form, TestMatrix& v) {
        form.FillDecay(1000, 1.9, r.Data(), v.Data());
    });
}

TEST_F(KernelForms, AgreeOnSmallReductions) {
    for (const int n : {3, 8, 18, kAtOnce}) {
        const TestMatrix a = RandomSymmetric(n, 1);
        ExpectTheSame(RandomMatrix(n, n, 2), 1e-12, [&](const Kernels& form, TestMatrix& z) {
            TestMatrix m(Padded(n), ReductionStep(n)), d(1, n), e(1, n), h(1, n);
            const Reduction reduction{n, m.Data(), nullptr, d.Data(), e.Data(), h.Data()};
            form.ReduceAtOnce(reduction, a.Data());
            form.TransformAtOnce(reduction, n, z.Data());
        });
    }
}

/// A symmetric matrix of which nothing stands below the squares on the diagonal.
TestMatrix WholeSquares(const TestMatrix& a) {
    TestMatrix upper = a;
    for (int i = 0; i < a.nRows; ++i)
        for (int j = 0; j < i / kPad * kPad; ++j) upper(i, j) = std::nan("");
    return upper;
}

TEST_F(KernelForms, AddUpToTheProductOfASymmetricMatrixHoweverItIsCut) {
    for (const int n : {8, 16, 40, 128}) {
        const TestMatrix a = RandomSymmetric(n, 1), t = RandomMatrix(n, 1, 2);
        const TestMatrix upper = WholeSquares(a), wanted = NaiveProduct(a, t);
        for (int i = 0; const Kernels* pForm = KernelsAt(i); ++i)
            for (int nCut = 0; nCut <= n; nCut += kPad) {
                TestMatrix p(n, 1);
                pForm->AddSymmetricRows(n, 0, nCut, upper.Data(), n, t.Data(), p.Data());
                pForm->AddSymmetricRows(n, nCut, n, upper.Data(), n, t.Data(), p.Data());
                EXPECT_LE(LargestDifference(p, wanted), Rounding(n)) << pForm->sName << " " << n;
            }
    }
}

/// (ij|kl) of the block, for any order of i, j and of k, l.
double Element(const TestMatrix& w, int i, int j, int k, int l) {
    const auto Index = [](int a, int b) {
        return std::max(a, b) * (std::max(a, b) + 1) / 2 + std::min(a, b);
    };
    return w(Index(i, j), Index(k, l));
}

class PairBlockKernel : public testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(PairBlockKernel, AddThePotentialsAndTheExchangeOfTheDefinition) {
    const auto [nA, nB] = GetParam();
    const int nRows = PairProducts(nA), nColumns = PairProducts(nB), nStep = 11;
    const TestMatrix w = RandomMatrix(nRows, nColumns, 1), q = RandomMatrix(nA, nStep, 2);
    const TestMatrix a = RandomMatrix(1, nRows, 3), b = RandomMatrix(1, nColumns, 4);
    TestMatrix f(nA, nStep, 1.0), va(1, nRows, 2.0), vb(1, nColumns, 3.0);
    AddPairBlock(
        {nA, nB, w.Data(), nStep, q.Data(), f.Data(), a.Data(), b.Data(), va.Data(), vb.Data()});
    TestMatrix wantedF(nA, nStep, 1.0), wantedA(1, nRows, 2.0), wantedB(1, nColumns, 3.0);
    for (int m = 0; m < nRows; ++m)
        for (int n = 0; n < nColumns; ++n) {
            wantedA(0, m) += w(m, n) * b(0, n);
            wantedB(0, n) += w(m, n) * a(0, m);
        }
    for (int i = 0; i < nA; ++i)
        for (int j = 0; j < nA; ++j)
            for (int k = 0; k < nB; ++k)
                for (int l = 0; l < nB; ++l) wantedF(i, k) -= Element(w, i, j, k, l) * q(j, l);
    EXPECT_LE(LargestDifference(f, wantedF), 1e-13);
    EXPECT_LE(LargestDifference(va, wantedA), 1e-13);
    EXPECT_LE(LargestDifference(vb, wantedB), 1e-13);
}
INSTANTIATE_TEST_SUITE_P(Sizes, PairBlockKernel,
                         testing::Combine(testing::Values(1, 4, 9), testing::Values(1, 4, 9)));

/// Vectors p and q have their elements i and j in two rows each; nothing behind the last is
/// touched.
TEST(VectorPairsKernel, FillsTheProductsOfTheDefinition) {
    for (const int nSecond : {0, 1, 3, 7, 8, 9, 17})
        for (const bool fTriangle : {false, true})
            for (const bool fSame : {false, true}) {
                const int nFirst = fTriangle ? nSecond : 5;
                const int nAll = fTriangle ? PairProducts(nSecond) : nFirst * nSecond;
                const TestMatrix a = RandomMatrix(2, nFirst, 1), b = RandomMatrix(2, nSecond, 2);
                const int j = fSame ? 0 : 1;
                TestMatrix x(1, nAll + 1, 7.0);
                FillVectorPairs({nFirst, nSecond, fTriangle, a.Data(), a.Data() + j * nFirst,
                                 b.Data(), b.Data() + j * nSecond},
                                x.Data());
                int k = 0;
                for (int p = 0; p < nFirst; ++p)
                    for (int q = 0; q < (fTriangle ? p + 1 : nSecond); ++q, ++k)
                        EXPECT_NEAR(
                            x(0, k),
                            fSame ? a(0, p) * b(0, q) : a(0, p) * b(1, q) + a(1, p) * b(0, q),
                            1e-15);
                EXPECT_EQ(k, nAll);
                EXPECT_EQ(x(0, nAll), 7.0);
            }
}

}  // namespace
}  // namespace qsolve
