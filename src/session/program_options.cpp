#include "session/program_options.h"

#include <charconv>
#include <cstdlib>
#include <sstream>

#include "numeric/kernels.h"
#include "numeric/pool.h"

namespace qsolve {
namespace {

constexpr int kMostThreads = 256;

/// The number that a text is, from 1 to kMostThreads; 0 for any other text.
int ThreadsNamed(const std::string& sText) {
    int n = 0;
    const char* pEnd = sText.data() + sText.size();
    const auto [p, error] = std::from_chars(sText.data(), pEnd, n);
    return error == std::errc{} && p == pEnd && n >= 1 && n <= kMostThreads ? n : 0;
}

std::string BadThreads(const std::string& sText) {
    return "the number of threads is to be 1 to " + std::to_string(kMostThreads) + ", not \"" +
           sText + "\"";
}

/// What follows a prefix; false where the word does not begin with it.
bool TakeAfter(const char* sPrefix, const std::string& sWord, std::string& sRest) {
    if (!sWord.starts_with(sPrefix)) return false;
    sRest = sWord.substr(std::string(sPrefix).size());
    return true;
}

std::string FromEnvironment(const char* sName) {
    const char* sValue = std::getenv(sName);
    return sValue ? sValue : "";
}

std::string NamesOfForms() {
    std::string sNames;
    for (int i = 0; const Kernels* pForm = KernelsAt(i); ++i)
        sNames += std::string(i > 0 ? " " : "") + pForm->sName;
    return sNames;
}

}  // namespace

ProgramOptions ReadProgramOptions(const char* sCommandLine) {
    ProgramOptions options;
    std::istringstream words(sCommandLine);
    for (std::string sWord, sRest; words >> sWord;) {
        if (sWord == "--version") {
            options.fVersion = true;
        } else if (TakeAfter("--kernels=", sWord, sRest)) {
            options.sKernels = sRest;
        } else if (TakeAfter("--threads=", sWord, sRest)) {
            options.nThreads = ThreadsNamed(sRest);
            if (options.nThreads == 0) options.sComplaint = BadThreads(sRest);
        } else if (sWord.starts_with("--") && options.sWords.empty()) {
            options.sComplaint = "there is no option \"" + sWord + "\"";
        } else {
            options.sWords += (options.sWords.empty() ? "" : " ") + sWord;
        }
    }
    return options;
}

std::string UseProgramOptions(const ProgramOptions& options) {
    const std::string sKernels =
        options.sKernels.empty() ? FromEnvironment("ORBITRAX_KERNELS") : options.sKernels;
    if (!ChooseKernels(sKernels.c_str()))
        return "there are no kernels \"" + sKernels + "\" for this processor; it can run " +
               NamesOfForms();
    int nThreads = options.nThreads;
    const std::string sThreads = FromEnvironment("ORBITRAX_THREADS");
    if (nThreads == 0 && !sThreads.empty()) {
        nThreads = ThreadsNamed(sThreads);
        if (nThreads == 0) return BadThreads(sThreads);
    }
    SetThreads(nThreads);
    return "";
}

std::string DescribeProgram() {
    return "qsolve " ORBITRAX_VERSION "\nkernels: " + std::string(kernels->sName) + " (of " +
           NamesOfForms() + ")\nthreads: " + std::to_string(Threads()) + "\n";
}

}  // namespace qsolve
