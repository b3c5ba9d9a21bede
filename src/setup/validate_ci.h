#pragma once

namespace qsolve {

/// More configurations than this take a while, and a warning says so.
constexpr long long kLargeCi = 200;

/// Checks the options of configuration interaction against the levels, estimates
/// setup.nCiConfigurations and warns of a large matrix. Nothing without configuration interaction.
/// An energy limit becomes kcal/mol in options.flCiMaxExcitation; its configurations are counted
/// when the level energies are known, and nCiConfigurations is 0 until then.
void ValidateCiOptions();

/// Binomial coefficient; the largest value of its type where it does not fit.
long long Combinations(int n, int k);

}  // namespace qsolve
