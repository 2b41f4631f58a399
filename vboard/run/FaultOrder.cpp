// SPDX-License-Identifier: MIT
#include "vboard/run/FaultOrder.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "vboard/faults/FaultPlanParser.h"

namespace vboard {
namespace {

bool ReadPlan(const std::string& path, std::vector<FaultRule>& rules, std::string& problem) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.is_open() || file.bad()) {
        problem = fmt::format("fault plan '{}' can't be read: {}", path, strerrordesc_np(errno));
        return false;
    }
    std::string why;
    if (!ParseFaultPlan(text, rules, why)) {
        problem = fmt::format("fault plan '{}' {}", path, why);
        return false;
    }
    return true;
}

}  // namespace

bool GatherFaults(const RunOptions& options, std::vector<std::string>& rules,
                  std::string& problem) {
    std::vector<FaultRule> parsed;
    for (const std::string& text : options.faults) {
        FaultRule rule;
        if (!ParseFaultRule(text, rule, problem)) {
            return false;
        }
        parsed.push_back(rule);
    }
    if (!options.faultPlanPath.empty() && !ReadPlan(options.faultPlanPath, parsed, problem)) {
        return false;
    }
    for (const FaultRule& rule : parsed) {
        rules.push_back(rule.text);
    }
    return true;
}

}  // namespace vboard
