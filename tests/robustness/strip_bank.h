// Instances of the core for tests that run designed settings: every host
// block in ordinary memory (a scenario of the differential tests), started
// clean at a coefficient set, with input buffers the test fills.
#pragma once

#include "model/scenario.h"
#include "stemstrip.h"
#include "stemstrip/design.hpp"

namespace robustness {

AlgEntry_Fn Entry(stemstrip::Format f);

// `instances` instances of `f` sharing one coefficient block pair, each
// with buffers of `samples` samples (a multiple of 16) and that count.
scenario::Scenario MakeBank(stemstrip::Format f, int instances, int samples, const stemstrip::CoefficientSet& set);

// New targets for every instance; the core glides there.
void Retarget(scenario::Scenario& bank, const stemstrip::CoefficientSet& set);

}  // namespace robustness
