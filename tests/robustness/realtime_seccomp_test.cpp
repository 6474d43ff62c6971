// The audio path makes no system call at all: it runs on a thread under a
// seccomp filter that allows exit and nothing else. Any other call kills
// the whole process with SIGSYS, and so fails the test. (Strict mode would
// allow read and write, and it kills only the offending thread.)
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstddef>
#include <functional>
#include <thread>

#include "realtime_workload.h"

namespace {

#if defined(__x86_64__)
constexpr unsigned kAuditArch = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned kAuditArch = AUDIT_ARCH_AARCH64;
#else
constexpr unsigned kAuditArch = 0;  // unknown: the tests skip
#endif

bool EnterExitOnlyFilter() {
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kAuditArch, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_exit, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
    };
    const sock_fprog program{static_cast<unsigned short>(std::size(filter)), filter};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

// Runs `body` on a fresh thread under the filter; false when the kernel
// refused the filter. A plain pthread, so that nothing is left on the heap;
// it leaves with a raw exit, as returning through the C++ runtime makes
// calls of its own.
bool RunUnderExitOnlyFilter(std::function<void()> body) {
    struct Thread {
        std::function<void()> body;
        bool entered = false;
    } thread{std::move(body)};
    pthread_t id;
    auto run = [](void* arg) -> void* {
        auto* t = static_cast<Thread*>(arg);
        if ((t->entered = EnterExitOnlyFilter())) t->body();
        syscall(SYS_exit, 0);
        return nullptr;
    };
    if (pthread_create(&id, nullptr, run, &thread) != 0) return false;
    pthread_join(id, nullptr);
    return thread.entered;
}

TEST(ExitOnlySeccomp, AllEntriesAndInstanceProcessWhileSettingsChange) {
    if (kAuditArch == 0) GTEST_SKIP() << "no seccomp architecture code for this machine";
    EXPECT_EQ(robustness::RunRealtimeWorkload(RunUnderExitOnlyFilter), "");  // "could not run": the kernel refused the filter
}

// The filter is real: one system call inside it ends the process.
TEST(ExitOnlySeccompDeathTest, ASystemCallInsideKillsTheProcess) {
    if (kAuditArch == 0) GTEST_SKIP() << "no seccomp architecture code for this machine";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(RunUnderExitOnlyFilter([] { syscall(SYS_getpid); }), ::testing::KilledBySignal(SIGSYS), "");
}

}  // namespace
