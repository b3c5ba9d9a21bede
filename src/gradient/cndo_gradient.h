#pragma once

namespace qsolve {

/// Adds the part of the energy gradient of CNDO, INDO, ZINDO/1 and ZINDO/S that comes from the
/// repulsion of electrons on different atoms, from their attraction by the cores and from the
/// repulsion of the cores. With gamma the Coulomb integral of two shells, which depends on the
/// distance alone, each pair of atoms adds
///
///     sum over mu of A, nu of B of (P_mu mu P_nu nu - Pa_mu nu^2 - Pb_mu nu^2) dgamma/dR
///     - sum over mu of A of P_mu mu dV_B/dR - sum over nu of B of P_nu nu dV_A/dR + dE_core/dR
///
/// along its axis. V_B is the attraction of an orbital to the core of B as the energy has it:
/// spread over the configurations of a transition metal in ZINDO, that of the s shells of both
/// atoms in CNDO and INDO. Pairs without a Coulomb integral keep their point-charge core repulsion.
///
/// Densities are setup.nOrbitals squared, symmetric; mDensityB is null in a restricted calculation,
/// in which mDensityA is half the total. pGradient has x y z by position, hartree/bohr. Charges
/// Yield for each atom; Fatal with kMsgOutOfMemory where there is no memory for a table of atoms.
void AddCndoGradient(const double* mDensityT, const double* mDensityA, const double* mDensityB,
                     double* pGradient);

}  // namespace qsolve
