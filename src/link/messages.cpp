#include "link/messages.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace qsolve {
namespace {

struct Message {
    int nId;
    const char* sText;
};

constexpr Message kMessages[] = {
#define MESSAGE(nId, Name, sText) {nId, sText},
#include "link/messages.def"
#undef MESSAGE
};

constexpr bool IdsAscend() {
    for (std::size_t i = 1; i < std::size(kMessages); ++i)
        if (kMessages[i - 1].nId >= kMessages[i].nId) return false;
    return true;
}
static_assert(IdsAscend(), "messages.def is searched by halves: ids ascend, each stands once");

}  // namespace

const char* MessageText(int nId) {
    const Message* pMessage =
        std::lower_bound(std::begin(kMessages), std::end(kMessages), nId,
                         [](const Message& message, int n) { return message.nId < n; });
    return pMessage != std::end(kMessages) && pMessage->nId == nId ? pMessage->sText : nullptr;
}

}  // namespace qsolve
