#pragma once

#include <cstddef>

#include "numeric/product.h"

/// Two-electron integrals over molecular orbitals, in the unit of the method family:
///
///     (ab|cd) = sum over m n l s of a_m b_n c_l d_s (mn|ls)
///
/// Under zero differential overlap m and n stand on one atom, and so do l and s, so that the
/// integral is a bilinear form of two short vectors: x, what the product of a and b is, and y, the
/// potential of the product of c and d. Whoever needs many integrals fills x once for each product
/// and y once for each product, and takes (ab|cd) = Dot(MoProductSize(), x, y) for each pair.
///
/// A product holds the lower triangles of all atoms in the order of their orbitals, off the
/// diagonal a_m b_n + a_n b_m. Behind them stand the charges that the methods with monopoles repel
/// by, from the same diagonal: one an orbital in CNDO, INDO and ZINDO, one an atom in MINDO/3, none
/// in the others. Orbitals are vectors of N coefficients; the integrals are those of the last SCF.

namespace qsolve {

/// Entries of a product and of a potential. The same for a whole job.
int MoProductSize();

/// The product of two orbitals.
void FillMoProduct(const double* vA, const double* vB, double* vProduct);

/// The potential of a product: what each entry of another one is to be multiplied with. Yields.
void FillMoPotential(const double* vProduct, double* vPotential);

/// Orbitals, each a column of a matrix of N rows.
struct OrbitalColumns {
    const double* mOrbitals;
    int nStep;  ///< from one row to the next
    int nCount;
};

/// The products of all pairs of an orbital of a and one of b, each a column of mProducts,
/// MoProductSize() x nStep, in the order of a and within that of b. Of a lower triangle, each of a
/// with those of b up to its own number.
void FillMoProducts(const OrbitalColumns& a, const OrbitalColumns& b, Triangle triangle,
                    double* mProducts, int nStep);

/// The repulsion of all entries, MoProductSize() x MoProductSize(): times a product it is the
/// potential, but for what keeps states apart in CNDO, since it is what the SCF's electrons repel
/// by.
void FillMoRepulsion(double* mRepulsion);

/// (ab|cd) by itself. vWork has 2 MoProductSize() entries. Yields.
double MoIntegral(const double* vA, const double* vB, const double* vC, const double* vD,
                  double* vWork);

}  // namespace qsolve
