#include "scf/half_electron.h"

#include <algorithm>
#include <cstddef>

#include "algebra/diagonalise.h"
#include "integrals/integrals.h"
#include "job/state.h"
#include "link/link.h"
#include "link/memory.h"
#include "numeric/row.h"
#include "numeric/trace.h"
#include "setup/state.h"

namespace qsolve {
namespace {

constexpr int kMostOpen = 10;

/// Copies the open orbitals and their energies, lowest first. mOpen is nOpen x N.
void TakeOpenLevels(int nOpen, const double* vEnergy, const double* mVectors, double* mOpen,
                    double* vOpenEnergy) {
    const int n = setup.nOrbitals;
    for (int k = 0; k < nOpen; ++k) {
        const int nOrbital = results.Orbitals.vOrbitalOrder[setup.nDoublyOcc + k];
        std::copy_n(Row(mVectors, n, nOrbital), n, Row(mOpen, n, k));
        vOpenEnergy[k] = vEnergy[nOrbital];
    }
    SortVectors(nOpen, mOpen, vOpenEnergy, n);
}

/// M_ij = (ij|ij) for j <= i.
void FillIntegrals(int nOpen, const double* mOpen, double* vWork, double M[][kMostOpen]) {
    for (int i = 0; i < nOpen; ++i)
        for (int j = 0; j <= i; ++j) {
            const double* a = Row(mOpen, setup.nOrbitals, i);
            const double* b = Row(mOpen, setup.nOrbitals, j);
            M[i][j] = MoIntegral(a, b, a, b, vWork);
        }
}

/// Share of the exchange between open levels.
double ExchangeFactor() {
    return options.fNextLowestState && options.nMultiplicity == 1 ? 1.5 : -0.5;
}

}  // namespace

double HalfElectronCorrection(const double* vEnergy, const double* mVectors) {
    if (options.nMultiplicity == 1 && !options.fNextLowestState) return 0.0;
    const int n = setup.nOrbitals, nOpen = setup.nOccupied - setup.nDoublyOcc;
    const std::size_t nVectors = static_cast<std::size_t>(nOpen) * static_cast<std::size_t>(n);
    const std::size_t nProduct = static_cast<std::size_t>(MoProductSize());
    Array<double> pOpen;
    pOpen.Take(nVectors + static_cast<std::size_t>(nOpen) + 2 * nProduct, kWork);
    double* vOpenEnergy = pOpen.Data() + nVectors;
    TakeOpenLevels(nOpen, vEnergy, mVectors, pOpen.Data(), vOpenEnergy);

    double M[kMostOpen][kMostOpen] = {};
    FillIntegrals(nOpen, pOpen.Data(), vOpenEnergy + nOpen, M);
    double dSelf = 0.0, dExchange = 0.0;
    for (int i = 0; i < nOpen; ++i) {
        dSelf += M[i][i];
        for (int j = 0; j < i; ++j) dExchange += M[i][j];
    }
    return -0.25 * dSelf + ExchangeFactor() * dExchange;
}

void FillHalfElectronSlopes(const double* mVectors, double* mSlopes) {
    const int n = setup.nOrbitals, nOpen = setup.nOccupied - setup.nDoublyOcc;
    const int nSize = MoProductSize();
    const double* mOpen = Row(mVectors, n, setup.nDoublyOcc);
    Array<double> vProduct, mPotentials;
    vProduct.Take(static_cast<std::size_t>(nSize), kWork);
    mPotentials.Take(static_cast<std::size_t>(nOpen), static_cast<std::size_t>(nSize), kWork);
    std::fill(mSlopes, Row(mSlopes, n, nOpen), 0.0);
    for (int j = 0; j < nOpen; ++j) {
        for (int i = 0; i < nOpen; ++i) {
            FillMoProduct(Row(mOpen, n, i), Row(mOpen, n, j), vProduct.Data());
            FillMoPotential(vProduct.Data(), Row(mPotentials.Data(), nSize, i));
        }
        for (int q = 0; q < n; ++q) {
            FillMoProduct(Row(mVectors, n, q), Row(mOpen, n, j), vProduct.Data());
            for (int i = 0; i < nOpen; ++i)
                Row(mSlopes, n, i)[q] +=
                    4.0 * (i == j ? -0.25 : 0.5 * ExchangeFactor()) *
                    Dot(nSize, vProduct.Data(), Row(mPotentials.Data(), nSize, i));
            Yield(static_cast<std::size_t>(nSize));
        }
    }
}

}  // namespace qsolve
