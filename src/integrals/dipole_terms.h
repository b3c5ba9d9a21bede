#pragma once

namespace qsolve {

/// Products of a density that make a dipole on one centre, along x, y and z.
struct DipoleProducts {
    double d[3];
};

/// A product of two orbitals of an atom, counted from 0, that is dipolar along an axis.
struct DipoleTerm {
    int nAxis, i, j;
    double dWeight;  ///< element of the position operator relative to that of the first term
};

/// The products of s and p, and of p and d, in the order s, px, py, pz, dz2, dxz, dyz, dx2-y2, dxy.
constexpr DipoleTerm kSpTerms[] = {{0, 1, 0, 1.0}, {1, 2, 0, 1.0}, {2, 3, 0, 1.0}};
constexpr double kOneByRoot3 = 0.5773503, kTwoByRoot3 = 1.1547005;
// clang-format off
constexpr DipoleTerm kPdTerms[] = {
    {0, 8, 2, 1.0}, {0, 5, 3, 1.0},  {0, 7, 1, 1.0}, {0, 4, 1, -kOneByRoot3},
    {1, 8, 1, 1.0}, {1, 7, 2, -1.0}, {1, 6, 3, 1.0}, {1, 4, 2, -kOneByRoot3},
    {2, 6, 2, 1.0}, {2, 4, 3, kTwoByRoot3}, {2, 5, 1, 1.0},
};
// clang-format on

/// P(s, p_k) of an atom whose s orbital is nFirst, from 0, and whose p orbitals follow it. mDensity
/// is nOrbitals squared and symmetric; it may be that of a state or of a transition.
DipoleProducts SpProducts(const double* mDensity, int nOrbitals, int nFirst);

/// The same between p and d, each with its weight:
///
///     x: P(xy, y) + P(xz, z) + P(x2-y2, x) - P(z2, x) / sqrt 3
///     y: P(xy, x) - P(x2-y2, y) + P(yz, z) - P(z2, y) / sqrt 3
///     z: P(yz, y) + 2 P(z2, z) / sqrt 3 + P(xz, x)
DipoleProducts PdProducts(const double* mDensity, int nOrbitals, int nFirst);

}  // namespace qsolve
