#pragma once

#include "ci/spin_rows.h"
#include "ci/window.h"

/// Configurations: determinants of spin orbitals in the order alpha 1, beta 1, alpha 2, beta 2, ...

namespace qsolve {

/// The configurations of a window. Each is a row of alpha and a row of beta electrons; the first is
/// the reference. Several share a row.
struct Determinants {
    int nLevels = 0;
    int nAlpha = 0, nBeta = 0;  ///< electrons in every configuration
    int nConfigs = 0;
    SpinRows mOccAlpha, mOccBeta;
    Array<int> vAlphaRow, vBetaRow;  ///< by configuration
    Array<int> vConfigOf;            ///< rows of alpha x rows of beta: configuration, or -1

    /// Parity of a configuration: 1 or -1, by which its determinant differs from the one with all
    /// alpha electrons before all beta ones.
    Array<signed char> vParity;
};

/// The reference, with the lowest levels of each spin filled, and its single excitations: alpha,
/// from the highest hole down and for each to the particles upwards, then beta. Those that lift an
/// electron by more than the window's limit, between the levels vLevel (N), are left out. Without
/// memory, or with more configurations than can be counted: Fatal.
void PlaceSingles(const CiWindow& window, const double* vLevel, Determinants& d);

/// The number of ways to place the alpha and the beta electrons on the levels of a window; the
/// largest value of its type where it does not fit.
long long CountMicrostates(const CiWindow& window);

/// Every way of placing the alpha and the beta electrons on the levels of the window, which are 20
/// at most. Configuration a * (beta rows) + b has the rows a and b. Fails as PlaceSingles does.
void PlaceMicrostates(const CiWindow& window, Determinants& d);

/// The configuration with these rows, or -1.
inline int ConfigOf(const Determinants& d, int nAlphaRow, int nBetaRow) {
    return d.vConfigOf[static_cast<std::size_t>(nAlphaRow) *
                           static_cast<std::size_t>(d.mOccBeta.nRows) +
                       static_cast<std::size_t>(nBetaRow)];
}

}  // namespace qsolve
