// SPDX-License-Identifier: MIT
#include "vboard/time/MustHold.h"

#include <gtest/gtest.h>

namespace {

TEST(MustHoldDeathTest, WhatDoesNotHoldEndsTheProcessWithItsWordsAndItsPlace) {
    vboard::MustHold(true, "a count below its limit");
    const auto breaks = [] { vboard::MustHold(false, "a count below its limit"); };
    EXPECT_DEATH(breaks(), "vboard: mistake at .*MustHoldTest\\.cpp:10: a count below its limit");
}

TEST(MustHoldDeathTest, WhoTakesMistakesGetsTheWordsFirst) {
    EXPECT_EXIT(
        {
            vboard::SetMistakeHandler([](std::string_view what, vboard::SourceLine where) {
                std::exit(what == "order" && where.line > 0 ? 125 : 1);
            });
            vboard::MustHold(false, "order");
        },
        testing::ExitedWithCode(125), "");
}

}  // namespace
