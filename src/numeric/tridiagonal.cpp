#include "numeric/tridiagonal.h"

#include <algorithm>
#include <cmath>

namespace qsolve {
namespace {

/// The eigenvalue of the block of rows m - 1 and m that is nearer to the last element.
double Shift(const double* d, const double* vOff, int m) {
    const double dMiddle = (d[m - 1] + d[m]) / 2.0;
    const double a = d[m] - dMiddle;
    const double r = std::sqrt(a * a + vOff[m - 1] * vOff[m - 1]);
    return dMiddle + (a < 0.0 ? -r : r);
}

/// One step T := R Q + shift with T - shift = Q R, on the rows l .. m.
void QrStep(double* d, double* vOff, int l, int m) {
    const double dShift = Shift(d, vOff, m);
    double c = 1.0, s = 0.0;
    d[l] -= dShift;
    for (int k = l; k < m; ++k) {
        const double r = std::sqrt(vOff[k] * vOff[k] + d[k] * d[k]);
        const double g = d[k] * c, p = vOff[k] * c;  // the rotation before reaches this column too
        if (k > l) vOff[k - 1] = s * r;
        c = r == 0.0 ? 1.0 : d[k] / r;
        s = r == 0.0 ? 0.0 : vOff[k] / r;
        const double h = d[k + 1] - dShift;
        d[k] = (p * c + h * s) * s + dShift + g;
        d[k + 1] = h * c - s * p;
    }
    vOff[m - 1] = d[m] * s;
    d[m] = d[m] * c + dShift;
}

}  // namespace

double TridiagonalNorm(int n, const double* vDiagonal, const double* vOff) {
    double dNorm = std::abs(vDiagonal[0]) + std::abs(vOff[0]);
    for (int i = 1; i < n; ++i)
        dNorm = std::max(dNorm, std::abs(vOff[i - 1]) + std::abs(vDiagonal[i]) + std::abs(vOff[i]));
    return dNorm;
}

int TridiagonalEigenvalues(int n, double dNegligible, double* vValues, double* vOff) {
    int nSteps = 0;
    for (int m = n - 1, nHere = 0; m > 0;) {
        int l = m;
        while (l > 0 && std::abs(vOff[l - 1]) >= dNegligible) --l;
        if (l == m || nHere == kMostSteps) {
            --m;
            nHere = 0;
            continue;
        }
        QrStep(vValues, vOff, l, m);
        ++nHere;
        ++nSteps;
    }
    SortValues(n, vValues);
    return nSteps;
}

void SortValues(int n, double* vValues) {
    std::sort(vValues, vValues + n,
              [](double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); });
}

}  // namespace qsolve
