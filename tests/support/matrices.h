#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace qsolve {

/// A row-major matrix of the tests.
struct TestMatrix {
    int nRows = 0, nColumns = 0;
    std::vector<double> v;

    TestMatrix(int nR, int nC, double x = 0.0)
        : nRows(nR),
          nColumns(nC),
          v(static_cast<std::size_t>(nR) * static_cast<std::size_t>(nC), x) {}
    double& operator()(int i, int j) {
        return v[static_cast<std::size_t>(i) * static_cast<std::size_t>(nColumns) +
                 static_cast<std::size_t>(j)];
    }
    double operator()(int i, int j) const { return const_cast<TestMatrix&>(*this)(i, j); }
    double* Data() { return v.data(); }
    const double* Data() const { return v.data(); }
};

/// Numbers that are the same in every run and with every library.
class Randoms {
  public:
    explicit Randoms(std::uint64_t nSeed) : nState_(nSeed * 2654435769u + 1) {}
    std::uint64_t Bits() {  // splitmix64
        std::uint64_t z = (nState_ += 0x9e3779b97f4a7c15u);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        return z ^ (z >> 31);
    }
    double Number() { return static_cast<double>(Bits() >> 11) * 0x1p-52 - 1.0; }  ///< -1 .. 1

  private:
    std::uint64_t nState_;
};

inline TestMatrix RandomMatrix(int nRows, int nColumns, std::uint64_t nSeed) {
    Randoms randoms(nSeed);
    TestMatrix m(nRows, nColumns);
    for (double& x : m.v) x = randoms.Number();
    return m;
}

inline TestMatrix RandomSymmetric(int n, std::uint64_t nSeed) {
    TestMatrix m = RandomMatrix(n, n, nSeed);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < i; ++j) m(j, i) = m(i, j);
    return m;
}

/// C = A B by the definition.
inline TestMatrix NaiveProduct(const TestMatrix& a, const TestMatrix& b) {
    TestMatrix c(a.nRows, b.nColumns);
    for (int i = 0; i < a.nRows; ++i)
        for (int k = 0; k < a.nColumns; ++k) {
            const double d = a(i, k), *pRow = b.Data() + std::size_t(k) * std::size_t(b.nColumns);
            double* const pSum = c.Data() + std::size_t(i) * std::size_t(c.nColumns);
            for (int j = 0; j < b.nColumns; ++j) pSum[j] += d * pRow[j];
        }
    return c;
}

inline TestMatrix NaiveTransposed(const TestMatrix& a) {
    TestMatrix t(a.nColumns, a.nRows);
    for (int i = 0; i < a.nRows; ++i)
        for (int j = 0; j < a.nColumns; ++j) t(j, i) = a(i, j);
    return t;
}

/// The largest difference of two matrices; infinite where one holds a not-a-number.
inline double LargestDifference(const TestMatrix& a, const TestMatrix& b) {
    double dLargest = 0.0;
    for (std::size_t i = 0; i < a.v.size(); ++i) {
        const double d = std::abs(a.v[i] - b.v[i]);
        if (std::isnan(d)) return std::numeric_limits<double>::infinity();
        dLargest = std::max(dLargest, d);
    }
    return dLargest;
}

/// A symmetric matrix with the given eigenvalues: random reflections of a diagonal one.
inline TestMatrix WithEigenvalues(const std::vector<double>& values, std::uint64_t nSeed) {
    const int n = static_cast<int>(values.size());
    const auto nOrder = values.size();
    TestMatrix a(n, n);
    for (int i = 0; i < n; ++i) a(i, i) = values[static_cast<std::size_t>(i)];
    Randoms randoms(nSeed);
    for (int nReflection = 0; nReflection < 6; ++nReflection) {  // A := H A H, H = 1 - 2 u u / u.u
        std::vector<double> u(nOrder), p(nOrder);
        double dSquare = 0.0, dProduct = 0.0;
        for (double& x : u) {
            x = randoms.Number();
            dSquare += x * x;
        }
        for (int i = 0; i < n; ++i) {
            double& x = p[static_cast<std::size_t>(i)];
            for (int j = 0; j < n; ++j)
                x += 2.0 * a(i, j) * u[static_cast<std::size_t>(j)] / dSquare;
            dProduct += x * u[static_cast<std::size_t>(i)];
        }
        for (std::size_t i = 0; i < nOrder; ++i) p[i] -= dProduct / dSquare * u[i];
        for (int i = 0; i < n; ++i)
            for (int j = 0; j <= i; ++j) {
                const auto s = static_cast<std::size_t>(i), t = static_cast<std::size_t>(j);
                a(j, i) = a(i, j) = a(i, j) - u[s] * p[t] - p[s] * u[t];
            }
    }
    return a;
}

/// The largest sum of magnitudes of a row.
inline double RowNorm(const TestMatrix& a) {
    double dNorm = 0.0;
    for (int i = 0; i < a.nRows; ++i) {
        double dSum = 0.0;
        for (int j = 0; j < a.nColumns; ++j) dSum += std::abs(a(i, j));
        dNorm = std::max(dNorm, dSum);
    }
    return dNorm;
}

}  // namespace qsolve
