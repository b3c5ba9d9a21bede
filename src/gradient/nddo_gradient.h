#pragma once

namespace qsolve {

/// Adds the part of the energy gradient of MINDO/3, MNDO, AM1, PM3 and MNDO/d that comes from the
/// two-centre integrals, the cores and the classical charges. The energy of two atoms is
///
///     E_AB = sum over mu nu of A, lambda sigma of B of (mu nu|lambda sigma)
///                (D_mu nu D_lambda sigma - Pa_mu lambda Pa_nu sigma - Pb_mu lambda Pb_nu sigma)
///            + E'_AB
///
/// where D is the total density less the atom's core charge in its entry ss, since a core attracts
/// electrons as a density in s would, and E' is what the cores repel beyond Z_A Z_B (ss|ss). That
/// of an atom A and a classical charge q at P is -q sum of D_mu nu (mu nu|ss) + E'_AP; the
/// classical atom does not move and gets nothing.
///
/// Densities are setup.nOrbitals squared, symmetric; mDensityB is null in a restricted calculation,
/// in which mDensityA is half the total. pGradient has x y z by position, eV/Angstrom. Charges
/// Yield for each atom; Fatal with kMsgOutOfMemory where there is no memory for tables of atoms and
/// elements.
void AddNddoGradient(const double* mDensityT, const double* mDensityA, const double* mDensityB,
                     double* pGradient);

}  // namespace qsolve
