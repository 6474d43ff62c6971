// Runs an entry on a copy of a scenario placed block by block, then brings
// every writable block back into the scenario. Each block and buffer is
// placed at exactly its host-valid size, ending at a PROT_NONE page, and
// every block the library must only read is read-only during the call; of a
// skipped instance (count below 1) only the context, its two integers and
// the input pointers and buffers stay readable. An access past a block, a
// write to a read-only one or a skipped instance's access to anything else
// crashes the run, whatever the code under test was compiled with. Memory
// shared between instances (Options::sharedMemory) is not reproduced.
#pragma once

#include "model/scenario.h"
#include "stemstrip.h"

namespace stemstrip_test {

void CallOnGuardedCopy(AlgEntry_Fn entry, scenario::Scenario& s);

}  // namespace stemstrip_test
