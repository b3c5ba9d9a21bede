#pragma once

#include "scf/electrons.h"

/// Densities and orbitals that an SCF can start from.

namespace qsolve {

/// Whether there are as many electrons of one spin as of the other, each with orbitals of its own:
/// densities that are alike stay so then.
bool HasEqualSpins(const Electrons& electrons);

/// The densities of a job's first SCF: the electrons of each atom spread over its orbitals, shared
/// by the spins in their numbers; with fApart the spins are set apart a little, to different sides
/// on neighbouring orbitals. All families; the densities hold the electrons that the levels want.
void GuessPopulations(Electrons& electrons, bool fApart);

/// The orbitals of the core Hamiltonian alone, and their densities.
void GuessFromCore(Electrons& electrons);

/// Turns the occupied orbitals by rotations up to dTurn radians that follow from nSeed alone, by
/// others in the second set, and makes the densities.
void ScatterOrbitals(Electrons& electrons, int nSeed, double dTurn);

/// Exchanges orbitals p and q of one set and makes the densities. False, with nothing done, where
/// there are no such levels or they are filled alike.
bool ExchangeLevels(Electrons& electrons, int nSet, int p, int q);

}  // namespace qsolve
