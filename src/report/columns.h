#pragma once

#include "link/link.h"

namespace qsolve {

/// The arguments of one line of a table with several columns, and how it goes to the log.
class TableLine {
  public:
    /// Appends an argument; at most kMost fit.
    void Add(const Argument& argument) { Items_[nItems_++] = argument; }

    /// Appends label, element and atom number of an orbital (from 0), in the order of a matrix.
    void AddMatrixLabel(int nOrbital);

    /// Appends atom number, label and element of an orbital (from 0), in the order of a population.
    void AddPopulationLabel(int nOrbital);

    /// Sends the line.
    void Log(MessageId id) const { LogText(id, Items_, nItems_); }

  private:
    /// Six columns of three, and three in front.
    static constexpr std::size_t kMost = 21;

    Argument Items_[kMost];
    std::size_t nItems_ = 0;
};

}  // namespace qsolve
