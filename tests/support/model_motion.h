#pragma once

#include <string>
#include <vector>

#include "dynamics/dynamics.h"
#include "dynamics/state.h"
#include "tests/support/model_potential.h"

/// Jobs that move atoms on a model potential, and what their client receives.

namespace qsolve {

/// The packets of one report point, numbers by atom.
struct MotionReport {
    std::vector<float> Velocities;  ///< empty in Monte Carlo
    ResultBlock Block;
    std::vector<float> Places;
};

class MotionTest : public ModelTest {
  protected:
    MotionTest();

    /// Atoms of one mass (amu) at places x y z, working unit; all selected unless told otherwise.
    void Atoms(const std::vector<double>& x, float flMass, std::vector<int> selection = {});

    /// A time step (ps) and a run of so many steps, reported every nPeriod-th.
    static void Steps(double dTimeStep, int nSteps, int nPeriod = 1);

    /// Heating and cooling phases of so many steps, K.
    static void Heat(int nSteps, float flFrom, float flTo, float flStep);
    static void Cool(int nSteps, float flTo, float flStep);

    /// Runs a job of the kind on the potential, from the places that Atoms was given, as a new
    /// session would. Velocities, three by atom, restart it if there are any.
    void Run(CalcKind nKind, Potential energy, const std::vector<float>& velocities = {});

    /// The same for a run that ends in a fatal text, which is returned; "" if it does not.
    std::string Failure(CalcKind nKind, Potential energy);

    std::vector<MotionReport> Reports;  ///< of the last run
    bool CapLast = false;               ///< the last atom is a capping one

  private:
    std::vector<double> Start_;
    std::vector<int> Selection_;
    float flMass_ = 1.0F;
};

/// No forces.
Potential Nothing();

/// k/2 (r - r0)^2 between the first two atoms.
Potential Spring(double dForce, double dLength);

/// D (1 - exp(-a (r - r0)))^2 between the first two atoms.
Potential Morse(double dDepth, double dRange, double dLength);

}  // namespace qsolve
