#pragma once

#include "integrals/nddo_store.h"

namespace qsolve {

/// The integrals of s and p orbitals on two atoms in their local frame: z from B to A, orbitals s,
/// sigma along z, pi and pi' across it. R in Angstrom, vRi kLocalIntegrals, eV. The products are
/// replaced by point charges (s s: 1; s p: +-1/2 at +-D1; p p: 1 and 1/4, -1/2, 1/4 at -2 D2, 0,
/// 2 D2; sigma pi: 1/4 of alternating sign at (+-D2, +-D2)), and charges q1 and q2 at r interact as
///
///     27.211396 q1 q2 / sqrt(r^2 + (rho1 + rho2)^2)
///
/// with the additive term of each multipole, rho0, rho1 or rho2. In the order of vRi, A before B:
///
///      0 (ss|ss)         1 (s sigma|ss)           2 (sigma sigma|ss)     3 (pi pi|ss)
///      4 (ss|s sigma)    5 (s sigma|s sigma)      6 (s pi|s pi)
///      7 (sigma sigma|s sigma)    8 (pi pi|s sigma)       9 (sigma pi|s pi)
///     10 (ss|sigma sigma)        11 (ss|pi pi)
///     12 (s sigma|sigma sigma)   13 (s sigma|pi pi)      14 (s pi|sigma pi)
///     15 (sigma sigma|sigma sigma)   16 (pi pi|sigma sigma)   17 (sigma sigma|pi pi)
///     18 (pi pi|pi pi)   19 (sigma pi|sigma pi)   20 (pi pi|pi' pi')   21 (pi pi'|pi pi')
///
/// The last is half the difference of 18 and 20, which keeps the block invariant under rotation.
/// Only those of the atoms' orbitals are written: entry 0; 1 to 3 where A has p; 4, 10 and 11 where
/// B has; all where both have. d orbitals are not looked at.
///
/// M. J. S. Dewar, W. Thiel, Theor. Chim. Acta 46, 89 (1977).
void ComputeLocalIntegrals(const NddoAtom& a, const NddoAtom& b, double dDistance, double* vRi);

/// Coefficients of p orbitals over sigma, pi and pi': p_i = e_i sigma + y_i pi + z_i pi'.
struct LocalFrame {
    double e[3], y[3], z[3];
};

/// The local frame of a unit vector: y across it in the xy plane, z across both. On the z axis,
/// and only there, y and x are taken. A wider margin, as 1e-8 in the z component, would leave a
/// pair near the axis with axes that are not at right angles, and with an energy that depends on
/// how the molecule lies (2e-3 kcal/mol in water). No vector at all counts as the axis.
LocalFrame FrameOf(const double* vDirection);

/// The integrals of an atom with p with the monopole of another atom, in molecular axes: ten. vRi
/// holds (ss|, (s sigma|, (sigma sigma| and (pi pi| with |ss).
void RotateWithMonopole(const LocalFrame& frame, const double* vRi, double* pBlock);

/// Block, core attractions and core-core energy of a pair without d orbitals, in molecular axes.
/// pBlock is a.nProducts x b.nProducts. In MINDO/3 the block is
/// the one value of MindoCoulomb, and attracts on the diagonal alone. The atoms are not in one
/// place.
void ComputePairSp(const NddoAtom& a, const NddoAtom& b, const PairGeometry& geometry,
                   double* pBlock, PairTerms& terms);

}  // namespace qsolve
