#include "platform/posix_listener.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

namespace qsolve {

namespace {

/// Where the socket stands, while there is one.
std::string sSocketPath;

int Refuse(const std::string& sWhat) {
    fprintf(stderr, "qsolve: %s\n", sWhat.c_str());
    return -1;
}

/// The user's runtime directory, or a directory of the user's own under the temporary one.
std::string RuntimeDirectory() {
    if (const char* sRuntime = getenv("XDG_RUNTIME_DIR"); sRuntime && sRuntime[0] == '/')
        return std::string(sRuntime) + "/qsolve";
    const char* sTemporary = getenv("TMPDIR");
    const std::string sBase = sTemporary && sTemporary[0] == '/' ? sTemporary : "/tmp";
    return sBase + "/qsolve-" + std::to_string(getuid());
}

/// Makes the directory if need be; false unless it is a real directory, ours, and closed to others.
bool PrepareDirectory(const std::string& sDirectory) {
    if (mkdir(sDirectory.c_str(), 0700) != 0 && errno != EEXIST) return false;
    struct stat info;
    if (lstat(sDirectory.c_str(), &info) != 0) return false;
    return S_ISDIR(info.st_mode) && info.st_uid == getuid() && (info.st_mode & 077) == 0;
}

/// Whether something answers at the address. Nothing does after a crash; a process that is stopped
/// may have its queue full, which is not waited for.
bool IsAlive(const sockaddr_un& address) {
    const int nProbe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (nProbe < 0) return true;
    const auto* pAddress = reinterpret_cast<const sockaddr*>(&address);
    const bool fAlive = connect(nProbe, pAddress, sizeof address) == 0 || errno != ECONNREFUSED;
    close(nProbe);
    return fAlive;
}

/// Removes a socket of ours that nobody listens to; anything else stays.
void RemoveStaleSocket(const sockaddr_un& address) {
    struct stat info;
    if (lstat(address.sun_path, &info) != 0 || !S_ISSOCK(info.st_mode)) return;
    if (info.st_uid == getuid() && !IsAlive(address)) unlink(address.sun_path);
}

/// Whether an error will come again at once, since the client still waits in the queue.
bool HasNoRoom(int nError) {
    return nError == EMFILE || nError == ENFILE || nError == ENOBUFS || nError == ENOMEM;
}

}  // namespace

int OpenListener(const char* sTopic) {
    const std::string sDirectory = RuntimeDirectory();
    const std::string sPath = sDirectory + "/" + sTopic;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (sPath.size() >= sizeof address.sun_path)
        return Refuse("the socket name is too long: " + sPath);
    memcpy(address.sun_path, sPath.c_str(), sPath.size() + 1);
    if (!PrepareDirectory(sDirectory))
        return Refuse(sDirectory + " must be a directory of yours that nobody else can enter");

    RemoveStaleSocket(address);
    const int nListener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (nListener < 0) return Refuse(std::string("no socket: ") + strerror(errno));
    const mode_t nOldMask = umask(077);
    const int nBound = bind(nListener, reinterpret_cast<sockaddr*>(&address), sizeof address);
    const int nError = errno;
    umask(nOldMask);
    if (nBound != 0 || listen(nListener, 8) != 0) {
        close(nListener);
        return Refuse("cannot listen at " + sPath + ": " + strerror(nBound != 0 ? nError : errno));
    }
    sSocketPath = sPath;
    return nListener;
}

int AcceptClient(int nListener) {
    const int nClient = accept4(nListener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (nClient < 0) return HasNoRoom(errno) ? kNoRoom : kNoClient;
    ucred peer = {};
    socklen_t nSize = sizeof peer;
    const bool fKnown = getsockopt(nClient, SOL_SOCKET, SO_PEERCRED, &peer, &nSize) == 0;
    if (fKnown && peer.uid == getuid()) return nClient;
    close(nClient);
    return kNoClient;
}

void CloseListener(int nListener) {
    if (nListener < 0) return;
    if (!sSocketPath.empty()) unlink(sSocketPath.c_str());
    sSocketPath.clear();
    close(nListener);
}

}  // namespace qsolve
