#include "tests/support/gradient_check.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "gradient/gradient.h"
#include "gradient/state.h"
#include "link/state.h"
#include "scf/scf.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/support/scf_job.h"

namespace qsolve {
namespace {

/// Step of the differences, Angstrom: the third derivative of a bond's energy, some 1e4 kcal/mol,
/// leaves 2e-5; what is left of 1e-9 kcal/mol in the energies as much.
constexpr double kStep = 1e-4;

/// The energy converges with the square of what the density lacks; each run goes on with the
/// density of the last, and the energies agree before it does.
constexpr int kRuns = 4;

double EnergyAt(const std::vector<double>& vAngstrom, int nRuns = 1) {
    SetPositions(vAngstrom);
    for (int i = 0; i < nRuns; ++i) RunScf();
    return scf.dTotalEnergy - scf.dStateCorrection;
}

double Slope(std::vector<double> vAngstrom, std::size_t i) {
    const double dMiddle = vAngstrom[i];
    vAngstrom[i] = dMiddle + kStep;
    const double dUp = EnergyAt(vAngstrom);
    vAngstrom[i] = dMiddle - kStep;
    return (dUp - EnergyAt(vAngstrom)) / (2 * kStep);
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
    EnergyAt(vAngstrom, kRuns);
    const std::vector<double> vGradient = GradientOfLastScf();
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
