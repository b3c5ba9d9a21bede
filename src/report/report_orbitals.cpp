#include "report/report_orbitals.h"

#include "job/state.h"
#include "link/link.h"
#include "report/columns.h"
#include "scf/state.h"
#include "symmetry/state.h"

namespace qsolve {

namespace {

/// One text for each number of columns, 1 to 5.
using ListTexts = MessageId[kListColumns];

// clang-format off
constexpr ListTexts kSymmetry = {kMsgSymmetryOne, kMsgSymmetryTwo, kMsgSymmetryThree,
                                 kMsgSymmetryFour, kMsgSymmetryFive};
constexpr ListTexts kEigenvalues = {kMsgEigenvaluesOne, kMsgEigenvaluesTwo, kMsgEigenvaluesThree,
                                    kMsgEigenvaluesFour, kMsgEigenvaluesFive};
constexpr ListTexts kAoLabels = {kMsgAoLabelsOne, kMsgAoLabelsTwo, kMsgAoLabelsThree,
                                 kMsgAoLabelsFour, kMsgAoLabelsFive};
constexpr ListTexts kAoPopulations = {kMsgAoPopulationsOne, kMsgAoPopulationsTwo,
                                      kMsgAoPopulationsThree, kMsgAoPopulationsFour,
                                      kMsgAoPopulationsFive};
// clang-format on

/// Calls write(first, columns) for each full line and for the last one.
template <class Write>
void ForEachLine(int nFull, int nRest, Write write) {
    for (int i = 0; i < nFull; i += kListColumns) write(i, kListColumns);
    if (nRest > 0) write(nFull, nRest);
}

void LogNumbers(const ListTexts& texts, const float* v, int nColumns) {
    TableLine line;
    for (int i = 0; i < nColumns; ++i) line.Add(v[i]);
    line.Log(texts[nColumns - 1]);
}

void LogSymmetry(const char (*sLabels)[4], const int* nLabels, int nColumns) {
    TableLine line;
    for (int i = 0; i < nColumns; ++i) {
        line.Add(nLabels[i]);
        line.Add(sLabels[i]);
    }
    line.Log(kSymmetry[nColumns - 1]);
}

void LogAoLabels(int nFirst, int nColumns) {
    TableLine line;
    for (int i = 0; i < nColumns; ++i) line.AddPopulationLabel(nFirst + i);
    line.Log(kAoLabels[nColumns - 1]);
}

/// Writes a list under its heading, and once more for the beta spin. write(offset, full, rest) gets
/// the offset of the half in the orbital results.
template <class Write>
void ReportHalves(MessageId heading, Write write) {
    const int n = scf.nOrbitals, nRest = n % kListColumns;
    const bool fUnrestricted = scf.nSpinTreatment == 1;
    LogFormat(heading);
    if (fUnrestricted) LogFormat(kMsgAlphaHeading);
    write(0, n - nRest, nRest);
    if (!fUnrestricted) return;
    LogFormat(kMsgBetaHeading);
    write(n, n - nRest, nRest);
}

}  // namespace

void ReportEigenvalues(const float* vEnergies, const char (*sLabels)[4], const int* nLabels,
                       int nFull, int nRest) {
    if (!link.fLogReports) return;
    ForEachLine(nFull, nRest, [&](int nFirst, int nColumns) {
        if (nColumns == kListColumns || symmetry.fOrbitalLabelsKnown)
            LogSymmetry(sLabels + nFirst, nLabels + nFirst, nColumns);
        LogNumbers(kEigenvalues, vEnergies + nFirst, nColumns);
    });
}

void ReportPopulations(const float* vPopulations, int nFull, int nRest) {
    if (!link.fLogReports) return;
    ForEachLine(nFull, nRest, [&](int nFirst, int nColumns) {
        LogAoLabels(nFirst, nColumns);
        LogNumbers(kAoPopulations, vPopulations + nFirst, nColumns);
    });
}

void ReportLevels() {
    const OrbitalResults& orbitals = results.Orbitals;
    ReportHalves(kMsgEigenvalueHeading, [&](int nOffset, int nFull, int nRest) {
        ReportEigenvalues(orbitals.vOrbitalEnergy.Data() + nOffset, orbitals.sSymmetryLabel.Data(),
                          orbitals.vSymmetryIndex.Data(), nFull, nRest);
    });
}

void ReportOrbitalPopulations() {
    ReportHalves(kMsgPopulationHeading, [&](int nOffset, int nFull, int nRest) {
        ReportPopulations(results.Orbitals.vPopulation.Data() + nOffset, nFull, nRest);
    });
}

}  // namespace qsolve
