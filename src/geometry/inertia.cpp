#include "geometry/inertia.h"

#include <cmath>

#include "numeric/jacobi.h"
#include "numeric/matrix3.h"

namespace qsolve {
namespace {

/// Added to element k of the tensor, k from 1, so that equal moments have axes of their own.
constexpr double kPerturbation = 1e-10;

void FillCentre(int nAtoms, const double* vXyz, const double* vMass, double* vCentre) {
    double dMass = 0.0;
    for (int i = 0; i < nAtoms; ++i) dMass += vMass[i];
    for (int x = 0; x < 3; ++x) vCentre[x] = 0.0;
    if (dMass == 0.0) return;
    for (int i = 0; i < nAtoms; ++i)
        for (int x = 0; x < 3; ++x) vCentre[x] += vMass[i] / dMass * vXyz[3 * i + x];
}

/// The lower triangle of the inertia tensor about the centre.
void FillTensor(int nAtoms, const double* vXyz, const double* vMass, const double* vCentre,
                double* mTensor) {
    for (int x = 0, k = 1; x < 3; ++x)
        for (int y = 0; y <= x; ++y, ++k) mTensor[3 * x + y] = k * kPerturbation;
    for (int i = 0; i < nAtoms; ++i) {
        double r[3];
        for (int x = 0; x < 3; ++x) r[x] = vXyz[3 * i + x] - vCentre[x];
        const double r2 = Dot3(r, r);
        for (int x = 0; x < 3; ++x) {
            for (int y = 0; y <= x; ++y) mTensor[3 * x + y] -= vMass[i] * r[x] * r[y];
            mTensor[4 * x] += vMass[i] * r2;
        }
    }
}

}  // namespace

Inertia ComputeInertia(int nAtoms, const double* vXyz, const double* vMass,
                       double dAngstromSquared) {
    Inertia inertia;
    double mTensor[9];
    double* mAxes = inertia.mAxes;
    FillCentre(nAtoms, vXyz, vMass, inertia.vCentre);
    FillTensor(nAtoms, vXyz, vMass, inertia.vCentre, mTensor);
    DiagonaliseByJacobi(3, mTensor, mAxes, inertia.vMoment);
    for (int k = 0; k < 3; ++k) {
        double& I = inertia.vMoment[k];
        I *= dAngstromSquared;
        if (I < kLeastMoment) I = 0.0;
        inertia.vConstant[k] = I == 0.0 ? 0.0 : kConstantOfMoment / I;
    }
    double vCross[3];
    Cross3(mAxes, mAxes + 3, vCross);
    if (Dot3(vCross, mAxes + 6) < 0.0)
        for (int x = 0; x < 3; ++x) mAxes[x] = -mAxes[x];
    return inertia;
}

int CountExternalModes(const Inertia& inertia) {
    constexpr double kNone = 1e-20;
    return std::abs(inertia.vMoment[0]) < kNone ? 5 : 6;
}

}  // namespace qsolve
