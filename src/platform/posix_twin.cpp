#include <unistd.h>

#include <string>

#include "platform/platform.h"

namespace qsolve {

void BecomeModernTwin(char** pArguments) {
#if defined(__x86_64__) && !defined(__AVX2__)
    const bool fModern = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                         __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
    char sSelf[4096];
    const ssize_t nLength = readlink("/proc/self/exe", sSelf, sizeof sSelf);
    if (!fModern || nLength <= 0 || nLength >= static_cast<ssize_t>(sizeof sSelf)) return;
    const std::string sTwin = std::string(sSelf, static_cast<std::size_t>(nLength)) + "-v3";
    execv(sTwin.c_str(), pArguments);  // comes back only if there is no twin
#else
    (void)pArguments;
#endif
}

}  // namespace qsolve
