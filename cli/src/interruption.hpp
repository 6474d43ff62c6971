// A terminating signal during a render (Ctrl-C, kill, the terminal closing)
// stops it between chunks, so the staged output is removed instead of being
// left half-written, and the program exits with 128 + the signal's number,
// as shells expect. A file size limit (ulimit -f) makes the write fail
// instead of killing the program, for the same reason.
#pragma once

namespace stemstrip::cli {

void CatchInterruptions();
bool Interrupted();
int InterruptingSignal();  // 0 when none arrived

}  // namespace stemstrip::cli
