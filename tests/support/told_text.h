#pragma once

#include <string>

#include "link/format.h"
#include "link/messages.h"

namespace qsolve {

/// A numbered text with its arguments, as a client reads it.
template <class... Arguments>
std::string ToldText(int nId, const Arguments&... arguments) {
    const Argument packed[sizeof...(arguments) + 1] = {Argument(arguments)...};
    char sText[kTextCapacity];
    const std::size_t n =
        FormatText(sText, kTextCapacity, MessageText(nId), packed, sizeof...(arguments));
    return {sText, n};
}

}  // namespace qsolve
