#include "interruption.hpp"

#include <csignal>

namespace stemstrip::cli {
namespace {

volatile std::sig_atomic_t gInterrupted = 0;

extern "C" void OnSignal(int) { gInterrupted = 1; }

}  // namespace

void CatchInterruptions() {
    std::signal(SIGINT, OnSignal);
    std::signal(SIGTERM, OnSignal);
    std::signal(SIGXFSZ, SIG_IGN);
}

bool Interrupted() { return gInterrupted != 0; }

}  // namespace stemstrip::cli
