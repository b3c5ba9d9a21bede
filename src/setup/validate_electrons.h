#pragma once

/// The electrons of the calculated part: how many, and on which levels.

namespace qsolve {

/// Sums the valence electrons of the calculated atoms less the total charge into setup.nElectrons,
/// and clears the counts of levels. Refuses a count below zero, too few electrons for the
/// multiplicity, and more than the orbitals hold.
void CountElectrons();

/// Places the electrons: setup.nElectronsA, nElectronsB in an unrestricted calculation,
/// nDoublyOcc, nOccupied in a restricted one; setup.fCiActive; the counts of setup.Map. Logs the
/// state. Refuses a multiplicity that the electrons cannot have, and a job that cannot be
/// done with configuration interaction. Reads setup.nElectrons and nOrbitals.
void AssignOccupation();

/// Puts setup.nElectrons on levels of alpha and beta spin, with the excess of alpha electrons that
/// the multiplicity asks for.
void FillUnrestrictedLevels(int nMultiplicity);

/// Puts setup.nElectrons on levels of a restricted calculation with nOpen of them singly occupied.
/// With nOpen 0 an odd electron stands alone on a level. Afterwards setup.nOccupied counts all
/// occupied levels.
void FillRestrictedLevels(int nOpen);

/// Shares of alpha and beta electrons in the first density of the NDDO methods, from the counts of
/// setup.Map: both 0 without electrons, 0.5 in place of a share below 1e-6. A UHF calculation with
/// as many alpha as beta electrons gets a bias of 1.1, so that the spins start apart.
void SetGuessFractions();

}  // namespace qsolve
