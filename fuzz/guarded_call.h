// Runs an entry on a copy of a scenario placed block by block, then brings
// every writable block back into the scenario. Each block and buffer is
// placed at exactly its host-valid size.
//
// CallOnGuardedCopy: each block ends at a PROT_NONE page, and every block
// the library must only read is read-only during the call: an access past a
// block or a write to a read-only one crashes the run, whatever the code
// under test was compiled with.
// CallOnHeapCopy: each block is its own heap allocation, for code built
// with AddressSanitizer, whose redzones catch the same accesses faster.
#pragma once

#include "model/scenario.h"
#include "stemstrip.h"

namespace fuzzcase {

void CallOnGuardedCopy(AlgEntry_Fn entry, scenario::Scenario& s);
void CallOnHeapCopy(AlgEntry_Fn entry, scenario::Scenario& s);

}  // namespace fuzzcase
