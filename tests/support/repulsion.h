#pragma once

#include <vector>

namespace qsolve {

/// The electrons' part of the Fock matrix by the method's own builders, G = J[P] - K[Q], for a
/// total density P and the density Q of the spin, N x N and symmetric. The integrals are those of
/// the last SCF.
std::vector<double> Repulsion(const std::vector<double>& mTotal, const std::vector<double>& mSpin);

/// Energy of the electrons in a determinant of orbitals of the last SCF, kcal/mol, from densities
/// and Fock matrices of both spins; levels from 0.
double DeterminantEnergy(const std::vector<int>& alpha, const std::vector<int>& beta);

}  // namespace qsolve
