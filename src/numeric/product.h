#pragma once

#include <cstddef>

namespace qsolve {

/// A matrix as a product reads it: element (i, j) is pData[i * nRowStep + j * nColumnStep]. A
/// transposed matrix is the same one with its steps exchanged.
struct Factor {
    const double* pData;
    std::ptrdiff_t nRowStep;
    std::ptrdiff_t nColumnStep;
};

/// A row-major matrix with n columns.
inline Factor Plain(const double* m, int n) {
    return {m, n, 1};
}

/// The transposed of a row-major matrix with n columns.
inline Factor Transposed(const double* m, int n) {
    return {m, 1, n};
}

/// Which elements of a result are computed; the others are neither read nor written.
enum class Triangle { kWhole, kLower, kUpper };

/// C_ij += f sum_k A_ik w_k B_kj.
struct Product {
    int nRows;     ///< of A and C
    int nInner;    ///< columns of A, rows of B
    int nColumns;  ///< of B and C
    Factor a, b;
    double* pC;                            ///< row-major, overlaps neither factor
    int nStepC;                            ///< from one row of C to the next
    double dFactor = 1.0;                  ///< f
    const double* vWeights = nullptr;      ///< w, nInner; null for ones
    Triangle triangle = Triangle::kWhole;  ///< the diagonal belongs to either triangle
};

/// Inner terms between two yields of a long product n x n: as many as AddProduct sums at once, and
/// fewer where those would take long.
inline int InnerStrip(int n) {
    return n <= 5000 ? 256 : 96;
}

/// Adds a product to a matrix, blocked for the caches and with a tile of C in registers. Works on
/// about 750 kB of stack, and on all threads where that pays. The result depends on neither their
/// number nor on addresses: equal input, equal bits.
void AddProduct(const Product& product);

/// The same in place of what C held: of a triangle, the other elements stay as they are.
void MakeProduct(const Product& product);

/// C = A B. mA is nRows x nInner, mB nInner x nColumns, mC nRows x nColumns and neither of the two.
void Multiply(int nRows, int nInner, int nColumns, const double* mA, const double* mB, double* mC);

/// C = A B^T. mA is nRows x nInner, mB nColumns x nInner, mC nRows x nColumns and neither of them.
void MultiplyByTransposed(int nRows, int nInner, int nColumns, const double* mA, const double* mB,
                          double* mC);

/// C = A^T B. mA is nInner x nRows, mB nInner x nColumns, mC nRows x nColumns and neither of them.
void MultiplyTransposed(int nRows, int nInner, int nColumns, const double* mA, const double* mB,
                        double* mC);

/// The lower triangle of C = X - X^T, n x n, mC another matrix than mX; what is above stays. With X
/// = A B of symmetric A and B that is their commutator, by one product.
void SubtractTransposed(int n, const double* mX, double* mC);

}  // namespace qsolve
