#pragma once

/// Result delivery: what a job has computed, as packets. All values are single precision on the
/// wire but for SendPreciseResults. Every function may unwind as SendPacket does; without memory
/// for its buffer it ends in Fatal with kMsgOutOfMemory.

namespace qsolve {

/// results.Block, one packet.
void SendResultBlock();

/// Net charge of every atom of the molecule, in atom order, e.
void SendCharges();

/// Coordinates of every atom, in atom order, Angstrom: 1365 atoms a packet. In a periodic box an
/// atom with a single bond goes beside its partner, wherever the box has put it.
void SendCoordinates();

/// Velocities, three for every atom in atom order, 1365 atoms a packet; pVelocities has them by
/// position. Atoms outside the selection have zeros.
void SendVelocities(const double* pVelocities);

/// The number of orbital values, then energies, occupations, order, populations in atom order,
/// symmetry numbers, symmetry labels and the point group: 24 bytes a value and 4. Beta orbitals
/// repeat the symmetry of the alpha ones.
void SendOrbitalData();

/// The orbitals, N x N, in the order of their energies, one a row with its atomic orbitals in atom
/// order: alpha, then, in an unrestricted calculation, beta. Nothing without orbitals; zeros where
/// a failed job has left none.
void SendEigenvectors();

/// The states of a singles configuration interaction: their number, then their records in chunks.
/// States below the reference, whose wavelength is negative, are left out. Nothing for any other
/// job.
void SendCiStates();

/// The normal modes: their number, a ModeRecord for each in the order of the frequencies, the
/// number once more, and the eigenvectors, one a row in the order of the records' nIndex, with x y
/// z of each atom in atom order. Two numbers of 0 where there are none.
void SendVibrations();

/// Results in double precision, for clients that ask for them (options.nExtensions), in packets of
/// type kPacketPrecise: those of SendSections, or, in the form of kPreciseResults, two words
/// (version 1; flags, bit 0: a gradient follows), the total energy in kcal/mol and, if there is
/// one, the gradient as FillGradient has it.
void SendPreciseResults();

/// The sections that options.nExtensions asks for, in one block: SectionsHead, then each as
/// SectionHead and data. What a calculation does not have has no section: the gradient where none
/// was computed, the dipole of a single atom. Starts the counts of SCFs since the last block anew.
void SendSections();

/// Writes the gradient of the last SCF, kcal/(mol Angstrom) whatever the method, three for every
/// atom in atom order; atoms that are not computed are left alone.
void FillGradient(double* pGradient);

/// Reorders rows over orbitals from selection order to atom order: mSource and mTarget are nRows x
/// N. What no atom claims is left at the end of a row as it was.
void ScatterOrbitalRows(const double* mSource, float* mTarget, int nRows);

/// Reorders rows over Cartesian coordinates from selection order to atom order: nRows rows of three
/// values for each selected atom. In a vibrations job the capping atoms, which come last, have no
/// place in either.
void ScatterGradientRows(const double* mSource, float* mTarget, int nRows);

}  // namespace qsolve
