#include <algorithm>

#include "job/atoms.h"
#include "job/state.h"
#include "link/link.h"
#include "numeric/row.h"
#include "report/columns.h"
#include "report/report.h"
#include "symmetry/state.h"

namespace qsolve {

namespace {

constexpr int kModeColumns = 6;

/// One text for each number of columns, 1 to 6.
using ModeTexts = MessageId[kModeColumns];

// clang-format off
constexpr ModeTexts kNumbers = {kMsgModeNumbersOne, kMsgModeNumbersTwo, kMsgModeNumbersThree,
                                kMsgModeNumbersFour, kMsgModeNumbersFive, kMsgModeNumbersSix};
constexpr ModeTexts kFrequencies = {kMsgModeFrequenciesOne, kMsgModeFrequenciesTwo, kMsgModeFrequenciesThree,
                                    kMsgModeFrequenciesFour, kMsgModeFrequenciesFive, kMsgModeFrequenciesSix};
constexpr ModeTexts kEigenvalues = {kMsgModeEigenvaluesOne, kMsgModeEigenvaluesTwo, kMsgModeEigenvaluesThree,
                                    kMsgModeEigenvaluesFour, kMsgModeEigenvaluesFive, kMsgModeEigenvaluesSix};
constexpr ModeTexts kSymmetries = {kMsgModeSymmetriesOne, kMsgModeSymmetriesTwo, kMsgModeSymmetriesThree,
                                   kMsgModeSymmetriesFour, kMsgModeSymmetriesFive, kMsgModeSymmetriesSix};
constexpr ModeTexts kRows = {kMsgModeRowOne, kMsgModeRowTwo, kMsgModeRowThree,
                             kMsgModeRowFour, kMsgModeRowFive, kMsgModeRowSix};
constexpr ModeTexts kForceAtoms = {kMsgForceAtomsOne, kMsgForceAtomsTwo, kMsgForceAtomsThree,
                                   kMsgForceAtomsFour, kMsgForceAtomsFive, kMsgForceAtomsSix};
constexpr ModeTexts kForceNumbers = {kMsgForceNumbersOne, kMsgForceNumbersTwo, kMsgForceNumbersThree,
                                     kMsgForceNumbersFour, kMsgForceNumbersFive, kMsgForceNumbersSix};
constexpr ModeTexts kForceRows = {kMsgForceRowOne, kMsgForceRowTwo, kMsgForceRowThree,
                                  kMsgForceRowFour, kMsgForceRowFive, kMsgForceRowSix};
// clang-format on

/// Calls write(first, columns) for each block of up to six columns.
template <class Write>
void ForEachBlock(int nColumns, Write write) {
    for (int i = 0; i < nColumns; i += kModeColumns) write(i, std::min(kModeColumns, nColumns - i));
}

/// A line whose columns are value(first), value(first + 1), ...
template <class Value>
void LogColumns(const ModeTexts& texts, int nFirst, int nColumns, Value value) {
    TableLine line;
    for (int k = nFirst; k < nFirst + nColumns; ++k) line.Add(value(k));
    line.Log(texts[nColumns - 1]);
}

// ---- modes one by one ---------------------------------------------------------------------------

/// The first lines of a mode, by what it is, and the derivatives of its dipole.
void LogMode(MessageId heading, int nNumber, int p) {
    const ModeResults& modes = results.Modes;
    const ModeRecord& record = modes.Records[p];
    const bool fVibration = heading == kMsgNormalMode;
    LogFormat(heading, modes.vFrequencies[p], nNumber, modes.vIntensities[p]);
    if (fVibration && symmetry.fModeLabelsKnown)
        LogFormat(kMsgModeSymmetry, record.nSymmetryIndex, record.sSymmetryLabel);
    LogFormat(kMsgModeDipole, record.flDipoleX, record.flDipoleY, record.flDipoleZ);
}

void LogModes() {
    constexpr int kTranslations = 3;
    const ModeResults& modes = results.Modes;
    const int nVibrations = modes.nModes - modes.nExternalModes;
    for (int p = 0; p < modes.nModes; ++p) {
        const int nExternal = p - nVibrations;
        if (nExternal < 0)
            LogMode(kMsgNormalMode, p + 1, p);
        else if (nExternal < kTranslations)
            LogMode(kMsgTranslationMode, nExternal + 1, p);
        else
            LogMode(kMsgRotationMode, nExternal - kTranslations + 1, p);
    }
}

// ---- eigenvectors -------------------------------------------------------------------------------

void LogModeSymmetries(int nFirst, int nColumns) {
    TableLine line;
    for (int p = nFirst; p < nFirst + nColumns; ++p) {
        line.Add(results.Modes.Records[p].nSymmetryIndex);
        line.Add(results.Modes.Records[p].sSymmetryLabel);
    }
    line.Log(kSymmetries[nColumns - 1]);
}

/// Rows of n components, a column for each mode; vector(p) is the address of mode p.
template <class Vector>
void LogComponents(int n, int nFirst, int nColumns, Vector vector) {
    for (int i = 0; i < n; ++i) {
        TableLine line;
        line.Add(i + 1);
        for (int p = nFirst; p < nFirst + nColumns; ++p) line.Add(vector(p)[i]);
        line.Log(kRows[nColumns - 1]);
    }
}

void LogModeVectors() {
    const ModeResults& modes = results.Modes;
    LogFormat(kMsgModeVectorsHeading);
    ForEachBlock(modes.nModes, [&](int nFirst, int nColumns) {
        LogColumns(kNumbers, nFirst, nColumns, [](int p) { return p + 1; });
        LogColumns(kFrequencies, nFirst, nColumns, [&](int p) { return modes.vFrequencies[p]; });
        if (symmetry.fModeLabelsKnown) LogModeSymmetries(nFirst, nColumns);
        LogComponents(modes.nModes, nFirst, nColumns, [&](int p) {
            return Row(modes.mModes.Data(), modes.nModes, modes.Records[p].nIndex);
        });
    });
}

}  // namespace

void ReportModes(double dZeroPoint) {
    if (!link.fLogReports) return;
    LogFormat(kMsgZeroPointEnergy, dZeroPoint);
    LogFormat(kMsgModesHeading);
    LogFormat(kMsgModesDerivatives);
    LogFormat(kMsgReportRow);
    LogModes();
    LogFormat(kMsgReportRow);
    if (options.nLogLevel == 9) LogModeVectors();
}

void ReportHessianModes(int n, int nExternal, const double* vValues, const double* mVectors) {
    if (!link.fLogReports || options.nLogLevel != 9) return;
    LogFormat(kMsgFinalHessianHeading, nExternal);
    ForEachBlock(n, [&](int nFirst, int nColumns) {
        LogColumns(kNumbers, nFirst, nColumns, [](int p) { return p + 1; });
        LogColumns(kEigenvalues, nFirst, nColumns, [&](int p) { return vValues[p]; });
        LogComponents(n, nFirst, nColumns, [&](int p) { return Row(mVectors, n, p); });
    });
}

void ReportForceConstants(int nAtoms, const double* mTable) {
    if (!link.fLogReports) return;
    LogFormat(kMsgForceConstants);
    ForEachBlock(nAtoms, [&](int nFirst, int nColumns) {
        LogColumns(kForceAtoms, nFirst, nColumns, [](int i) { return AtomNumberAt(i); });
        LogColumns(kForceNumbers, nFirst, nColumns,
                   [](int i) { return AtomByNumber(AtomNumberAt(i)).nAtomicNumber; });
        for (int i = nFirst; i < nAtoms; ++i) {  // the lower triangle
            const int nFilled = std::min(nColumns, i - nFirst + 1);
            TableLine line;
            line.Add(AtomNumberAt(i));
            line.Add(AtomByNumber(AtomNumberAt(i)).nAtomicNumber);
            for (int j = nFirst; j < nFirst + nFilled; ++j) line.Add(Row(mTable, nAtoms, i)[j]);
            line.Log(kForceRows[nFilled - 1]);
        }
    });
}

}  // namespace qsolve
