#pragma once

namespace qsolve {

/// The places of all atoms in bohr, in properties.vPlotBohr, for as long as it lives. They are
/// those of the last SCF in the first plot after it.
///
/// A plot takes them to bohr and back by two factors that are no inverses of each other, and in
/// single precision: of the methods that work in Angstrom each further plot sees the atoms moved in
/// their last digits. That is meant: clients that compare plots know it.
class PlotPositions {
  public:
    PlotPositions();
    ~PlotPositions();
    PlotPositions(const PlotPositions&) = delete;
    PlotPositions& operator=(const PlotPositions&) = delete;
};

/// Place of an atom, by its number from 1, while PlotPositions live: x y z, bohr.
const float* PlotPlace(int nAtom);

}  // namespace qsolve
