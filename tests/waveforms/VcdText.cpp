// SPDX-License-Identifier: MIT
#include "tests/waveforms/VcdText.h"

#include <gtest/gtest.h>

#include <sstream>

namespace vboard {

std::string ChangesOf(std::string_view vcd, std::string_view variable) {
    std::istringstream lines{std::string(vcd)};
    std::string line;
    std::string shortName;
    std::string changes;
    long long time = -1;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string first;
        words >> first;
        if (first == "$var") {
            std::string type, width, id, name;
            words >> type >> width >> id >> name;
            shortName = name == variable ? id : shortName;
        } else if (first.starts_with('#')) {
            const long long next = std::stoll(first.substr(1));
            EXPECT_GT(next, time) << "time must go forward";
            time = next;
        } else if (!shortName.empty() && !line.starts_with('$') && line.ends_with(shortName)) {
            std::string value = line.substr(0, line.size() - shortName.size());
            changes += (changes.empty() ? "" : " ") + std::to_string(time) + ":" + value;
        }
    }
    EXPECT_FALSE(shortName.empty()) << variable << " is not declared";
    return changes;
}

}  // namespace vboard
