#pragma once

/// The end of an SCF in the units of its results: kcal/mol, eV, and the scalars of the result
/// block.

namespace qsolve {

/// Turns the results of an SCF into kcal/mol and eV and fills the energies of the result block.
/// dEnergy is the electronic and dCoreEnergy the core energy in the unit of the method. Once for
/// each SCF, since it scales in place: scf.dStateCorrection and scf.dNextStateCorrection,
/// results.Orbitals.vOrbitalEnergy (hartree to eV, for the methods that work in hartree) and, by
/// FinishGradient, the gradient.
///
/// The restraints enter the total and the binding energy; the heat of formation is that of the
/// molecule without them. In a next lowest state all energies are those of that state. A
/// configuration interaction is told by scf.nCiKind. Where the job writes the total energy of the
/// block itself, because it has a kinetic part, that is left alone.
void FinishEnergies(double dEnergy, double dCoreEnergy);

/// Multiplies gradient.pGradient by dFactor, zeroes the rows of the capping atoms, and sets
/// gradient.dGradientSquared and, over all selected atoms, gradient.dRmsGradient, both per
/// Angstrom: the capping ones count in the mean. Both are 0 where no gradient has been computed.
void FinishGradient(double dFactor);

}  // namespace qsolve
