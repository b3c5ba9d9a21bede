#pragma once

namespace qsolve {

/// Sums over the calculated atoms: setup.dAtomicEnergy, the energy of the isolated atoms in
/// kcal/mol, and setup.dHeatCorrection, their heats of formation less that, which turns a total
/// energy into a heat of formation. Both 0 for extended Hueckel.
void SumAtomicEnergies();

}  // namespace qsolve
