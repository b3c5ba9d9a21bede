#include "numeric/forms/forms.h"
#include "numeric/forms/wide.h"

namespace qsolve::QSOLVE_FORM {

void SumPoles(int n, const double* vPoles, const double* vWeights, double dOrigin, double dShift,
              double* pSum, double* pSlope) {
    Wide sum{}, slope{}, d, w;
    int i = 0;
    for (; i + kWide <= n; i += kWide) {
        Load(vPoles + i, d), Load(vWeights + i, w);
        const Wide r = 1.0 / ((d - dOrigin) - dShift), t = w * r;
        sum += t;
        slope += t * r;
    }
    double dSum = 0.0, dSlope = 0.0;
    for (; i < n; ++i) {
        const double r = 1.0 / ((vPoles[i] - dOrigin) - dShift), t = vWeights[i] * r;
        dSum += t;
        dSlope += t * r;
    }
    *pSum = Sum(sum) + dSum;
    *pSlope = Sum(slope) + dSlope;
}

void MultiplyRatios(int n, const double* vPoles, double dOrigin, double dShift, double dPole,
                    double* __restrict v) {
    for (int i = 0; i < n; ++i) v[i] *= ((vPoles[i] - dOrigin) - dShift) / (vPoles[i] - dPole);
}

double FillPoles(int n, const double* vPoles, const double* vZ, double dOrigin, double dShift,
                 double* __restrict v) {
    for (int i = 0; i < n; ++i) v[i] = vZ[i] / ((vPoles[i] - dOrigin) - dShift);
    return Dot(n, v, v);
}

}  // namespace qsolve::QSOLVE_FORM
