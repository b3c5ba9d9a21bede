#include "link/format.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace qsolve {
namespace {

/// Flags, width and precision of a conversion; a longer run of them is not a conversion of ours.
constexpr std::size_t kFlagsCapacity = 8;

/// A text that grows to its capacity, NUL included, and not beyond. The capacity is not 0.
struct Output {
    char* sText;
    std::size_t nCapacity;
    std::size_t nLength = 0;

    void Put(char c) {
        if (nLength + 1 < nCapacity) sText[nLength++] = c;
    }

    template <class Value>
    void Print(const char* sConversion, Value value) {
        const int n = std::snprintf(sText + nLength, nCapacity - nLength, sConversion, value);
        if (n < 0)
            Put('?');
        else
            nLength = std::min(nLength + static_cast<std::size_t>(n), nCapacity - 1);
    }
};

/// One conversion of a format, without its length: %-8.3lf is "-8.3" and 'f'.
struct Conversion {
    char sFlags[kFlagsCapacity + 1] = {};
    char cKind = '\0';
};

bool IsOneOf(std::string_view sSet, char c) {
    return sSet.find(c) != std::string_view::npos;
}

/// Reads the conversion behind a '%' and returns where the format goes on. cKind is NUL when the
/// format ends too early or the flags are too long.
const char* ReadConversion(const char* s, Conversion* pConversion) {
    std::size_t nFlags = 0;
    for (; IsOneOf("-+ #.0123456789", *s); ++s, ++nFlags)
        if (nFlags < kFlagsCapacity) pConversion->sFlags[nFlags] = *s;
    while (IsOneOf("hlLjzt", *s)) ++s;
    if (nFlags <= kFlagsCapacity) pConversion->cKind = *s;
    return *s ? s + 1 : s;
}

/// The kind of argument that a conversion takes, or -1 when it is not one of ours.
int KindOf(char cConversion) {
    if (IsOneOf("diuc", cConversion)) return Argument::kInteger;
    if (IsOneOf("feg", cConversion)) return Argument::kDouble;
    return cConversion == 's' ? Argument::kText : -1;
}

/// Prints one argument; its kind is that of the conversion.
void PrintArgument(const Conversion& conversion, const Argument& argument, Output* pOutput) {
    char sConversion[kFlagsCapacity + 5];  // %, flags, ll, kind, NUL
    const char* sLength = IsOneOf("diu", conversion.cKind) ? "ll" : "";
    std::snprintf(sConversion, sizeof sConversion, "%%%s%s%c", conversion.sFlags, sLength,
                  conversion.cKind);
    if (argument.kind == Argument::kDouble)
        pOutput->Print(sConversion, argument.dValue);
    else if (argument.kind == Argument::kText)
        pOutput->Print(sConversion, argument.sValue);
    else if (conversion.cKind == 'c')
        pOutput->Print(sConversion, static_cast<int>(argument.nValue));
    else if (conversion.cKind == 'u')
        pOutput->Print(sConversion, static_cast<unsigned long long>(argument.nValue));
    else
        pOutput->Print(sConversion, argument.nValue);
}

/// Whether an argument can be printed by a conversion of this kind.
bool Fits(const Argument& argument, char cConversion) {
    if (KindOf(cConversion) != argument.kind) return false;
    if (cConversion == 'c') return static_cast<unsigned char>(argument.nValue) != '\0';
    return argument.kind != Argument::kText || argument.sValue != nullptr;
}

}  // namespace

std::size_t FormatText(char* sOut, std::size_t nCapacity, const char* sFormat,
                       const Argument* pArguments, std::size_t nArguments) {
    if (nCapacity == 0) return 0;
    Output output{sOut, nCapacity};
    std::size_t nUsed = 0;
    while (*sFormat) {
        if (*sFormat != '%') {
            output.Put(*sFormat++);
            continue;
        }
        Conversion conversion;
        sFormat = ReadConversion(sFormat + 1, &conversion);
        if (conversion.cKind == '%') {
            output.Put('%');
            continue;
        }
        const Argument* pArgument = nUsed < nArguments ? &pArguments[nUsed++] : nullptr;
        if (pArgument && Fits(*pArgument, conversion.cKind))
            PrintArgument(conversion, *pArgument, &output);
        else
            output.Put('?');
    }
    sOut[output.nLength] = '\0';
    return output.nLength;
}

}  // namespace qsolve
