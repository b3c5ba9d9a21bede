#include "job/state.h"
#include "tests/unit/exchange/intake_fixture.h"

namespace qsolve {
namespace {

class OptionsIntake : public IntakeTest {
  protected:
    static int ReadRun(const RunOptions& asked) {
        Ready(asked);
        return FailureOf(ReadRunOptions);
    }
    static int ReadJob(const JobOptions& asked) {
        Ready(asked);
        return FailureOf(ReadJobOptions);
    }
};

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinite = std::numeric_limits<float>::infinity();

/// Word numbers of the flags, of the floats and of the words without a meaning.
constexpr std::size_t kRunFlags[] = {0, 6, 23, 24, 27, 28, 39, 41, 42, 43};
constexpr std::size_t kRunFloats[] = {2, 13, 14, 15, 16, 17, 18, 19, 20, 21, 32, 33, 38};
constexpr std::size_t kRunUnused[] = {1, 25, 26, 31, 34, 44};
constexpr std::size_t kJobFlags[] = {1, 8, 9, 12, 37};
constexpr std::size_t kJobFloats[] = {5, 10, 14, 15, 16, 20, 21, 22, 23, 24, 25, 26, 27, 28};
constexpr std::size_t kJobTimes[] = {10, 23, 24, 25, 26};
constexpr std::size_t kJobUnused[] = {6, 7, 11, 17, 18, 19, 29, 30, 31, 32, 33, 34, 35};

template <class Block>
int WordOf(const Block& block, std::size_t nWord) {
    int nValue;
    std::memcpy(&nValue, reinterpret_cast<const unsigned char*>(&block) + 4 * nWord, sizeof nValue);
    return nValue;
}
template <class Block>
float FloatOf(const Block& block, std::size_t nWord) {
    const int nValue = WordOf(block, nWord);
    float fl;
    std::memcpy(&fl, &nValue, sizeof fl);
    return fl;
}
int BitsOf(float fl) {
    int nWord;
    std::memcpy(&nWord, &fl, sizeof nWord);
    return nWord;
}

TEST_F(OptionsIntake, TurnsTheDebugWordIntoAFlag) {
    for (int nWord : {0, 1, -1, INT_MIN, 77}) {
        Ready(nWord);
        EXPECT_EQ(FailureOf(ReadDebugWord), 0);
        EXPECT_EQ(fDebugTrace, nWord == 0 ? 0 : 1) << nWord;
    }
}

TEST_F(OptionsIntake, RefusesAShortDebugWordByItsName) {
    Ready("abc", 3);
    EXPECT_EQ(FailureOf(ReadDebugWord), kMsgPacketShort);
    ASSERT_EQ(Errors().size(), 1u);
    EXPECT_EQ(Errors()[0], "The packet \"debug word\" is too short: it has 3 bytes, and needs 4.");
}

TEST_F(OptionsIntake, RefusesShortBlocksByTheirNames) {
    Ready(std::string(183, '\1').data(), 183);
    EXPECT_EQ(FailureOf(ReadRunOptions), kMsgPacketShort);
    Ready(std::string(151, '\1').data(), 151);
    EXPECT_EQ(FailureOf(ReadJobOptions), kMsgPacketShort);
    ASSERT_EQ(Errors().size(), 2u);
    EXPECT_EQ(Errors()[0],
              "The packet \"run options\" is too short: it has 183 bytes, and needs 184.");
    EXPECT_EQ(Errors()[1],
              "The packet \"job options\" is too short: it has 151 bytes, and needs 152.");
}

TEST_F(OptionsIntake, KeepsIntegersAndWordsWithoutAMeaningAsTheyCame) {
    RunOptions run;
    for (std::size_t nWord : kRunUnused) run = WithWord(run, nWord, 1000 + static_cast<int>(nWord));
    run.nIterationLimit = INT_MAX;
    run.nTotalCharge = INT_MIN;
    run.nMultiplicity = INT_MIN;
    run.nLevelShiftStart = INT_MIN;
    run.nCiSelection = 7;
    run.nFollowMode = -3;
    EXPECT_EQ(ReadRun(run), 0);
    EXPECT_EQ(std::memcmp(&options, &run, sizeof run), 0);

    JobOptions asked;
    for (std::size_t nWord : kJobUnused)
        asked = WithWord(asked, nWord, 1000 + static_cast<int>(nWord));
    asked.nCalcKind = -5;
    asked.nMaxCycles = INT_MIN;
    asked.nRandomSeed = INT_MIN;
    asked.nReportPeriod = INT_MIN;
    EXPECT_EQ(ReadJob(asked), 0);
    EXPECT_EQ(std::memcmp(&job, &asked, sizeof asked), 0);
}

TEST_F(OptionsIntake, LowersTheStartOfTheLevelShiftByOne) {
    for (const int nStart : {3, 1, 0, INT_MAX}) {
        EXPECT_EQ(ReadRun({.nLevelShiftStart = nStart}), 0);
        EXPECT_EQ(options.nLevelShiftStart, nStart - 1);
    }
}

TEST_F(OptionsIntake, TakesNoMultiplicityForASinglet) {
    EXPECT_EQ(ReadRun({.nMultiplicity = 0}), 0);
    EXPECT_EQ(options.nMultiplicity, 1);
}

TEST_F(OptionsIntake, MakesEveryFlagZeroOrOne) {
    for (std::size_t nWord : kRunFlags)
        for (int nValue : {2, -1, INT_MIN, INT_MAX}) {
            EXPECT_EQ(ReadRun(WithWord(RunOptions(), nWord, nValue)), 0);
            EXPECT_EQ(WordOf(options, nWord), 1) << "word " << nWord;
        }
    for (std::size_t nWord : kJobFlags)
        for (int nValue : {2, -1, INT_MIN, INT_MAX}) {
            EXPECT_EQ(ReadJob(WithWord(JobOptions(), nWord, nValue)), 0);
            EXPECT_EQ(WordOf(job, nWord), 1) << "word " << nWord;
        }
}

TEST_F(OptionsIntake, TurnsThePlotGridIntoBohrInSinglePrecision) {
    RunOptions asked;
    for (int i = 0; i < 9; ++i) asked.flPlotGrid[i] = 0.1F + 1.3F * static_cast<float>(i - 4);
    EXPECT_EQ(ReadRun(asked), 0);
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(options.flPlotGrid[i], asked.flPlotGrid[i] * 1.889726F);
        EXPECT_NEAR(static_cast<double>(options.flPlotGrid[i]) / 1.8897261,
                    static_cast<double>(asked.flPlotGrid[i]), 1e-6 * 6);
    }
}

TEST_F(OptionsIntake, MakesAGridThatIsNoNumberZeroAlsoWhereOnlyBohrIsTooLong) {
    RunOptions asked;
    asked.flPlotGrid[0] = kNaN;
    asked.flPlotGrid[4] = -kInfinite;
    asked.flPlotGrid[8] = std::numeric_limits<float>::max();
    EXPECT_EQ(ReadRun(asked), 0);
    for (float fl : options.flPlotGrid) EXPECT_EQ(fl, 0.0F);
}

TEST_F(OptionsIntake, RefusesASpinTreatmentItDoesNotKnow) {
    for (int nValue : {2, -1, INT_MIN, INT_MAX})
        EXPECT_EQ(ReadRun({.nSpinTreatment = nValue}), kMsgOptionUnknown) << nValue;
    EXPECT_EQ(Errors()[0], "The value of the option nSpinTreatment is not known (2).");
    EXPECT_EQ(ReadRun({.nSpinTreatment = 1}), 0);
    EXPECT_EQ(options.nSpinTreatment, 1);
}

TEST_F(OptionsIntake, RefusesAKindOfCiItDoesNotKnow) {
    for (int nValue : {3, -1, INT_MIN, INT_MAX})
        EXPECT_EQ(ReadRun({.nCiKind = nValue}), kMsgOptionUnknown) << nValue;
    EXPECT_EQ(Errors()[0], "The value of the option nCiKind is not known (3).");
    EXPECT_EQ(ReadRun({.nCiKind = 2}), 0);
    EXPECT_EQ(options.nCiKind, 2);
}

TEST_F(OptionsIntake, RefusesLimitsThatAreNoNumbers) {
    for (float fl : {kNaN, kInfinite, -kInfinite}) {
        EXPECT_EQ(ReadRun({.flConvergenceLimit = fl}), kMsgSettingNotANumber);
        EXPECT_EQ(ReadJob({.flRmsGradient = fl}), kMsgSettingNotANumber);
    }
    EXPECT_EQ(Errors()[0], "The setting flConvergenceLimit is not a number.");
    EXPECT_EQ(Errors()[1], "The setting flRmsGradient is not a number.");
}

TEST_F(OptionsIntake, LeavesTheOldOptionsWhereTheNewOnesAreRefused) {
    EXPECT_EQ(ReadRun({.nIterationLimit = 50}), 0);
    EXPECT_EQ(ReadRun({.nIterationLimit = 60, .nCiKind = 9}), kMsgOptionUnknown);
    EXPECT_EQ(options.nIterationLimit, 50);
    EXPECT_EQ(ReadJob({.nMaxCycles = 50}), 0);
    EXPECT_EQ(ReadJob({.nMaxCycles = 60, .flRmsGradient = kNaN}), kMsgSettingNotANumber);
    EXPECT_EQ(job.nMaxCycles, 50);
}

TEST_F(OptionsIntake, SilencesTheLogFromLevelTenOn) {
    for (int nLevel : {INT_MIN, -1, 0, 1, 9}) {
        EXPECT_EQ(ReadRun({.nLogLevel = nLevel}), 0);
        EXPECT_TRUE(link.fLogReports) << nLevel;
    }
    for (int nLevel : {10, 11, INT_MAX}) {
        EXPECT_EQ(ReadRun({.nLogLevel = nLevel}), 0);
        EXPECT_FALSE(link.fLogReports) << nLevel;
    }
}

TEST_F(OptionsIntake, MakesAnExcitationLimitThatIsNoNumberOneThatIsRefusedLater) {
    for (float fl : {kNaN, kInfinite, -kInfinite}) {
        EXPECT_EQ(ReadRun({.flCiMaxExcitation = fl}), 0);
        EXPECT_LT(options.flCiMaxExcitation, 0.0F);
    }
    EXPECT_EQ(ReadRun({.flCiMaxExcitation = 7.5F}), 0);
    EXPECT_EQ(options.flCiMaxExcitation, 7.5F);
}

TEST_F(OptionsIntake, HalvesTheBoxInDoublePrecision) {
    EXPECT_EQ(ReadJob({.flBoxX = 18.7F, .flBoxY = 0.0F, .flBoxZ = -3.0F}), 0);
    EXPECT_EQ(system.dHalfBoxX, 0.5 * static_cast<double>(18.7F));
    EXPECT_EQ(system.dHalfBoxY, 0.0);
    EXPECT_EQ(system.dHalfBoxZ, -1.5);
}

TEST_F(OptionsIntake, MakesTimesBelowZeroZeroAndKeepsNegativeTemperatures) {
    for (std::size_t nWord : kJobTimes) {
        EXPECT_EQ(ReadJob(WithWord(JobOptions(), nWord, BitsOf(-2.0F))), 0);
        EXPECT_EQ(FloatOf(job, nWord), 0.0F) << "word " << nWord;
        EXPECT_EQ(ReadJob(WithWord(JobOptions(), nWord, BitsOf(2.0F))), 0);
        EXPECT_EQ(FloatOf(job, nWord), 2.0F) << "word " << nWord;
    }
    EXPECT_EQ(ReadJob({.flStartTemp = -4.0F}), 0);
    EXPECT_EQ(job.flStartTemp, -4.0F);
}

TEST_F(OptionsIntake, RefusesOrTamesEveryHostileWordOfTheRunOptions) {
    for (std::size_t nWord = 0; nWord < sizeof(RunOptions) / 4; ++nWord)
        for (int nValue : HostileWords()) {
            const int nId = ReadRun(WithWord(RunOptions(), nWord, nValue));
            EXPECT_TRUE(nId == 0 || nId == kMsgOptionUnknown || nId == kMsgSettingNotANumber);
            for (std::size_t n : kRunFlags) EXPECT_EQ(WordOf(options, n) & ~1, 0);
            for (std::size_t n : kRunFloats) EXPECT_TRUE(std::isfinite(FloatOf(options, n)));
        }
}

TEST_F(OptionsIntake, RefusesOrTamesEveryHostileWordOfTheJobOptions) {
    for (std::size_t nWord = 0; nWord < sizeof(JobOptions) / 4; ++nWord)
        for (int nValue : HostileWords()) {
            const int nId = ReadJob(WithWord(JobOptions(), nWord, nValue));
            EXPECT_TRUE(nId == 0 || nId == kMsgSettingNotANumber);
            for (std::size_t n : kJobFlags) EXPECT_EQ(WordOf(job, n) & ~1, 0);
            for (std::size_t n : kJobFloats) EXPECT_TRUE(std::isfinite(FloatOf(job, n)));
            for (std::size_t n : kJobTimes) EXPECT_GE(FloatOf(job, n), 0.0F);
        }
}

}  // namespace
}  // namespace qsolve
