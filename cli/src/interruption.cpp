#include "interruption.hpp"

#include <csignal>

namespace stemstrip::cli {
namespace {

volatile std::sig_atomic_t gSignal = 0;

extern "C" void OnSignal(int signal) { gSignal = signal; }

// Every signal whose default action ends the program and that a program may
// catch.
constexpr int kTerminating[] = {SIGHUP, SIGINT,  SIGQUIT, SIGPIPE,   SIGALRM, SIGTERM,
                                SIGUSR1, SIGUSR2, SIGXCPU, SIGVTALRM, SIGPROF};

}  // namespace

void CatchInterruptions() {
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: a blocking read or write returns, and the render loop sees the signal
    for (int signal : kTerminating) {
        struct sigaction previous {};
        sigaction(signal, nullptr, &previous);
        if (previous.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);  // nohup stays nohup
    }
    std::signal(SIGXFSZ, SIG_IGN);
}

bool Interrupted() { return gSignal != 0; }
int InterruptingSignal() { return gSignal; }

}  // namespace stemstrip::cli
