#include "tests/support/second_quantised.h"

#include <bit>
#include <cmath>

#include "numeric/row.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/all_integrals.h"
#include "tests/support/repulsion.h"

namespace qsolve {
namespace {

const double* Orbital(int k) {
    return Row(scf.mVectorsA.Data(), setup.nOrbitals, k);
}

/// Electrons before a spin orbital.
double SignBefore(Bits d, int nSpinOrbital) {
    return std::popcount(d & ((Bits{1} << nSpinOrbital) - 1)) % 2 == 0 ? 1.0 : -1.0;
}

/// Annihilates p, or creates it, in every determinant of a sum.
Vector Annihilate(int p, const Vector& v) {
    Vector result;
    for (const auto& [d, c] : v)
        if (d >> p & 1U) result[d & ~(Bits{1} << p)] += c * SignBefore(d, p);
    return result;
}
Vector Create(int p, const Vector& v) {
    Vector result;
    for (const auto& [d, c] : v)
        if (!(d >> p & 1U)) result[d | Bits{1} << p] += c * SignBefore(d, p);
    return result;
}

void Add(double dFactor, const Vector& v, Vector& sum) {
    for (const auto& [d, c] : v) sum[d] += dFactor * c;
}

/// sum_s a+_is a_js
Vector Excite(int i, int j, const Vector& v) {
    Vector sum;
    for (int s = 0; s < 2; ++s) Add(1.0, Create(2 * i + s, Annihilate(2 * j + s, v)), sum);
    return sum;
}

/// S+ or S- by the spin that is created.
Vector Raise(int n, int nCreated, const Vector& v) {
    Vector sum;
    for (int i = 0; i < n; ++i)
        Add(1.0, Create(2 * i + nCreated, Annihilate(2 * i + 1 - nCreated, v)), sum);
    return sum;
}

std::size_t PlaceOf(int n, int i, int j, int k, int l) {
    const auto a = static_cast<std::size_t>(i), b = static_cast<std::size_t>(j),
               c = static_cast<std::size_t>(k), d = static_cast<std::size_t>(l),
               m = static_cast<std::size_t>(n);
    return ((a * m + b) * m + c) * m + d;
}

}  // namespace

ElectronsOfWindow::ElectronsOfWindow(int nFirst, int n) : n_(n), mOne_(n, n) {
    const auto N = static_cast<std::size_t>(setup.nOrbitals);
    std::vector<double> mFrozen(N * N), mHalf(N * N);
    for (int k = 0; k < nFirst; ++k)
        for (std::size_t i = 0; i < N; ++i)
            for (std::size_t j = 0; j < N; ++j)
                mFrozen[i * N + j] += 2.0 * Orbital(k)[i] * Orbital(k)[j];
    for (std::size_t t = 0; t < N * N; ++t) mHalf[t] = 0.5 * mFrozen[t];
    std::vector<double> mFock = Repulsion(mFrozen, mHalf);
    for (std::size_t t = 0; t < N * N; ++t) {
        mFock[t] += scf.mCore[t];
        dFrozen_ += 0.5 * mFrozen[t] * (scf.mCore[t] + mFock[t]);
    }
    for (int a = 0; a < n; ++a)
        for (int b = 0; b < n; ++b)
            for (std::size_t i = 0; i < N; ++i)
                for (std::size_t j = 0; j < N; ++j)
                    mOne_(a, b) +=
                        Orbital(nFirst + a)[i] * Orbital(nFirst + b)[j] * mFock[i * N + j];

    const AllIntegrals all;
    vTwo_.resize(PlaceOf(n, n, 0, 0, 0));
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            for (int k = 0; k < n; ++k)
                for (int l = 0; l < n; ++l)
                    vTwo_[PlaceOf(n, i, j, k, l)] =
                        all.Sum(Orbital(nFirst + i), Orbital(nFirst + j), Orbital(nFirst + k),
                                Orbital(nFirst + l));
}

double ElectronsOfWindow::Two(int i, int j, int k, int l) const {
    return vTwo_[PlaceOf(n_, i, j, k, l)];
}

/// sum h_ij E_ij + 1/2 sum (ij|kl) (E_ij E_kl - delta_jk E_il)
Vector ElectronsOfWindow::Hamilton(const Vector& v) const {
    Vector sum;
    for (int i = 0; i < n_; ++i)
        for (int j = 0; j < n_; ++j) {
            Vector once;
            Add(mOne_(i, j), v, once);
            for (int k = 0; k < n_; ++k)
                for (int l = 0; l < n_; ++l) Add(0.5 * Two(i, j, k, l), Excite(k, l, v), once);
            for (int k = 0; k < n_; ++k) Add(-0.5 * Two(i, k, k, j), v, once);
            Add(1.0, Excite(i, j, once), sum);
        }
    return sum;
}

Vector SpinSquareOf(int n, const Vector& v) {
    Vector sum = Raise(n, 1, Raise(n, 0, v));
    for (const auto& [d, c] : v) {
        constexpr Bits kAlpha = 0x5555555555555555;
        const double Sz = 0.5 * (std::popcount(d & kAlpha) - std::popcount(d & ~kAlpha));
        sum[d] += Sz * (Sz + 1) * c;
    }
    return sum;
}

Vector OneElectron(const TestMatrix& o, const Vector& v) {
    Vector sum;
    for (int i = 0; i < o.nRows; ++i)
        for (int j = 0; j < o.nColumns; ++j) Add(o(i, j), Excite(i, j, v), sum);
    return sum;
}

double Overlap(const Vector& a, const Vector& b) {
    double dSum = 0.0;
    for (const auto& [d, c] : a) {
        const auto other = b.find(d);
        if (other != b.end()) dSum += c * other->second;
    }
    return dSum;
}

Bits BitsOf(const Determinants& d, int nConfig) {
    Bits bits = 0;
    for (int i = 0; i < d.nLevels; ++i) {
        if (IsOccupied(d.mOccAlpha, d.vAlphaRow[nConfig], i)) bits |= Bits{1} << 2 * i;
        if (IsOccupied(d.mOccBeta, d.vBetaRow[nConfig], i)) bits |= Bits{1} << (2 * i + 1);
    }
    return bits;
}

}  // namespace qsolve
