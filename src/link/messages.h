#pragma once

namespace qsolve {

/// Every text that the backend says, under its number: kMsg and the name that stands beside it in
/// messages.def.
enum MessageId : int {
#define MESSAGE(nId, Name, sText) kMsg##Name = nId,
#include "link/messages.def"
#undef MESSAGE
};

/// Text of a message, or null where the number has none.
const char* MessageText(int nId);

}  // namespace qsolve
