#pragma once

#include "integrals/multipole_table.h"
#include "integrals/nddo_store.h"
#include "integrals/rotation.h"

namespace qsolve {

/// The charges of an atom's multipoles, from setup.pExtended. An additive term that the table lacks
/// is infinite.
MultipoleTerms MultipoleTermsOf(const NddoAtom& atom);

/// Molecular orbitals over those of a local frame, whose x, y and z axes stand for the molecule's:
/// m[molecular][local].
struct OrbitalRotation {
    double m[kAtomOrbitals][kAtomOrbitals] = {};
};

/// The frame with its z axis along a unit vector, for 1, 2 or 3 shells.
OrbitalRotation RotationAlong(const double* vDirection, int nShells);

/// Puts the local integrals of s and p into a local block, products of A by products of B, where
/// both products are of s and p. vRi is as ComputeLocalIntegrals leaves it.
void CopySpLocalIntegrals(int nKindA, int nKindB, const double* vRi, double* vLocalBlock);

/// Turns a local block into molecular axes: pBlock, products of A by products of B, with vDirection
/// the unit vector of the local z axis. Returns false and writes nothing where a kind is none of
/// the three or the direction is not a number.
bool RotateLocalBlock(int nKindA, int nKindB, const double* vLocalBlock, const double* vDirection,
                      double* pBlock);

/// Block, core attractions and core-core energy of a pair with d orbitals on either atom, as
/// ComputePairSp. The integrals among s and p are those of ComputeLocalIntegrals, all others those
/// of the multipoles; the cores attract as (mu nu|s s) of their atom.
///
/// Where the tables lack what the integrals need, all of the pair is 0 and ErrorLine says so; so it
/// does of a pair without d orbitals, which is computed all the same.
void ComputePairD(const NddoAtom& a, const NddoAtom& b, const PairGeometry& geometry,
                  double* pBlock, PairTerms& terms);

/// Writes a pair to the log. The atoms are numbered from 1.
void LogPair(int nNumberA, int nNumberB, const NddoAtom& a, const NddoAtom& b, const double* pBlock,
             const PairTerms& terms);

}  // namespace qsolve
