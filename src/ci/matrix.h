#pragma once

#include "ci/mo_table.h"
#include "ci/pairs.h"
#include "ci/window.h"

/// The electrons of a window: energies of configurations and elements between them, by the rules of
/// Slater and Condon. J. C. Slater, Phys. Rev. 34, 1293 (1929); E. U. Condon, Phys. Rev. 36, 1121
/// (1930).

namespace qsolve {

/// One- and two-electron energies of a window, unit of the method. The one-electron energies hold
/// the core and all electrons below the window.
struct ActiveEnergies {
    Array<double> vActiveEnergy;  ///< n: h_i
    Array<double> mCoulomb;       ///< n x n: J_ij = (ii|jj)
    Array<double> mExchange;      ///< n x n: K_ij = (ij|ij)
    double dReference = 0.0;      ///< of the window's electrons in the SCF
};

/// Takes the energies out of a window of an SCF with the level energies vEnergy (N, ascending),
///
///     h_i = e_i - sum_j (2 J_ij - K_ij) n_j,
///
/// n_j being the electrons of each spin in level j. Without memory: Fatal.
void FillActiveEnergies(const CiWindow& window, const double* vEnergy, const MoTable& table,
                        ActiveEnergies& energies);

/// Energy of a configuration, relative to that of the window's electrons in the SCF.
double ConfigurationEnergy(const ActiveEnergies& energies, const Determinants& d, int nConfig);

/// What the elements between configurations are made from.
struct CiOperator {
    const CiWindow& Window;
    const MoTable& Table;
    const ActiveEnergies& Energies;
    const Determinants& Configs;
    const ConfigLists& Lists;
};

/// Element between a configuration and the one that a move of one electron makes of it. Off the
/// diagonal the Fock matrix of the SCF is zero, so that the element is what the occupation of the
/// configuration changes of it:
///
///     sum_m (A_m - n_m) ((ij|mm) - (im|jm)) + (B_m - n_m) (ij|mm)
double SingleElement(const CiOperator& ci, int nConfig, MovedSpin spin, const Move& move);

/// Calls add(k, q, element) for every configuration with itself, and once for every two between
/// which there can be an element. Yields.
template <class Add>
void ForEachElement(const CiOperator& ci, Add add) {
    const Determinants& d = ci.Configs;
    for (int k = 0; k < d.nConfigs; ++k) add(k, k, ConfigurationEnergy(ci.Energies, d, k));
    ForEachSingle(d, ci.Lists, [&](int k, int q, MovedSpin spin, const Move& move) {
        add(k, q, SingleElement(ci, k, spin, move));
    });
    ForEachDoubleOfOneSpin(d, ci.Lists, [&](int k, int q, const Difference& x) {
        const int *i = x.nHole, *j = x.nParticle;
        add(k, q,
            x.nSign * (Integral(ci.Table, i[0], j[0], i[1], j[1]) -
                       Integral(ci.Table, i[0], j[1], i[1], j[0])));
    });
    ForEachDoubleOfBothSpins(
        d, ci.Lists, [&](int k, int q, const Move& i, const Move& j, int nSign) {
            add(k, q, nSign * Integral(ci.Table, i.nHole, i.nParticle, j.nHole, j.nParticle));
        });
}

}  // namespace qsolve
