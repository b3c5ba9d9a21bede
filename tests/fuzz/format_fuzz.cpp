#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "link/format.h"

/// Any bytes as a format, with arguments of every kind, into a buffer of any size: the text is
/// ended by a NUL, its length is the one returned, and nothing beyond the buffer is touched.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nBytes) {
    if (nBytes < 2) return 0;
    const std::size_t nCapacity = 1 + pData[0] * std::size_t{2};
    const std::size_t nArguments = pData[1] % 6;
    const std::string sFormat(reinterpret_cast<const char*>(pData + 2), nBytes - 2);

    const qsolve::Argument pArguments[] = {1e300, -7, "text", 0.5, -2147483648LL, "%n%s"};
    char* pOut = static_cast<char*>(std::malloc(nCapacity));
    const std::size_t nLength =
        qsolve::FormatText(pOut, nCapacity, sFormat.c_str(), pArguments, nArguments);
    if (nLength >= nCapacity || std::strlen(pOut) != nLength) std::abort();
    std::free(pOut);
    return 0;
}
