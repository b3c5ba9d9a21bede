#pragma once

namespace qsolve {

/// Energy that a trial may gain against the temperature's before it is turned down undrawn.
constexpr double kHopelessGain = 75.0;

/// What a trial's gain of energy says.
enum class Verdict { kAccept, kReject, kDraw };

/// Judges a gain of dGain (any unit) at a thermal energy dThermal (the same): no gain is accepted,
/// 75 times the thermal energy and more rejected, as is what is no number, and between them a draw
/// decides. Without thermal energy any gain is rejected.
Verdict JudgeTrial(double dGain, double dThermal);

/// Whether a number drawn from 0 .. 1 accepts a gain: u < exp(-dGain / dThermal).
bool IsAccepted(double dGain, double dThermal, double u);

}  // namespace qsolve
