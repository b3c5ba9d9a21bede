#pragma once

#include <string>

namespace qsolve {

/// What the command line says beside the words of the frontend.
struct ProgramOptions {
    std::string sKernels;    ///< form of the kernels; empty for the fastest that can run
    int nThreads = 0;        ///< 0 for one on each processor
    bool fVersion = false;   ///< print what this program is, and end
    std::string sWords;      ///< the words of the frontend, with blanks between them
    std::string sComplaint;  ///< what is wrong with an option; empty if nothing is
};

/// Reads the options --kernels=NAME, --threads=N and --version, which may stand anywhere. All other
/// words are the frontend's, but that its first one is no option. Nothing fails: what is wrong
/// stands in the complaint.
ProgramOptions ReadProgramOptions(const char* sCommandLine);

/// Takes the kernels and the number of threads into use. ORBITRAX_KERNELS and ORBITRAX_THREADS, of
/// the environment, stand in for options that are not given. Returns a complaint, empty if there is
/// none.
std::string UseProgramOptions(const ProgramOptions& options);

/// Name and version, the form of the kernels in use, those that this processor can run, and the
/// number of threads, one a line.
std::string DescribeProgram();

}  // namespace qsolve
