#include "ci/ci_log.h"

#include <algorithm>
#include <cstddef>

#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "setup/parameters.h"

namespace qsolve {
namespace {

constexpr int kColumns = 6;
constexpr int kMostStates = 20;

/// One text for each number of columns, 1 to 6.
using BlockTexts = MessageId[kColumns];

// clang-format off
constexpr BlockTexts kNumbers = {kMsgCiStatesOne, kMsgCiStatesTwo, kMsgCiStatesThree,
                                 kMsgCiStatesFour, kMsgCiStatesFive, kMsgCiStatesSix};
constexpr BlockTexts kEnergies = {kMsgCiEigenvaluesOne, kMsgCiEigenvaluesTwo, kMsgCiEigenvaluesThree,
                                  kMsgCiEigenvaluesFour, kMsgCiEigenvaluesFive, kMsgCiEigenvaluesSix};
constexpr BlockTexts kRows = {kMsgCiVectorRowOne, kMsgCiVectorRowTwo, kMsgCiVectorRowThree,
                              kMsgCiVectorRowFour, kMsgCiVectorRowFive, kMsgCiVectorRowSix};
// clang-format on

/// The levels of a line of determinants as fields of equal width.
class LevelFields {
  public:
    void Add(int n) {
        const Argument argument(n);
        const std::size_t nLeft = sizeof sText_ - nLength_;
        nLength_ +=
            FormatText(sText_ + nLength_, nLeft, MessageText(kMsgDeterminantField), &argument, 1);
    }
    const char* Text() const { return sText_; }

  private:
    char sText_[kTextCapacity] = {};
    std::size_t nLength_ = 0;
};

LevelFields FieldsOf(const SpinRows& rows, int nRow, int nLevels) {
    LevelFields fields;
    for (int i = 0; i < nLevels; ++i) fields.Add(IsOccupied(rows, nRow, i) ? 1 : 0);
    return fields;
}

/// One line of a block of states.
class BlockLine {
  public:
    void Add(const Argument& argument) { Items_[nItems_++] = argument; }
    void Log(const BlockTexts& texts, int nColumns) const {
        LogText(texts[nColumns - 1], Items_, nItems_);
    }

  private:
    Argument Items_[kColumns + 1];
    std::size_t nItems_ = 0;
};

/// Writes the states from place nFirst on, whose coefficients are rows of mStates.
void LogBlock(const CiStates& states, int nFirst, int nColumns, const double* mStates) {
    BlockLine numbers, energies;
    for (int k = nFirst; k < nFirst + nColumns; ++k) {
        numbers.Add(k + 1);
        energies.Add(states.vCiEnergy[k]);
    }
    numbers.Log(kNumbers, nColumns);
    energies.Log(kEnergies, nColumns);
    for (int i = 0; i < states.nConfigs; ++i) {
        BlockLine row;
        row.Add(i + 1);
        for (int k = 0; k < nColumns; ++k) row.Add(Row(mStates, states.nConfigs, k)[i]);
        row.Log(kRows, nColumns);
    }
}

}  // namespace

void LogMicrostates(const Interaction& ci) {
    const Determinants& d = ci.Configs;
    if (!link.fLogReports || d.nLevels < 1 || d.nLevels > kMostMicrostateLevels) return;
    LogFormat(kMsgDeterminantHeading);
    LevelFields levels;
    for (int i = 0; i < d.nLevels; ++i) levels.Add(ci.Window.nBelow + i + 1);
    LogFormat(kMsgDeterminantLevels, levels.Text());
    for (int k = 0; k < d.nConfigs; ++k) {
        LogFormat(kMsgDeterminantUp, k + 1,
                  FieldsOf(d.mOccAlpha, d.vAlphaRow[k], d.nLevels).Text());
        LogFormat(kMsgDeterminantDown, FieldsOf(d.mOccBeta, d.vBetaRow[k], d.nLevels).Text());
    }
}

void LogCiVectors(const CiStates& states) {
    if (!link.fLogReports) return;
    LogFormat(kMsgCiVectorsHeading, kEigenUnit[system.MethodId]);
    Array<double> mStates;
    mStates.Take(kColumns, static_cast<std::size_t>(states.nConfigs), kWork);
    for (int k = 0; k < states.nConfigs; k += kColumns) {
        const int nColumns = std::min(kColumns, states.nConfigs - k);
        for (int i = 0; i < nColumns; ++i)
            TakeState(states, k + i, Row(mStates.Data(), states.nConfigs, i));
        LogBlock(states, k, nColumns, mStates.Data());
    }
}

void LogMicrostateResults(const CiStates& states, double dEnergy, double dKcal) {
    const int nShown = std::min(states.nConfigs, kMostStates);
    LogFormat(kMsgMicrostateHeading);
    LogFormat(kMsgMicrostateCount, nShown);
    LogFormat(kMsgReportRow);
    LogFormat(kMsgMicrostateColumns);
    for (int k = 0; k < nShown; ++k)
        LogFormat(kMsgMicrostateRow, k + 1, (dEnergy + states.vCiEnergy[k]) * dKcal,
                  (states.vCiEnergy[k] - states.vCiEnergy[0]) * dKcal, states.vSpinSquare[k],
                  SpinOf(states.vSpinSquare[k]));
    LogFormat(kMsgReportRow);
}

}  // namespace qsolve
