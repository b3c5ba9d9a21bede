#include "search/tangent.h"

#include <cmath>

namespace qsolve {
namespace {

constexpr double kShortest = 1e-10;  ///< square of a distance below which there is none
constexpr double kFloor = 1e-20;

}  // namespace

TangentFault LinearTangent(int n, const double* vReactant, const double* vProduct,
                           double* vTangent) {
    double dSquare = 0.0;
    for (int i = 0; i < n; ++i) {
        vTangent[i] = vProduct[i] - vReactant[i];
        dSquare += vTangent[i] * vTangent[i];
    }
    if (dSquare < kShortest) return TangentFault::kIdentical;
    const double dLength = std::sqrt(dSquare);
    for (int i = 0; i < n; ++i) vTangent[i] /= dLength;
    return TangentFault::kNone;
}

TangentFault QuadraticTangent(int n, const double* vReactant, const double* vPlace,
                              const double* vProduct, double* vTangent) {
    double A = kFloor, B = kFloor, C = kFloor;
    for (int i = 0; i < n; ++i) {
        const double a = vProduct[i] - vPlace[i], b = vReactant[i] - vPlace[i];
        A += a * a;
        B += b * b;
        C += a * b;
    }
    double h = std::sqrt(A * B / (A + B - 2.0 * C));
    if (!std::isfinite(h)) h = 0.0;
    for (int i = 0; i < n; ++i)
        vTangent[i] = ((vProduct[i] - vPlace[i]) / A - (vReactant[i] - vPlace[i]) / B) * h;
    if (A < kShortest) return TangentFault::kAtProduct;
    return B < kShortest ? TangentFault::kAtReactant : TangentFault::kNone;
}

}  // namespace qsolve
