#pragma once

namespace qsolve {

/// Two ways to bring a Hessian H, n x n and symmetric, to what a step dx has shown: with vChange y,
/// the change of the gradient, H dx = y afterwards. vWork is n long. False, and H as it was, where
/// a denominator is zero or no number.

/// Keeps a positive matrix positive: H += y y^T / y.dx - (H dx)(H dx)^T / dx.H dx. C. G. Broyden,
/// R. Fletcher, D. Goldfarb and D. F. Shanno (1970).
bool UpdateBfgs(int n, const double* vChange, const double* vStep, double* vWork, double* mHessian);

/// Symmetric, of any signature: with T = y - H dx, d = dx.dx and c = T.dx / d,
/// H += (T dx^T + dx T^T - c dx dx^T) / d. M. J. D. Powell, Math. Program. 1, 26 (1971).
bool UpdatePowell(int n, const double* vChange, const double* vStep, double* vWork,
                  double* mHessian);

}  // namespace qsolve
