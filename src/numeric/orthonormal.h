#pragma once

namespace qsolve {

/// X := L^-1 X of independent rows X, nRows x n, whose products G = X X^T = L L^T are known: rows
/// that span the same space, orthonormal but for some nRows roundings times the condition of G.
/// Row k is made of the rows up to it, as by Gram and Schmidt: G. H. Golub, C. F. Van Loan, Matrix
/// Computations, 4.2 and 3.1. mGram, nRows x nRows: the upper triangle is read; destroyed. vWork
/// has nRows elements. False, with the rows as they were, where G is not positive definite.
bool OrthonormaliseRows(int nRows, int n, double* mGram, double* vWork, double* mRows);

}  // namespace qsolve
