#include <errno.h>
#include <fcntl.h>
#include <stddef.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>

/// Loaded ahead of a program, lets chosen ones of all its allocations fail, those of its libraries
/// too. The file named by FAILING_MEMORY is shared with whoever watches, who may change it while
/// the program runs.

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
}

namespace {

struct Shared {
    std::atomic<long long> nTaken;   ///< allocations asked for so far
    std::atomic<long long> nFailAt;  ///< number of the first one that fails, from 0; -1 none
    std::atomic<long long> nEnd;     ///< number of the first one behind it that does not
};
Shared own{0, -1, 0};
std::atomic<Shared*> pShared{&own};

__attribute__((constructor)) void Attach() {
    const char* sFile = getenv("FAILING_MEMORY");
    const int nFile = sFile ? open(sFile, O_RDWR | O_CLOEXEC) : -1;
    if (nFile < 0) return;
    void* p = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, nFile, 0);
    close(nFile);
    if (p != MAP_FAILED) pShared = static_cast<Shared*>(p);
}

bool Fails() {
    Shared& shared = *pShared;
    const long long n = shared.nTaken++, nFailAt = shared.nFailAt;
    if (nFailAt < 0 || n < nFailAt || n >= shared.nEnd) return false;
    errno = ENOMEM;
    return true;
}

}  // namespace

extern "C" {

void* malloc(size_t nBytes) {
    return Fails() ? nullptr : __libc_malloc(nBytes);
}

void* calloc(size_t nCount, size_t nBytes) {
    return Fails() ? nullptr : __libc_calloc(nCount, nBytes);
}

void* realloc(void* p, size_t nBytes) {
    return Fails() ? nullptr : __libc_realloc(p, nBytes);
}

void* memalign(size_t nAlignment, size_t nBytes) {
    return Fails() ? nullptr : __libc_memalign(nAlignment, nBytes);
}

void* aligned_alloc(size_t nAlignment, size_t nBytes) {
    return memalign(nAlignment, nBytes);
}

int posix_memalign(void** pp, size_t nAlignment, size_t nBytes) {
    void* p = memalign(nAlignment, nBytes);
    if (p == nullptr) return ENOMEM;
    *pp = p;
    return 0;
}
}
