// SPDX-License-Identifier: MIT
#include "tests/runs/Compare.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace runs {
namespace {

constexpr int kLinesAround = 4;

/// Where the line begins that holds `place`, `lines` lines further up.
std::size_t StartOf(const std::string& text, std::size_t place, int lines) {
    for (; place > 0; --place) {
        if (text[place - 1] == '\n' && lines-- == 0) {
            break;
        }
    }
    return place;
}

/// From there on, some lines.
std::string Excerpt(const std::string& text, std::size_t start, int lines) {
    std::size_t end = start;
    while (end < text.size() && (text[end] != '\n' || --lines > 0)) {
        ++end;
    }
    return text.substr(start, end - start);
}

}  // namespace

void ExpectSame(const std::string& actual, const std::string& expected) {
    const auto [left, right] =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    if (left == actual.end() && right == expected.end()) {
        return;
    }
    const auto place = static_cast<std::size_t>(std::distance(actual.begin(), left));
    const std::size_t start = StartOf(actual, place, kLinesAround);
    ADD_FAILURE() << "the texts differ at line " << 1 + std::count(actual.begin(), left, '\n')
                  << "; is:\n"
                  << Excerpt(actual, start, 2 * kLinesAround) << "\nshould be:\n"
                  << Excerpt(expected, start, 2 * kLinesAround);
}

}  // namespace runs
