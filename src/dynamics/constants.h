#pragma once

namespace qsolve {

/// Acceleration in Angstrom/ps^2 of one atomic mass unit by a force of 1 kcal/(mol Angstrom).
constexpr double kAcceleration = 418.4;

// Boltzmann's constant, kcal/(mol K), and its multiples as temperatures and energies use them.
constexpr double kBoltzmann = 0.001987191682600382;
constexpr double kThreeBoltzmann = 0.005961575047801146;
constexpr double kHalfBoltzmann = 0.000993595841300191;

/// Of a trial's acceptance, in single precision.
constexpr float kSamplingBoltzmann = 0.0019871916F;

// Bohr in an Angstrom, each with the digits of its use: time steps of the leapfrog, places and
// velocities of the Langevin step, which knows the second to more digits, and trial moves.
constexpr double kLeapfrogBohr = 1.889726;
constexpr double kLangevinPlaceBohr = 1.889725985;
constexpr double kLangevinVelocityBohr = 1.8897259850078587;
constexpr double kTrialBohr = 1.889725985;

/// The least temperature that velocities are scaled from, K, and the least time step, ps, or
/// displacement, Angstrom, that passes without an error line.
constexpr double kLeastTemperature = 1e-6;
constexpr double kLeastStep = 1e-6;

}  // namespace qsolve
