#pragma once

/// The face of the dynamics room: jobs that move the atoms by time or by chance. Each runs after
/// set-up, moves the atoms of the selection that are free to move in system.pCoords, runs an SCF
/// for every geometry, sends the packets of its report points, and leaves the last geometry with
/// its SCF.
///
/// Lengths, temperatures and seed come from the job options. A report point is every
/// nReportPeriod-th step, the first and the last. Fatal where a phase is too short for its change
/// of temperature (kMsgHeatingTooShort, kMsgCoolingTooShort), where forces get too large to follow
/// (kMsgLargeGradient, with a smaller bound as a warning), and without memory (kMsgOutOfMemory). A
/// step size below 1e-6 is told on the error channel, and the job goes on.

namespace qsolve {

/// Newton's equations by the leapfrog scheme: velocities stand half a step before the places they
/// are sent with. Temperature and kinetic energy of a step are the means of the half steps beside
/// it. L. Verlet, Phys. Rev. 159, 98 (1967); H. J. C. Berendsen et al., J. Chem. Phys. 81, 3684
/// (1984), for the bath.
void RunMolecularDynamics();

/// The Langevin equation with friction flFriction, 1/ps: velocities, temperature and energies are
/// those of the step itself. Without friction it is velocity Verlet.
void RunLangevin();

/// Metropolis sampling: in each step every atom that may move is tried once, displaced within a
/// cube of half edge flTimeStep, Angstrom, and accepted by the Boltzmann factor of flSimTemp. The
/// times of the job are counts of steps. N. Metropolis et al., J. Chem. Phys. 21, 1087 (1953).
/// Advances job.nRandomSeed.
void RunMonteCarlo();

}  // namespace qsolve
