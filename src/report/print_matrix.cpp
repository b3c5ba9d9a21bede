#include <algorithm>

#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "report/columns.h"
#include "report/report.h"
#include "scf/state.h"
#include "setup/parameters.h"
#include "setup/state.h"
#include "symmetry/state.h"

namespace qsolve {

namespace {

constexpr int kMatrixColumns = 6;

/// One text for each number of columns, 1 to 6.
using MatrixTexts = MessageId[kMatrixColumns];

// clang-format off
constexpr MatrixTexts kHeader = {kMsgMatrixColumnsOne, kMsgMatrixColumnsTwo, kMsgMatrixColumnsThree,
                                 kMsgMatrixColumnsFour, kMsgMatrixColumnsFive, kMsgMatrixColumnsSix};
constexpr MatrixTexts kRow = {kMsgMatrixRowOne, kMsgMatrixRowTwo, kMsgMatrixRowThree,
                              kMsgMatrixRowFour, kMsgMatrixRowFive, kMsgMatrixRowSix};
constexpr MatrixTexts kNumbers = {kMsgLevelNumbersOne, kMsgLevelNumbersTwo, kMsgLevelNumbersThree,
                                  kMsgLevelNumbersFour, kMsgLevelNumbersFive, kMsgLevelNumbersSix};
constexpr MatrixTexts kEnergies = {kMsgLevelEnergiesOne, kMsgLevelEnergiesTwo, kMsgLevelEnergiesThree,
                                   kMsgLevelEnergiesFour, kMsgLevelEnergiesFive, kMsgLevelEnergiesSix};
constexpr MatrixTexts kSymmetry = {kMsgVectorSymmetryOne, kMsgVectorSymmetryTwo, kMsgVectorSymmetryThree,
                                   kMsgVectorSymmetryFour, kMsgVectorSymmetryFive, kMsgVectorSymmetrySix};

/// Titles by nKind, restricted and unrestricted.
constexpr MessageId kMatrixTitle[5][2] = {
    {kMsgCoreMatrix,    kMsgCoreMatrix},
    {kMsgFockMatrix,    kMsgAlphaFock},
    {kMsgFockMatrix,    kMsgBetaFock},
    {kMsgDensityMatrix, kMsgAlphaDensity},
    {kMsgDensityMatrix, kMsgBetaDensity},
};
constexpr MessageId kVectorTitle[3][2] = {
    {kMsgVectors,         kMsgAlphaVectors},
    {kMsgVectors,         kMsgAlphaVectors},
    {kMsgNaturalOrbitals, kMsgBetaVectors},
};
// clang-format on

void LogTitle(MessageId title) {
    LogFormat(title, kEigenUnit[system.MethodId]);
}

int SpinColumn() {
    return scf.nSpinTreatment == 1 ? 1 : 0;
}

/// Calls write(first, columns) for each block of up to six columns.
template <class Write>
void ForEachBlock(int nColumns, Write write) {
    for (int i = 0; i < nColumns; i += kMatrixColumns)
        write(i, std::min(kMatrixColumns, nColumns - i));
}

void LogHeader(int nFirst, int nColumns) {
    TableLine line;
    for (int k = 0; k < nColumns; ++k) line.AddMatrixLabel(nFirst + k);
    line.Log(kHeader[nColumns - 1]);
}

/// A row with its label; value(k) is the entry of column k of the block.
template <class Value>
void LogRow(int nOrbital, int nColumns, Value value) {
    TableLine line;
    line.AddMatrixLabel(nOrbital);
    for (int k = 0; k < nColumns; ++k) line.Add(value(k));
    line.Log(kRow[nColumns - 1]);
}

void LogLevelSymmetry(int nFirst, int nColumns) {
    TableLine line;
    for (int k = nFirst; k < nFirst + nColumns; ++k) {
        line.Add(results.Orbitals.vSymmetryIndex[k]);
        line.Add(results.Orbitals.sSymmetryLabel[k]);
    }
    line.Log(kSymmetry[nColumns - 1]);
}

void LogLevels(const double* vEnergy, int nFirst, int nColumns) {
    TableLine numbers, energies;
    for (int k = nFirst; k < nFirst + nColumns; ++k) {
        numbers.Add(k + 1);
        energies.Add(vEnergy[k]);
    }
    numbers.Log(kNumbers[nColumns - 1]);
    if (symmetry.fOrbitalLabelsKnown) LogLevelSymmetry(nFirst, nColumns);
    energies.Log(kEnergies[nColumns - 1]);
}

}  // namespace

void PrintMatrix(const double* mMatrix, int nRows, int nColumns, int nKind) {
    if (!link.fLogReports) return;
    LogTitle(kMatrixTitle[nKind][SpinColumn()]);
    ForEachBlock(nColumns, [&](int nFirst, int nWidth) {
        LogHeader(nFirst, nWidth);
        for (int i = 0; i < nRows; ++i)
            LogRow(i, nWidth, [&](int k) { return Row(mMatrix, nColumns, i)[nFirst + k]; });
    });
}

void PrintEigenvectors(const double* vEnergy, const double* mVectors, int nRows, int nColumns,
                       int nKind) {
    if (!link.fLogReports) return;
    LogTitle(kVectorTitle[nKind][SpinColumn()]);
    ForEachBlock(nColumns, [&](int nFirst, int nWidth) {
        LogLevels(vEnergy, nFirst, nWidth);
        for (int i = 0; i < nRows; ++i)
            LogRow(i, nWidth, [&](int k) { return Row(mVectors, nRows, nFirst + k)[i]; });
    });
}

}  // namespace qsolve
