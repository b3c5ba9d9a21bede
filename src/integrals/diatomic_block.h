#pragma once

#include "integrals/rotation.h"
#include "integrals/slater_overlap.h"

/// Overlap of all orbitals of one atom with all orbitals of another, and its derivatives. Blocks
/// are kAtomOrbitals x kAtomOrbitals, row-major, row = orbital of B, column = orbital of A, both in
/// the order of rotation.h; entries of shells that an atom does not have are 0. Atomic units.

namespace qsolve {

/// At this distance and beyond, bohr, two atoms have no overlap and no Slater Coulomb integral;
/// below the other one neither.
constexpr double kFarthest = 100.0, kNearest = 0.001;

/// The smallest exponent that a d function is evaluated with.
constexpr double kSmallestZetaD = 0.3;

/// Coefficients of a double-zeta d function up to this size count as absent.
constexpr double kSmallestCoefficient = 1e-5;

/// Exponents of an atom's shells, 1/bohr, and the d function's coefficients.
struct ShellExponents {
    double dZetaS = 0.0, dZetaP = 0.0;
    double dZetaD1 = 0.0, dZetaD2 = 0.0;
    double dCoefD1 = 1.0, dCoefD2 = 0.0;
};

/// One atom as the overlap sees it.
struct AtomShells {
    int nShells = 0;      ///< 0 none, 1 s, 2 s p, 3 s p d
    int nTermsD = 0;      ///< Slater functions of the d shell
    bool fLight = false;  ///< among the first 18 elements, no d orbitals
    SlaterFunction s, p, d[2];
    double dCoefD[2] = {};
};

/// The shells of element nElement (atomic number, Z + kCappingOffset for a capping atom) with
/// nOrbitals orbitals in a method. A d function of which both coefficients count is the sum of its
/// two terms; any other is the first term with coefficient 1, whatever the coefficient says.
/// Element 0, or no orbitals, gives no shells.
AtomShells MakeAtomShells(int nMethod, int nElement, int nOrbitals,
                          const ShellExponents& exponents);

/// Weights of the sigma and pi parts of the overlap of two p shells; all else keeps its value.
struct OverlapWeights {
    double dSigma = 1.0, dPi = 1.0;
};

/// The overlap block of two atoms, pVector running from A to B in bohr. A block of zeros at
/// distances below kNearest and from kFarthest on.
///
/// Pairs of s and p shells of the first 18 elements take the auxiliary integrals only as far as
/// they need them, so that these are exact wherever the upward recursion serves.
void ComputeDiatomicOverlap(const AtomShells& a, const AtomShells& b, const double* pVector,
                            const OverlapWeights& weights, double* mBlock);

/// The derivatives of that block with respect to the position of A, the first atom, per bohr; those
/// with respect to B are their negatives. Exact also for pairs on or near the z axis.
void ComputeDiatomicOverlapDerivative(const AtomShells& a, const AtomShells& b,
                                      const double* pVector, const OverlapWeights& weights,
                                      double* mBlockX, double* mBlockY, double* mBlockZ);

}  // namespace qsolve
