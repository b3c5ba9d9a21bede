#include "session/program_options.h"

#include <gtest/gtest.h>

namespace qsolve {
namespace {

TEST(ProgramOptions, AreTakenOutOfTheWordsOfTheFrontend) {
    const ProgramOptions options =
        ReadProgramOptions("Molarium --threads=3  1a2b --kernels=avx2 word --version");
    EXPECT_EQ(options.nThreads, 3);
    EXPECT_EQ(options.sKernels, "avx2");
    EXPECT_TRUE(options.fVersion);
    EXPECT_EQ(options.sWords, "Molarium 1a2b word");
    EXPECT_EQ(options.sComplaint, "");
}

TEST(ProgramOptions, AreLeftToTheProcessorWhereNoneIsGiven) {
    const ProgramOptions options = ReadProgramOptions("");
    EXPECT_EQ(options.nThreads, 0);
    EXPECT_EQ(options.sKernels, "");
    EXPECT_FALSE(options.fVersion);
    EXPECT_EQ(options.sComplaint, "");
}

TEST(ProgramOptions, ComplainOfWhatIsNoNumberOfThreads) {
    for (const char* sValue : {"", "0", "-1", "257", "2.5", "3x", "4294967297"})
        EXPECT_EQ(ReadProgramOptions((std::string("--threads=") + sValue).c_str()).sComplaint,
                  std::string("the number of threads is to be 1 to 256, not \"") + sValue + "\"");
    EXPECT_EQ(ReadProgramOptions("--threads=256").nThreads, 256);
}

// What a frontend says after its name is its own affair.
TEST(ProgramOptions, ComplainOfAnUnknownOneOnlyWhereNoFrontendSpeaks) {
    EXPECT_EQ(ReadProgramOptions("--help").sComplaint, "there is no option \"--help\"");
    EXPECT_EQ(ReadProgramOptions("Lumenol 1a2b --help").sWords, "Lumenol 1a2b --help");
    EXPECT_EQ(ReadProgramOptions("Lumenol 1a2b --help").sComplaint, "");
}

}  // namespace
}  // namespace qsolve
