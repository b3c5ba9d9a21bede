#pragma once

namespace qsolve {

/// Products of a density that make a dipole on one centre, along x, y and z.
struct DipoleProducts {
    double d[3];
};

/// P(s, p_k) of an atom whose s orbital is nFirst, from 0, and whose p orbitals follow it. mDensity
/// is nOrbitals squared and symmetric; it may be that of a state or of a transition.
DipoleProducts SpProducts(const double* mDensity, int nOrbitals, int nFirst);

/// The same between p and d, which follow p in the order z2, xz, yz, x2-y2, xy, each with the
/// element of the position operator relative to that of dxy and px along y:
///
///     x: P(xy, y) + P(xz, z) + P(x2-y2, x) - P(z2, x) / sqrt 3
///     y: P(xy, x) - P(x2-y2, y) + P(yz, z) - P(z2, y) / sqrt 3
///     z: P(yz, y) + 2 P(z2, z) / sqrt 3 + P(xz, x)
DipoleProducts PdProducts(const double* mDensity, int nOrbitals, int nFirst);

}  // namespace qsolve
