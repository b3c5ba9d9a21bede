#include "numeric/pair_block.h"

#include "numeric/forms/forms.h"
#include "numeric/forms/wide.h"

namespace qsolve::QSOLVE_FORM {
namespace {

/// Four doubles, in as many registers as it takes.
using Four = double __attribute__((vector_size(32)));

/// Potentials: a row of the block is read once for both groups.
template <int nA, int nB>
void AddPotentials(const PairBlock& pair) {
    constexpr int nRows = PairProducts(nA), nColumns = PairProducts(nB);
    double vB[nColumns], vDensity[nColumns];
    for (int n = 0; n < nColumns; ++n) {
        vB[n] = pair.vPotentialB[n];
        vDensity[n] = pair.vDensityB[n];
    }
    for (int m = 0; m < nRows; ++m) {
        const double* w = pair.pBlock + m * nColumns;
        const double p = pair.vDensityA[m];
        double d = 0.0;
        for (int n = 0; n < nColumns; ++n) {
            d += w[n] * vDensity[n];
            vB[n] += w[n] * p;
        }
        pair.vPotentialA[m] += d;
    }
    for (int n = 0; n < nColumns; ++n) pair.vPotentialB[n] = vB[n];
}

/// The lower triangle w of a symmetric matrix as a full one.
template <int n>
void Unfold(const double* w, double m[n][n]) {
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) m[i][j] = m[j][i] = *w++;
}

/// f -= G q for row vectors f and q.
template <int n>
void SubtractProduct(const double G[n][n], const double* q, double* f) {
    for (int s = 0; s < n; ++s)
        for (int k = 0; k < n; ++k) f[k] -= G[s][k] * q[s];
}

template <int nA, int nB>
void SubtractExchange(const PairBlock& pair) {
    double q[nA][nB], f[nA][nB];
    for (int i = 0; i < nA; ++i)
        for (int k = 0; k < nB; ++k) {
            q[i][k] = At(pair.pSpin, pair.nStep, i)[k];
            f[i][k] = At(pair.pFock, pair.nStep, i)[k];
        }
    const double* w = pair.pBlock;
    for (int i = 0; i < nA; ++i)
        for (int j = 0; j <= i; ++j) {
            double G[nB][nB];
            Unfold<nB>(w, G);
            w += PairProducts(nB);
            SubtractProduct<nB>(G, q[j], f[i]);
            if (j != i) SubtractProduct<nB>(G, q[i], f[j]);
        }
    for (int i = 0; i < nA; ++i)
        for (int k = 0; k < nB; ++k) At(pair.pFock, pair.nStep, i)[k] = f[i][k];
}

/// The same for four functions of B, a row of F in one Four.
template <int nA>
void SubtractExchangeFour(const PairBlock& pair) {
    Four f[nA];
    for (int i = 0; i < nA; ++i) std::memcpy(&f[i], At(pair.pFock, pair.nStep, i), sizeof(Four));
    const double* w = pair.pBlock;
    for (int i = 0; i < nA; ++i)
        for (int j = 0; j <= i; ++j) {
            const Four s = {w[0], w[1], w[3], w[6]}, x = {w[1], w[2], w[4], w[7]};
            const Four y = {w[3], w[4], w[5], w[8]}, z = {w[6], w[7], w[8], w[9]};
            w += PairProducts(4);
            const double* q = At(pair.pSpin, pair.nStep, j);
            f[i] -= s * q[0] + x * q[1] + y * q[2] + z * q[3];
            if (j == i) continue;
            q = At(pair.pSpin, pair.nStep, i);
            f[j] -= s * q[0] + x * q[1] + y * q[2] + z * q[3];
        }
    for (int i = 0; i < nA; ++i) std::memcpy(At(pair.pFock, pair.nStep, i), &f[i], sizeof(Four));
}

template <int nA, int nB>
void AddBlockOf(const PairBlock& pair) {
    AddPotentials<nA, nB>(pair);
    if constexpr (nB == 4)
        SubtractExchangeFour<nA>(pair);
    else
        SubtractExchange<nA, nB>(pair);
}

template <int nA>
void AddBlockWith(const PairBlock& pair) {
    switch (pair.nB) {
        case 1:
            return AddBlockOf<nA, 1>(pair);
        case 4:
            return AddBlockOf<nA, 4>(pair);
        default:
            return AddBlockOf<nA, 9>(pair);
    }
}

}  // namespace

void AddPairBlock(const PairBlock& pair) {
    switch (pair.nA) {
        case 1:
            return AddBlockWith<1>(pair);
        case 4:
            return AddBlockWith<4>(pair);
        default:
            return AddBlockWith<9>(pair);
    }
}

}  // namespace qsolve::QSOLVE_FORM
