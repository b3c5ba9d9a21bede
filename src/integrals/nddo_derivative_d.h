#pragma once

#include "integrals/nddo_derivative_sp.h"
#include "integrals/nddo_store.h"
#include "integrals/rotation.h"

namespace qsolve {

/// PairDensity of atoms with up to nine orbitals: squares of kAtomOrbitals, rows kAtomOrbitals
/// apart, with zeros for the orbitals that an atom has not.
struct PairDensityD {
    double mA[kAtomOrbitals * kAtomOrbitals];  ///< symmetric
    double mB[kAtomOrbitals * kAtomOrbitals];
    double mSpin[2][kAtomOrbitals * kAtomOrbitals];  ///< rows of A, columns of B
    int nSpins = 0;
    double dExchange = 0.0;
};

/// As ComputePairDerivativesSp, for a pair with d orbitals on either atom: the derivative of the
/// energy of PairDensity at fixed density, with the integrals of ComputePairD.
///
/// Where the tables lack what the integrals need, all is 0 and ErrorLine says so.
void ComputePairDerivativesD(const NddoAtom& a, const NddoAtom& b, const PairGeometry& geometry,
                             const PairDensityD& density, PairDerivative& derivative);

}  // namespace qsolve
