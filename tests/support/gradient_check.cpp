#include "tests/support/gradient_check.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "gradient/gradient.h"
#include "gradient/state.h"
#include "job/state.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// Step of the differences, Angstrom. With four points the error of the formula is step^4 / 30
/// times the fifth derivative, 1e-6 kcal/(mol Angstrom) for a bond; what the energies of an
/// unrestricted run lack, some 1e-8 kcal/mol, leaves 1e-5. A pair within 1.4e-4 radian of the z
/// axis stands on it for the NDDO integrals: the step has to leave it.
constexpr double kStep = 5e-4;

/// The energy converges with the square of what the density lacks, and slowly where a level is
/// nearly empty: runs go on with the density of the last until two agree, kcal/mol.
constexpr double kSettled = 1e-10;
constexpr int kMostRuns = 8;

double EnergyAt(const std::vector<double>& vAngstrom) {
    SetPositions(vAngstrom);
    double dEnergy = 0.0, dBefore = 1.0;
    for (int i = 0; i < kMostRuns && std::abs(dEnergy - dBefore) > kSettled; ++i) {
        RunScf();
        dBefore = dEnergy;
        dEnergy = scf.dTotalEnergy - scf.dStateCorrection;
    }
    return dEnergy;
}

/// The gradient follows what the density lacks to first order, not to second as the energy does:
/// runs go on until two gradients agree, kcal/(mol Angstrom).
constexpr double kSettledGradient = 1e-5;
constexpr int kMostGradients = 40;

std::vector<double> SettledGradient() {
    std::vector<double> vGradient = GradientOfLastScf();
    double dChange = 1.0;
    for (int i = 0; i < kMostGradients && dChange > kSettledGradient; ++i) {
        RunScf();
        const std::vector<double> vNext = GradientOfLastScf();
        dChange = 0.0;
        for (std::size_t k = 0; k < vNext.size(); ++k)
            dChange = std::max(dChange, std::abs(vNext[k] - vGradient[k]));
        vGradient = vNext;
    }
    return vGradient;
}

double Slope(std::vector<double> vAngstrom, std::size_t i) {
    const double dMiddle = vAngstrom[i];
    const auto EnergyAtStep = [&](int nSteps) {
        vAngstrom[i] = dMiddle + nSteps * kStep;
        return EnergyAt(vAngstrom);
    };
    const double dNear = EnergyAtStep(1) - EnergyAtStep(-1);
    const double dFar = EnergyAtStep(2) - EnergyAtStep(-2);
    return (8.0 * dNear - dFar) / (12.0 * kStep);
}

/// Sums of the forces and of the torques about the origin.
void Balance(const std::vector<double>& vGradient, const std::vector<double>& vAngstrom,
             GradientCheck& check) {
    double vForce[3] = {}, vTorque[3] = {};
    for (std::size_t i = 0; i < vGradient.size() / 3; ++i) {
        const double* g = &vGradient[3 * i];
        const double* x = &vAngstrom[3 * static_cast<std::size_t>(system.nSelectedAtoms[i] - 1)];
        for (int c = 0; c < 3; ++c) {
            const int u = (c + 1) % 3, v = (c + 2) % 3;
            vForce[c] += g[c];
            vTorque[c] += x[u] * g[v] - x[v] * g[u];
        }
    }
    for (int c = 0; c < 3; ++c) {
        check.dForce = std::max(check.dForce, std::abs(vForce[c]));
        check.dTorque = std::max(check.dTorque, std::abs(vTorque[c]));
    }
}

}  // namespace

std::vector<double> GradientOfLastScf() {
    ComputeGradient(scf.mDensityT.Data(), scf.mDensityA.Data(), scf.mDensityB.Data());
    const double dUnit =
        KcalPerUnit(system.MethodId) * (UsesAtomicUnits(system.MethodId) ? kBohrPerAngstrom : 1.0);
    std::vector<double> v(gradient.pGradient.begin(), gradient.pGradient.end());
    for (double& d : v) d *= dUnit;
    return v;
}

GradientCheck CheckGradient(const JobScript& script, const std::vector<double>& vAngstrom) {
    GradientCheck check;
    SetUpJob(script);
    EnergyAt(vAngstrom);
    const std::vector<double> vGradient = SettledGradient();
    Balance(vGradient, vAngstrom, check);
    for (std::size_t i = 0; i < vGradient.size(); ++i) {
        const auto nAtom = static_cast<std::size_t>(system.nSelectedAtoms[i / 3] - 1);
        const double d = std::abs(vGradient[i] - Slope(vAngstrom, 3 * nAtom + i % 3));
        check.dWorst = d <= check.dWorst ? check.dWorst
                       : std::isnan(d)   ? std::numeric_limits<double>::infinity()
                                         : d;
        check.dLargest = std::max(check.dLargest, std::abs(vGradient[i]));
    }
    return check;
}

}  // namespace qsolve
