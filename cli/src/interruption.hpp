// Ctrl-C and SIGTERM during a render stop it between chunks, so the staged
// output is removed instead of being left half-written. A file size limit
// (ulimit -f) makes the write fail instead of killing the program, for the
// same reason.
#pragma once

namespace stemstrip::cli {

void CatchInterruptions();
bool Interrupted();

}  // namespace stemstrip::cli
