#include <gtest/gtest.h>

#include "job/state.h"
#include "report/report.h"
#include "scf/state.h"
#include "setup/state.h"
#include "tests/unit/report/report_fixture.h"

namespace qsolve {
namespace {

/// First letters of what is written of one stage of an unrestricted calculation: core, alpha and
/// beta Fock matrix (F, f), vectors (V, v) and density (D, d).
struct Row {
    int nStage;
    bool fFinal;
    const char* sByLevel[11];
};

// clang-format off
const Row kExpected[] = {
    // level           0   1    2    3     4     5   6   7   8     9     10
    {0, false, {      "", "",  "",  "",   "C",  "", "", "", "",   "",   ""}},
    {0, true,  {      "", "",  "",  "",   "C",  "", "", "", "",   "",   ""}},
    {1, false, {      "", "",  "",  "",   "F",  "", "", "", "",   "",   ""}},
    {2, false, {      "", "",  "",  "",   "f",  "", "", "", "",   "",   ""}},
    {3, false, {      "", "",  "",  "",   "VD", "", "", "", "",   "",   ""}},
    {3, true,  {      "", "V", "D", "VD", "",   "", "", "", "VD", "VD", ""}},
    {4, false, {      "", "",  "",  "",   "vd", "", "", "", "",   "",   ""}},
    {4, true,  {      "", "v", "d", "vd", "",   "", "", "", "",   "vd", ""}},
};
// clang-format on

class StageDumps : public ReportTest {
  protected:
    StageDumps() { setup.fFinalReport = true; }

    /// Titles of the dumps of a stage, one letter each, of a calculation with one orbital. Each
    /// matrix holds another number, which has to be the one that is written.
    static std::string Dumps(int nStage, bool fFinal, int nLevel) {
        const double dCore = 1, dFock = 2, dEnergy = 3, dDensity = 4, dVector = 5;
        options.nLogLevel = nLevel;
        client.Sent.clear();
        ReportScfStage({.nStage = nStage,
                        .fFinal = fFinal,
                        .mCore = &dCore,
                        .mFock = &dFock,
                        .vEnergy = &dEnergy,
                        .mDensity = &dDensity,
                        .mVectors = &dVector});
        std::string sLetters;
        for (const std::string& sLine : client.Log()) {
            if (sLine.find("=====") != std::string::npos) sLetters += Letter(sLine);
            if (sLine.find("  S  H   1  ") == 0) {
                EXPECT_EQ(sLine, Print("  S  H   1  %11.5f", Value(sLetters.back())));
            } else if (sLine.find("Eigen") == 0) {
                EXPECT_EQ(sLine, Print("Eigenvalue: %11.5f\n", dEnergy));
            }
        }
        return sLetters;
    }

  private:
    static char Letter(const std::string& sTitle) {
        const bool fBeta = sTitle.find("Beta") != std::string::npos;
        if (sTitle.find("Natural") != std::string::npos) return 'N';
        if (sTitle.find("Eigenvectors") != std::string::npos) return fBeta ? 'v' : 'V';
        if (sTitle.find("Density") != std::string::npos) return fBeta ? 'd' : 'D';
        if (sTitle.find("Fock") != std::string::npos) return fBeta ? 'f' : 'F';
        return 'C';
    }
    static double Value(char cLetter) {
        switch (cLetter) {
            case 'C':
                return 1;
            case 'F':
            case 'f':
                return 2;
            case 'D':
            case 'd':
                return 4;
            default:
                return 5;
        }
    }
};

TEST_F(StageDumps, EachLevelChoosesItsOwnDumps) {
    Build(WithOrbitals(1, true));
    for (const Row& row : kExpected)
        for (int nLevel = 0; nLevel <= 10; ++nLevel)
            EXPECT_EQ(Dumps(row.nStage, row.fFinal, nLevel), row.sByLevel[nLevel])
                << "stage " << row.nStage << " final " << row.fFinal << " level " << nLevel;
}

TEST_F(StageDumps, LevelNineWaitsForTheFinalReport) {
    Build(WithOrbitals(1, true));
    setup.fFinalReport = false;
    EXPECT_EQ(Dumps(3, true, 9), "");
    EXPECT_EQ(Dumps(4, true, 9), "");
    EXPECT_EQ(Dumps(3, true, 8), "VD");
}

TEST_F(StageDumps, MicrostateCiShowsItsNaturalOrbitalsAtTheEnd) {
    Build(WithOrbitals(1));
    scf.nCiKind = 2;
    EXPECT_EQ(Dumps(3, true, 1), "N");
    EXPECT_EQ(Dumps(3, true, 4), "ND");
    EXPECT_EQ(Dumps(3, false, 4), "VD");
    scf.nCiKind = 1;
    EXPECT_EQ(Dumps(3, true, 1), "V");
    EXPECT_EQ(Dumps(3, true, 4), "");
}

TEST_F(StageDumps, SilentLogShowsNothing) {
    Build(WithOrbitals(1));
    link.fLogReports = false;
    EXPECT_EQ(Dumps(3, true, 3), "");
}

}  // namespace
}  // namespace qsolve
