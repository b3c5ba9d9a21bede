#include "search/hessian_update.h"

#include <cmath>

#include "numeric/row.h"
#include "numeric/trace.h"

namespace qsolve {
namespace {

bool CanDivideBy(double d) {
    return d != 0.0 && std::isfinite(1.0 / d) && std::isfinite(d);
}

/// v := H dx.
void Multiply(int n, const double* mHessian, const double* vStep, double* v) {
    for (int i = 0; i < n; ++i) v[i] = Dot(n, Row(mHessian, n, i), vStep);
}

/// Adds term(i, j) to both triangles.
template <class Term>
void AddSymmetric(int n, const Term& term, double* m) {
    for (int i = 0; i < n; ++i)
        for (int j = 0; j <= i; ++j) Row(m, n, j)[i] = Row(m, n, i)[j] += term(i, j);
}

}  // namespace

bool UpdateBfgs(int n, const double* y, const double* dx, double* vWork, double* mHessian) {
    Multiply(n, mHessian, dx, vWork);
    const double dChange = Dot(n, y, dx), dOld = Dot(n, dx, vWork);
    if (!CanDivideBy(dChange) || !CanDivideBy(dOld)) return false;
    AddSymmetric(
        n, [&](int i, int j) { return y[i] * y[j] / dChange - vWork[i] * vWork[j] / dOld; },
        mHessian);
    return true;
}

bool UpdatePowell(int n, const double* y, const double* dx, double* vWork, double* mHessian) {
    Multiply(n, mHessian, dx, vWork);
    for (int i = 0; i < n; ++i) vWork[i] = y[i] - vWork[i];
    const double d = Dot(n, dx, dx);
    if (!CanDivideBy(d)) return false;
    const double c = Dot(n, vWork, dx) / d;
    if (!std::isfinite(c)) return false;
    AddSymmetric(
        n,
        [&](int i, int j) { return (vWork[i] * dx[j] + dx[i] * vWork[j] - c * dx[i] * dx[j]) / d; },
        mHessian);
    return true;
}

}  // namespace qsolve
