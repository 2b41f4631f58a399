// SPDX-License-Identifier: MIT

// Any text as a fault plan: it is taken, or refused with one line that says why.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "vboard/faults/FaultPlanParser.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<vboard::FaultRule> rules;
    std::string problem;
    if (!vboard::ParseFaultPlan(text, rules, problem)) {
        if (problem.empty()) {
            std::abort();
        }
    }
    return 0;
}
