// SPDX-License-Identifier: MIT
#pragma once

// Rule: a run of the virtual board is a pure function of its inputs, so nothing in it looks at the
// machine's clock, sleeps, starts threads, draws at random, prints addresses, or uses a container
// whose order is accidental. Exceptions, with reasons, are in banned-calls-allowed.txt.

#include <string>
#include <vector>

#include "tests/architecture/SourceTree.h"

namespace architecture {

/// Findings in the sources below vboard/. `allowed` holds words "PATH:KIND", where PATH may be a
/// folder and KIND is clock, sleep, thread, random, order or address; one that nothing needs is a
/// finding, too.
[[nodiscard]] std::vector<Finding> CheckBannedCalls(const SourceTree& tree,
                                                    const std::vector<Reasoned>& allowed);

}  // namespace architecture
