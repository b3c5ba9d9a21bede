#pragma once

namespace qsolve {

/// What is known of the molecule's symmetry. Lives for one calculation.
struct SymmetryState {
    bool fPointGroupKnown = false;
    bool fOrbitalLabelsKnown = false;
    bool fModeLabelsKnown = false;
};
inline SymmetryState symmetry;

}  // namespace qsolve
