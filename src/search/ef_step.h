#pragma once

/// The step of eigenvector following: rational function optimisation in the eigenvectors of a
/// Hessian, with one mode followed uphill or none. A. Banerjee, N. Adams, J. Simons and R. Shepard,
/// J. Phys. Chem. 89, 52 (1985); J. Baker, J. Comput. Chem. 7, 385 (1986).

namespace qsolve {

/// In what the searches differ in their steps. All else is common.
struct StepRules {
    bool fPlainFirst;      ///< an unshifted step is tried where the Hessian has the shape wanted
    double dRootPart;      ///< of the root in the shift uphill: 0.5 solves the 2 x 2 problem
    bool fNearerPole;      ///< the shift to the trust length keeps below both poles
    double dNearest;       ///< a shift nearer than this to an eigenvalue is at its pole
    double dInverseThere;  ///< what stands there for the inverse distance in the prediction
};

/// A Hessian and a gradient in its eigenvectors: n eigenvalues b, ascending, and components g; m is
/// the followed mode from 0, or -1 where there is none.
struct Spectrum {
    int n;
    int m;
    const double* b;
    const double* g;
};

/// How a step was found: component i is dScale g_i / (shift - b_i), with dLambdaP for the followed
/// mode and dLambda for the others.
struct EfStep {
    double dLambda = 0.0;
    double dLambdaP = 0.0;
    double dScale = 1.0;
    double dLength = 0.0;
    bool fShiftMissing = false;  ///< the shift did not come to rest within its iterations
};

/// The step of at most dTrust (and a slack of 1e-6) in length. vStep gets its n components. A
/// component of the gradient that is zero brings none, whatever its eigenvalue.
EfStep ComputeEfStep(const StepRules& rules, const Spectrum& spectrum, double dTrust,
                     double* vStep);

/// Change of the energy that the quadratic model expects of a step: sum_i (g_i + s_i b_i / 2) s_i.
double PredictedChange(const StepRules& rules, const Spectrum& spectrum, const EfStep& step);

}  // namespace qsolve
