#pragma once

#include "integrals/nddo_store.h"

namespace qsolve {

/// The Coulomb integral of MINDO/3 between any two orbitals of two atoms, eV, R in Angstrom:
///
///     gamma = 14.399651703941002 / sqrt(R^2 + t^2),   t = 7.199825851970501 (1/G_A + 1/G_B)
///
/// with G an element's averaged one-centre integral, eV. An element without G repels nothing.
/// R. C. Bingham, M. J. S. Dewar, D. H. Lo, J. Am. Chem. Soc. 97, 1285 (1975).
double MindoCoulomb(const NddoAtom& a, const NddoAtom& b, double dDistance);

/// The derivative of that integral, of the value dGamma, with respect to the distance, eV/Angstrom.
double MindoCoulombSlope(double dGamma, double dDistance);

/// Core-core repulsion of two atoms, eV: Z_A Z_B gamma + |(14.399651703941002/R - gamma) x Z_A Z_B|
/// with x = exp(-alpha_AB R), or alpha_AB exp(-R) for H with N or O.
double MindoCoreCore(const NddoAtom& a, const NddoAtom& b, double dDistance, double dGamma);

/// The derivative of |(14.399651703941002/R - gamma) x Z_A Z_B| with respect to R, eV/Angstrom;
/// dGammaSlope is that of gamma.
double MindoCoreExcessSlope(const NddoAtom& a, const NddoAtom& b, double dDistance, double dGamma,
                            double dGammaSlope);

/// Resonance integral over overlap for orbitals mu of A and nu of B, counted from 0 on their atoms,
/// eV: beta_AB (I_mu + I_nu), I the ionisation potential of the shell.
double MindoResonance(const NddoAtom& a, int mu, const NddoAtom& b, int nu);

/// Coulomb constant of MINDO/3, eV Angstrom, and half of it.
constexpr double kMindoCoulomb = 14.399651703941002;
constexpr double kMindoHalfCoulomb = 7.199825851970501;

}  // namespace qsolve
