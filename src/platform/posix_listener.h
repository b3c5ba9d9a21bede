#pragma once

namespace qsolve {

/// Opens "qsolve/<sTopic>" in the user's runtime directory for one client of the same user. The
/// directory is made with mode 0700 and must be ours and no link; a socket left by a process that
/// is gone is replaced. Returns the listening descriptor, or -1 after one line on standard error.
int OpenListener(const char* sTopic);

/// In the place of a descriptor of AcceptClient.
constexpr int kNoClient = -1;  ///< there is none, or it belongs to another user
constexpr int kNoRoom = -2;    ///< no descriptor or no memory for it: it waits on

/// Accepts a waiting client and returns its descriptor, or one of the values above.
int AcceptClient(int nListener);

/// Closes the listener and removes its socket.
void CloseListener(int nListener);

}  // namespace qsolve
