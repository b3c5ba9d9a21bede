#pragma once

#include "scf/electrons.h"
#include "scf/guarded.h"
#include "scf/state.h"
#include "tests/support/scf_job.h"

/// Guarded cycles on a job without the rest of an SCF.

namespace qsolve {

/// Water without symmetry, Angstrom.
const std::vector<Place> kWaterPlaces = {{8, 0, 0, 0}, {1, 0.9572, 0, 0}, {1, -0.24, 0.9266, 0}};

/// A job that is set up, with its integrals and its electrons.
struct GuardedJob {
    explicit GuardedJob(const JobScript& script);

    /// Cycles to a sharp end, then orbitals.
    GuardEnd Converge();
    /// The energy of orbitals turned by rotations, unit of the family; the orbitals stay.
    double EnergyTurned(const std::vector<double>& vTurns);
    /// Orbitals that are no solution: those at hand, turned by fixed rotations up to dTurn radians.
    void Scatter(double dTurn);

    ScfRun run;
    SpinRun a, b;
    Electrons electrons;
};

/// A script with another charge, multiplicity and treatment of the spins.
JobScript Spins(JobScript script, int nCharge, int nMultiplicity, bool fUnrestricted);

}  // namespace qsolve
