// The audio path of workloads.h (RunRealtimeWorkload) inside a real-time
// bracket, and the proof that the bracket is real. Built twice:
//  - robustness_seccomp_tests: a seccomp filter that allows exit and nothing
//    else, so any system call kills the whole process with SIGSYS. (Strict
//    mode would allow read and write, and kill only the offending thread.)
//  - robustness_realtime_sanitizer_tests (REALTIME_SANITIZER): any
//    allocation, lock, sleep, file or socket call aborts the test with a
//    report naming the call.
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
#include <cstdlib>
#include <functional>

#include "workloads.h"

#if defined(REALTIME_SANITIZER)
extern "C" void __rtsan_realtime_enter();
extern "C" void __rtsan_realtime_exit();
#endif

namespace {

#if defined(REALTIME_SANITIZER)
bool RunInBracket(const std::function<void()>& body) {
    return robustness::OnAThread([&] {
        __rtsan_realtime_enter();
        body();
        __rtsan_realtime_exit();
    });
}

void Forbidden() {
    void* volatile p = std::malloc(64);
    std::free(p);
}
bool Died(int status) { return !WIFEXITED(status) || WEXITSTATUS(status) != 0; }
const char* const kReport = "malloc";
#else
#if defined(__x86_64__)
constexpr unsigned kAuditArch = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned kAuditArch = AUDIT_ARCH_AARCH64;
#else
#error "no seccomp architecture code for this machine"
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
bool RunInBracket(const std::function<void()>& body) {
    struct Thread {
        const std::function<void()>& body;
        bool entered = false;
    } thread{body};
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

void Forbidden() { syscall(SYS_getpid); }
const auto Died = ::testing::KilledBySignal(SIGSYS);
const char* const kReport = "";
#endif

TEST(RealtimeBracket, AllEntriesAndInstanceProcessWhileSettingsChange) {
    EXPECT_EQ(robustness::RunRealtimeWorkload(RunInBracket), "");  // "could not run": the kernel refused the filter
}

// The bracket is real: one forbidden call inside it ends the process.
TEST(RealtimeBracketDeathTest, AForbiddenCallInsideEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(RunInBracket(Forbidden), Died, kReport);
}

}  // namespace
