#pragma once

#include "ci/pairs.h"

namespace qsolve {

/// S^2 over configurations. Off the diagonal it has elements of 1, between two of which an exchange
/// of opposite spins makes one the other.
struct SpinOperator {
    double dHalfElectrons = 0.0;  ///< half the electrons of the window
    Array<double> vSpinDiag;      ///< nConfigs: what the diagonal is short of that
    Lists<int> vSpinLink;         ///< by configuration: those it is linked to; each pair once
};

/// Fills the operator. Without memory: Fatal. Yields.
void FillSpinOperator(const Determinants& d, const ConfigLists& lists, SpinOperator& spin);

/// S(S + 1) of a state of unit length, vState having nConfigs coefficients.
double SpinSquare(const SpinOperator& spin, const double* vState);

/// S of S(S + 1), which rounding may have left below 0.
double SpinOf(double dSpinSquare);

/// S(S + 1) of a multiplicity from 1 to 7; of others a value that no state has.
double TargetSpinSquare(int nMultiplicity);

}  // namespace qsolve
