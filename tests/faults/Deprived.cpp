// Runs a command to which the system refuses something, as it would on a machine that has no more of it:
//     deprived pauses|forks|threads COMMAND...
//   pauses   every sleep is over at once, so that nobody waits for it
//   forks    no process can be made
//   threads  no thread can be made
// What the command starts is refused the same. Status 69 when the system cannot refuse, 70 without the
// command.
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using Filter = std::vector<sock_filter>;

constexpr auto lowWordOfFirstArgument = offsetof(seccomp_data, args); // on every processor this runs on

Filter &operator+=(Filter &filter, const Filter &more) {
    filter.insert(filter.end(), more.begin(), more.end());
    return filter;
}

Filter answer(long call, int error) {
    return {BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error))};
}

// A thread and a process are told apart by the flags, which can be looked at in the old call only.
Filter refuseClone(bool threads) {
    const unsigned char ifThread = threads ? 0 : 1;
    return {BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 4),
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, lowWordOfFirstArgument),
            BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, CLONE_THREAD, ifThread,
                     static_cast<unsigned char>(1 - ifThread)),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAGAIN),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
}

Filter filterFor(const std::string &what) {
    Filter filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    if (what == "pauses") {
        filter += answer(SYS_nanosleep, 0);
        filter += answer(SYS_clock_nanosleep, 0);
    } else {
        filter += answer(SYS_clone3, ENOSYS); // the old call follows
#ifdef SYS_fork
        if (what == "forks") {
            filter += answer(SYS_fork, EAGAIN);
            filter += answer(SYS_vfork, EAGAIN);
        }
#endif
        filter += refuseClone(what == "threads");
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    return filter;
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 3)
        return 64;
    Filter filter = filterFor(argv[1]);
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    // Without giving up new rights: sudo needs them, and this is root.
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        std::fprintf(stderr, "deprived: the system refuses nothing here: %s\n", std::strerror(errno));
        return 69;
    }
    execvp(argv[2], argv + 2);
    return 70;
}
