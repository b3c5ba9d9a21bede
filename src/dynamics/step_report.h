#pragma once

namespace qsolve {

/// A step of dynamics as it is reported.
struct StepResult {
    long long nStep = 0;
    double dTemperature = 0.0;    ///< K
    double dKineticEnergy = 0.0;  ///< kcal/mol
    bool fReport = false;         ///< the client gets it
    bool fLast = false;
    bool fClosing = false;  ///< the log and the status line tell of the end
};

/// Time of a step, ps, as it travels: the product in double, never a running sum.
float TimeOfStep(long long nStep);

/// Puts a step into the result block: time, temperature and total energy always; the other energies
/// and the seed at a report, which also sends block, coordinates and charges.
void ReportStep(const StepResult& step);

/// Ends a run that cannot be followed: warns of a root mean square gradient above 1e3 kcal/mol per
/// Angstrom and active atom's coordinate, and is fatal above 1e5 or where it is no number, both
/// with kMsgLargeGradient.
void CheckForces(long long nStep);

}  // namespace qsolve
