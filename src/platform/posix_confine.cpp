#include "platform/posix_confine.h"

#if defined(ORBITRAX_CONFINE) && defined(__x86_64__) && defined(__linux__)

#include <errno.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <array>
#include <cstdint>

namespace qsolve {
namespace {

/// System calls that are given up, by what they are for.
constexpr std::uint32_t kGivenUp[] = {
    // files: open and make
    SYS_open, SYS_openat, SYS_openat2, SYS_creat, SYS_mkdir, SYS_mkdirat, SYS_mknod, SYS_mknodat,
    SYS_open_by_handle_at, SYS_memfd_create, SYS_symlink, SYS_symlinkat, SYS_link, SYS_linkat,
    // files: change, without having them open
    SYS_rename, SYS_renameat, SYS_renameat2, SYS_rmdir, SYS_truncate, SYS_chmod, SYS_fchmodat,
    SYS_chown, SYS_lchown, SYS_fchownat, SYS_utime, SYS_utimes, SYS_utimensat, SYS_futimesat,
    SYS_setxattr, SYS_lsetxattr, SYS_removexattr, SYS_lremovexattr,
    // places and systems of files
    SYS_chdir, SYS_fchdir, SYS_chroot, SYS_pivot_root, SYS_mount, SYS_umount2, SYS_swapon,
    SYS_swapoff, SYS_unshare, SYS_setns, SYS_open_tree, SYS_move_mount, SYS_fsopen, SYS_fsmount,
    SYS_quotactl, SYS_acct,
    // programs
    SYS_execve, SYS_execveat, SYS_uselib,
    // network and further links
    SYS_socket, SYS_connect, SYS_bind, SYS_listen, SYS_socketpair,
    // other processes
    SYS_ptrace, SYS_process_vm_readv, SYS_process_vm_writev, SYS_kcmp, SYS_pidfd_open,
    SYS_pidfd_getfd, SYS_pidfd_send_signal,
    // ways round a filter, and into the system
    SYS_io_uring_setup, SYS_io_uring_enter, SYS_io_uring_register, SYS_bpf, SYS_perf_event_open,
    SYS_userfaultfd, SYS_keyctl, SYS_add_key, SYS_request_key, SYS_init_module, SYS_finit_module,
    SYS_delete_module, SYS_kexec_load, SYS_kexec_file_load, SYS_iopl, SYS_ioperm, SYS_reboot,
    SYS_settimeofday, SYS_clock_settime, SYS_sethostname, SYS_setdomainname, SYS_setuid, SYS_setgid,
    SYS_setreuid, SYS_setregid, SYS_setresuid, SYS_setresgid, SYS_setgroups, SYS_personality};

/// And what a listener still needs to remove its socket.
constexpr std::uint32_t kRemovals[] = {SYS_unlink, SYS_unlinkat};

constexpr std::uint32_t kNewest = 450;             ///< calls above are younger than this list
constexpr std::uint32_t kOtherTable = 0x40000000;  ///< the same calls by 32-bit pointers
constexpr std::size_t kMost = std::size(kGivenUp) + std::size(kRemovals) + 16;

/// A filter that grows instruction by instruction.
struct Filter {
    std::array<sock_filter, kMost> Code = {};
    unsigned short nCode = 0;

    void Add(sock_filter instruction) { Code[nCode++] = instruction; }
    void Load(std::size_t nPlace) {
        Add(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(nPlace)));
    }
    void Answer(std::uint32_t nAnswer) { Add(BPF_STMT(BPF_RET | BPF_K, nAnswer)); }
};

constexpr std::uint32_t Refusal(int nError) {
    return SECCOMP_RET_ERRNO | (static_cast<std::uint32_t>(nError) & SECCOMP_RET_DATA);
}

/// Every refused call jumps to the last instruction.
Filter MakeFilter(bool fListening) {
    Filter filter;
    filter.Load(offsetof(seccomp_data, arch));
    filter.Add(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AUDIT_ARCH_X86_64, 1, 0));
    filter.Answer(SECCOMP_RET_KILL_PROCESS);
    filter.Load(offsetof(seccomp_data, nr));
    filter.Add(BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, kOtherTable, 0, 1));
    filter.Answer(Refusal(EPERM));
    filter.Add(BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, kNewest, 0, 1));
    filter.Answer(Refusal(ENOSYS));
    const std::size_t nRemovals = fListening ? 0 : std::size(kRemovals);
    const std::size_t nRefused = std::size(kGivenUp) + nRemovals;
    for (std::size_t i = 0; i < nRefused; ++i) {
        const std::uint32_t nCall =
            i < std::size(kGivenUp) ? kGivenUp[i] : kRemovals[i - std::size(kGivenUp)];
        const auto nToRefusal = static_cast<unsigned char>(nRefused - i);
        filter.Add(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, nCall, nToRefusal, 0));
    }
    filter.Answer(SECCOMP_RET_ALLOW);
    filter.Answer(Refusal(EPERM));
    return filter;
}

static_assert(std::size(kGivenUp) + std::size(kRemovals) < 256, "jumps have eight bits");

}  // namespace

bool Confine(bool fListening) {
    Filter filter = MakeFilter(fListening);
    sock_fprog program = {filter.nCode, filter.Code.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return false;
    return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) == 0;
}

}  // namespace qsolve

#else

namespace qsolve {

bool Confine(bool) {
    return false;
}

}  // namespace qsolve

#endif
