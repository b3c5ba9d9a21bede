#pragma once

namespace qsolve {

/// What a step has brought.
struct Outcome {
    double dNorm;       ///< of the gradient that it started from, kcal/mol per working unit
    double dPredicted;  ///< change of the energy in the quadratic model, kcal/mol
    double dChange;     ///< and that of the energy
    double dLength;     ///< of the step, working unit

    double Ratio() const { return dChange / dPredicted; }
    bool IsSmall() const;  ///< both changes are, so that their ratio says nothing
};

/// How far a search trusts its quadratic model. Lengths in the working unit.
struct TrustRules {
    double dStart, dMost, dLeast;
    double dPoor;               ///< ratios up to this one halve the radius, as do those from 3
    double dGoodFrom, dGoodTo;  ///< ratios that let it grow
};

/// The radius after a step that was refused: half of what was gone or could have been.
double ShorterTrust(double dTrust, double dLength);

/// The radius after a step that was taken.
double TrustAfter(const TrustRules& rules, const Outcome& outcome, double dTrust);

}  // namespace qsolve
