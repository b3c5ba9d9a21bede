#pragma once

#include "integrals/atom_list.h"

namespace qsolve {

/// Energies that the electrons and the core of an atom give its own orbitals, hartree.
struct AtomCoreEnergies {
    double dS = 0.0, dP = 0.0, dD = 0.0;
};

/// Same-atom Coulomb integrals of an atom, hartree.
struct AtomCoulomb {
    double dSS = 0.0, dSD = 0.0, dDD = 0.0;
};

/// One-centre core terms of an element for shell occupations qS, qP, qD: what its configuration
/// adds to the ionisation potentials to give core elements. Reads the Slater-Condon constants of
/// setup.pZindo; d terms only for the elements of the two transition rows.
AtomCoreEnergies AtomCoreTerms(int nElement, const AtomCoulomb& gamma, double qS, double qP,
                               double qD);

/// The terms of an element averaged over its ground configurations.
AtomCoreEnergies GroundStateCoreTerms(int nElement, const AtomCoulomb& gamma);

/// Attraction by the core of B of an orbital whose Coulomb integrals with the s and the d shell of
/// B are dS and dD. It is linear in them, so that slopes give the slope of the attraction; dD is
/// only read for a transition metal.
double ZindoCoreAttraction(const ListedAtom& b, double dS, double dD);

/// Turns the overlap matrix in mCore into the core Hamiltonian of ZINDO/1 or ZINDO/S, in place, and
/// fills vCoreDiagonal (minus the ionisation potentials, mixed for Sc to Cu) and *pCoreEnergy.
/// Shapes and units as in BuildCndoCore. The resonance integrals are -(beta_mu + beta_nu) S / 2;
/// the core of a transition metal is spread over its configurations d^(Z-2) s^2, d^(Z-1) s and d^Z.
///
/// The core-core energy is that of point charges in ZINDO/1 and Z_A Z_B gamma_AB in ZINDO/S, with
/// the classical charges where some atoms are not selected. Charges Yield for each atom.
///
/// J. Ridley, M. Zerner, Theor. Chim. Acta 32, 111 (1973); A. D. Bacon, M. C. Zerner, Theor. Chim.
/// Acta 53, 21 (1979); W. P. Anderson, W. D. Edwards, M. C. Zerner, Inorg. Chem. 25, 2728 (1986).
void BuildZindoCore(double* mCore, const double* mCoulomb, double* vCoreDiagonal,
                    double* pCoreEnergy, int nLeading, int nOrbitals);

}  // namespace qsolve
