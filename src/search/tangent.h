#pragma once

namespace qsolve {

/// Where a tangent between two geometries has no direction.
enum class TangentFault { kNone, kIdentical, kAtProduct, kAtReactant };

/// Tangent of the straight line from vReactant to vProduct, n numbers each, of unit length; with a
/// fault as long as the line.
TangentFault LinearTangent(int n, const double* vReactant, const double* vProduct,
                           double* vTangent);

/// Unit tangent, at vPlace, of the circle through vReactant, vPlace and vProduct, in the sense from
/// the reactant to the product. With a fault what came of the formula, or zero where that is no
/// number.
TangentFault QuadraticTangent(int n, const double* vReactant, const double* vPlace,
                              const double* vProduct, double* vTangent);

}  // namespace qsolve
