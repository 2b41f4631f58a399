// SPDX-License-Identifier: MIT
#include "vboard/run/GatherFaults.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "vboard/faults/FaultPlanParser.h"
#include "vboard/run/Descriptor.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

/// All of a file, which may be a pipe; errno says why it failed.
bool ReadFile(const std::string& path, std::string& text) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 4096> part{};
    ssize_t got = file.IsOpen() ? 1 : -1;
    while (got > 0) {
        got = read(file.Number(), part.data(), part.size());
        text.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
    return got == 0;
}

bool ReadPlan(const std::string& path, std::vector<FaultRule>& rules, std::string& problem) {
    std::string text;
    if (!ReadFile(path, text)) {
        problem = Formatted("fault plan '{}' can't be read: {}", path, strerrordesc_np(errno));
        return false;
    }
    std::string why;
    if (!ParseFaultPlan(text, rules, why)) {
        problem = Formatted("fault plan '{}' {}", path, why);
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
