#include "scf/one_centre_repulsion.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "numeric/row.h"

namespace qsolve {
namespace {

/// Orbitals of the whole matrix; those of the atom begin at kFirst.
constexpr int kOrbitals = 12, kFirst = 2;

using Matrix = std::vector<double>;

Matrix Symmetric(double dPhase) {
    Matrix m(kOrbitals * kOrbitals);
    for (int i = 0; i < kOrbitals; ++i)
        for (int j = 0; j <= i; ++j)
            Row(m.data(), kOrbitals, i)[j] = Row(m.data(), kOrbitals, j)[i] =
                std::sin(dPhase + 3.7 * i + 1.9 * j);
    return m;
}

class Repulsion : public testing::TestWithParam<int> {};

TEST_P(Repulsion, IsTheFullSumOverTheOrbitalsOfTheAtom) {
    const int n = GetParam();
    const ListedAtom atom{.nElement = 16, .nFirst = kFirst, .nOrbitals = n};
    std::array<double, kOneCentreValuesNddo> W;
    for (std::size_t t = 0; t < W.size(); ++t) W[t] = std::cos(2.3 * static_cast<double>(t));
    const OneCentreList list = OneCentreIntegralsNddo(n);
    std::vector<double> g(9 * 9 * 9 * 9, 0.0);
    const auto At = [&](int i, int j, int k, int l) -> double& {
        return g[static_cast<std::size_t>(((i * 9 + j) * 9 + k) * 9 + l)];
    };
    for (int t = 0; t < list.nCount; ++t) {
        const auto [i, j, k, l, nValue] = list.pEntries[t];
        At(i, j, k, l) = At(j, i, k, l) = At(i, j, l, k) = At(j, i, l, k) = At(k, l, i, j) =
            At(l, k, i, j) = At(k, l, j, i) = At(l, k, j, i) = W[static_cast<std::size_t>(nValue)];
    }
    const Matrix total = Symmetric(0.2), spin = Symmetric(1.4), before = Symmetric(2.0);
    Matrix fock = before;
    AddOneCentreRepulsion(atom, list, W.data(), total.data(), spin.data(), kOrbitals, fock.data());
    for (int i = 0; i < kOrbitals; ++i)
        for (int j = 0; j < kOrbitals; ++j) {
            double d = Row(before.data(), kOrbitals, i)[j];
            const int a = i - kFirst, b = j - kFirst;
            const bool fOwn = a >= 0 && b >= 0 && a < n && b < n;
            for (int k = 0; fOwn && k < n; ++k)
                for (int l = 0; l < n; ++l)
                    d += Row(total.data(), kOrbitals, k + kFirst)[l + kFirst] * At(a, b, k, l) -
                         Row(spin.data(), kOrbitals, k + kFirst)[l + kFirst] * At(a, k, b, l);
            EXPECT_NEAR(Row(fock.data(), kOrbitals, i)[j], d, 1e-12) << i << " " << j;
        }
}
INSTANTIATE_TEST_SUITE_P(Sizes, Repulsion, testing::Values(1, 4, 9));

}  // namespace
}  // namespace qsolve
