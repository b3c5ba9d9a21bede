#pragma once

#include "link/memory.h"

namespace qsolve {

/// The levels whose electrons a configuration interaction rearranges, and the occupation from which
/// it does. Levels are counted from 0 at the bottom of the window.
struct CiWindow {
    int nBelow = 0;   ///< levels below the window, doubly occupied in every configuration
    int nLevels = 0;  ///< n
    int nAlphaRef = 0, nBetaRef = 0;  ///< active electrons in the reference determinant
    double dLimit = 0.0;    ///< largest gap of an excitation, unit of the method; or infinity
    Array<double> vOccRef;  ///< n: electrons of each spin in the SCF: 1, 1/2 or 0
};

/// Chooses the window by options.nCiSelection: by the counts of the options, or by the largest
/// excitation, measured between the levels of the SCF (vLevel, N, ascending). Counts that are
/// larger than there are levels are reduced with a warning. In a next lowest state the two open
/// levels count as one that is occupied and one that is not.
CiWindow ChooseWindow(const double* vLevel);

}  // namespace qsolve
