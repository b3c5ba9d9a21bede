#pragma once

#include "integrals/nddo_store.h"
#include "numeric/lanes.h"

/// Derivatives of the energy of two atoms with s and p orbitals at fixed density. What is turned is
/// the density: into the local frame of the pair, where only 22 integrals and their derivatives
/// with respect to the distance are met. The integrals of a pair depend on its direction through
/// the frame alone, and so a displacement across the axis is a turn of the density there; neither
/// the direction of the frame about its axis nor the z axis of the molecule matters.

namespace qsolve {

/// The charges of two elements (local_charges.h): shift, bohr, and constant, bohr^2, of each term.
struct LocalCharges {
    static constexpr int kRoom = 72;

    bool fPOfA = false, fPOfB = false;
    int nTerms = 0;  ///< rounded up to whole registers
    double vShift[kRoom] = {};
    double vConstant[kRoom] = {};
};

/// The charges of the elements and orbitals of two atoms, wherever they are.
void MakeLocalCharges(const NddoAtom& a, const NddoAtom& b, LocalCharges& charges);

/// The integrals of ComputeLocalIntegrals, eV, and their derivatives with respect to the distance,
/// eV/Angstrom, each kLocalIntegrals long. dDistance in Angstrom; only those that the atoms have
/// are written.
void ComputeLocalDerivatives(const LocalCharges& charges, double dDistance, double* vRi,
                             double* vRiDerivative);

/// A square of the four orbitals s, px, py, pz of an atom, or of two.
struct Square4 {
    Four r[kFour];
};

/// The densities that two atoms repel with:
///
///     E = sum over ij of A, kl of B  A_ij B_kl (ij|kl)
///         - dExchange sum over spins  sum over ij of A, kl of B  P_ik P_jl (ij|kl)
///
/// An atom with an s orbital alone has that in the first entry; in mSpin, of which rows are of A
/// and columns of B, the rows and columns that an atom has not are not read.
struct PairDensity {
    const Square4* pA = nullptr;  ///< A_ij, symmetric
    const Square4* pB = nullptr;
    Square4 mSpin[2];
    int nSpins = 0;
    double dExchange = 0.0;
};

/// What a pair's integrals give to the gradient.
struct PairDerivative {
    double vOfA[3] = {};         ///< dE with respect to the position of A; of B the negative
    double dSs = 0.0;            ///< (ss|ss), eV
    double dSsDerivative = 0.0;  ///< with respect to the distance, eV/Angstrom
};

/// The derivative of E of PairDensity, eV/Angstrom, in MNDO, AM1, PM3 and MNDO/d, for two atoms
/// that are not in one place.
void ComputePairDerivativesSp(const LocalCharges& charges, const PairGeometry& geometry,
                              const PairDensity& density, PairDerivative& derivative);

/// The same in MINDO/3, where all products repel by one value: pA and pB hold electrons, less core
/// charge, in their first entry; mSpin is read whole, with zeros for orbitals that are not there.
void ComputePairDerivativesMindo(const NddoAtom& a, const NddoAtom& b, const PairGeometry& geometry,
                                 const PairDensity& density, PairDerivative& derivative);

}  // namespace qsolve
