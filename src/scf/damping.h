#pragma once

namespace qsolve {

/// Damps a new density against the one before it: a diagonal element moves by at most 0.05 once
/// nCounter is above 3 and stays within 0 .. 2, and at every third nCounter the whole density is
/// thrown forward by the ratio of the first to the second differences of its diagonal.
///
/// mDensity, the new density, and mDensityPrev, n x n, both become the result; vDiagOlder, n, the
/// diagonal two cycles back, becomes the one before. Returns the largest change of a diagonal
/// element before damping.
double DampDensity(int n, int nCounter, double* mDensity, double* mDensityPrev, double* vDiagOlder);

}  // namespace qsolve
