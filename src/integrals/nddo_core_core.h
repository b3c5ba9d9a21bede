#pragma once

#include "integrals/nddo_store.h"

namespace qsolve {

/// Core-core repulsion of two atoms in the methods of the job, eV, R in Angstrom; dSs is (ss|ss)
/// between them. With s = exp(-alpha_A R) + exp(-alpha_B R),
///
///     E = Z_A Z_B (ss|ss) + |s Z_A Z_B (ss|ss)|
///
/// where N and O next to H (told by the sum of the atomic numbers, so that N next to He is with
/// them) have R exp(-alpha R) for their exponential. AM1 and PM3 add the Gaussians of both atoms,
/// (Z_A Z_B / R) K exp(-L (R - M)^2), whose exponent is never below -25.
///
/// M. J. S. Dewar, W. Thiel, J. Am. Chem. Soc. 99, 4899 (1977); M. J. S. Dewar et al., J. Am. Chem.
/// Soc. 107, 3902 (1985); J. J. P. Stewart, J. Comput. Chem. 10, 209 (1989).
double NddoCoreCore(const NddoAtom& a, const NddoAtom& b, double dDistance, double dSs);

/// The derivative with respect to R of all of this energy but Z_A Z_B (ss|ss), eV/Angstrom;
/// dSsSlope is that of (ss|ss). A Gaussian whose exponent is held at -25 changes by its 1/R alone.
double NddoCoreExcessSlope(const NddoAtom& a, const NddoAtom& b, double dDistance, double dSs,
                           double dSsSlope);

/// One of the Gaussians of a core: K exp(-L (R - M)^2).
struct CoreGaussian {
    double K, L, M;
};
constexpr int kCoreGaussians = 10;
constexpr int kBoronGaussians = 3;

/// AM1's first three Gaussians of boron, which depend on its partner: hydrogen, carbon, a halogen,
/// or any other. The partner is told by the sum of the two atomic numbers.
/// M. J. S. Dewar, C. Jie, E. G. Zoebisch, Organometallics 7, 513 (1988).
const CoreGaussian* BoronGaussians(int nSumOfNumbers);

/// Exponents of Gaussians below this count as this.
constexpr double kLowestGaussianExponent = -25.0;

}  // namespace qsolve
