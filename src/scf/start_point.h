#pragma once

#include "link/memory.h"

namespace qsolve {

/// What one SCF of a job hands on to the next: densities, and what the level shift remembers.
struct StartPoint {
    Array<double> mDensityT, mDensityA, mDensityB;
    double dSavedShiftA = 0.0, dSavedShiftB = 0.0, dSavedTarget = 0.0;
};

/// Keeps the start that the next SCF would have. Fatal with kMsgOutOfMemory where there is no
/// memory.
void KeepStartPoint(StartPoint& start);

/// Gives the next SCF that start again: what it computes then does not depend on what has been
/// computed since, to the last bit.
void RestoreStartPoint(const StartPoint& start);

/// Turns the start at a point beside a reference into one for the point as far on its other side:
/// densities change by as much the other way, to first order.
void MirrorStartPoint(const StartPoint& reference, StartPoint& start);

}  // namespace qsolve
