#pragma once

/// The orbital basis: one minimal set of valence Slater orbitals per calculated atom, in the order
/// s, px, py, pz, dz2, dxz, dyz, dx2-y2, dxy.

namespace qsolve {

/// Numbers the orbitals over the selection list: fills the three arrays of setup.Map (taken
/// already, one entry a position) and the counts of atoms with p and with d orbitals, and sets
/// setup.nOrbitals. nAtomsWithP leaves out the atoms that also have d. Dummies have no orbitals,
/// and no atom has any in extended Hueckel.
void NumberOrbitals();

/// Takes and fills setup.Map.pOrbitalU, the one-centre energies in eV, and pGuessDensity, the
/// diagonal of the first density: the core charge spread over the orbitals of its atom, less the
/// total charge spread over all. The NDDO methods alone have them; nothing for others.
void BuildGuessVectors();

/// Sets what follows from the number of orbitals: setup.nEvenColumns, the length of the orbital
/// results, the words of the selection, and the pace of the cooperative yield.
void SetOrbitalBlocks();

/// Fills the per-orbital arrays of `setup` (taken already, N entries each): exponents, contraction
/// coefficients, one-centre energies, atom, type and shell.
void BuildOrbitalArrays();

}  // namespace qsolve
