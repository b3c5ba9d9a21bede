#pragma once

namespace qsolve {

/// What one calculation leaves for the next to know. Lives for the process.
struct SessionState {
    bool fResultsExist = false;  ///< a calculation has been attempted
    int nPrevSpinTreatment = 0;  ///< options of the last intake, which new ones have overwritten
    int nPrevDiis = 0;
    int nPrevCiKind = 0;
    int nPrevCalcKind = 0;
    int nPrevOrbitals = 0;  ///< N of the last finished set-up
};
inline SessionState session;

}  // namespace qsolve
