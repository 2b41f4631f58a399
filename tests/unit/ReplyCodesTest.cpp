// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

#include "flashmcu/MSPCommands.h"
#include "tests/support/Expected.h"
#include "tests/support/ScriptedHost.h"

namespace {

const std::string kNoName = "Returnvalue translation not found";

std::string NotFound(const std::string& rawByte) {
    return expected::LogOf(
        "MSPCommands", "error",
        "CMSPBSLCommand::TranslateRetValToString - no translation found for retVal: " + rawByte);
}

}  // namespace

TEST(ReplyCodes, AckAndNakHaveTheirNamesWithoutALine) {
    ScriptedHost host;
    EXPECT_EQ(CMSPBSLCommand::TranslateRetValToString(0x90), "DATA_ACK");
    EXPECT_EQ(CMSPBSLCommand::TranslateRetValToString(0xA0), "DATA_NAK");
    EXPECT_EQ(host.Conversation(), "");
}

TEST(ReplyCodes, TheEndMarkersCodeHasNoName) {
    ScriptedHost host;
    EXPECT_EQ(CMSPBSLCommand::TranslateRetValToString(0xFF), kNoName);
    EXPECT_EQ(host.Conversation(), NotFound("\\xFF"));
}

TEST(ReplyCodes, AZeroByteEndsThePrintedMessageRightAfterTheText) {
    ScriptedHost host;
    EXPECT_EQ(CMSPBSLCommand::TranslateRetValToString(0x00), kNoName);
    EXPECT_EQ(host.Conversation(), NotFound(""));
}

TEST(ReplyCodes, EveryOtherByteIsPrintedAsTheRawByteItIs) {
    for (int code = 1; code <= 0xFF; ++code) {
        if (code == 0x90 || code == 0xA0) {
            continue;
        }
        ScriptedHost host;
        const std::string raw(1, static_cast<char>(code));
        std::array<char, 8> shown{};
        (void)std::snprintf(shown.data(), shown.size(), "\\x%02X", static_cast<unsigned>(code));
        EXPECT_EQ(CMSPBSLCommand::TranslateRetValToString(static_cast<unsigned char>(code)),
                  kNoName);
        EXPECT_EQ(host.Conversation(),
                  NotFound(code >= 0x20 && code < 0x7F ? raw : std::string(shown.data())));
    }
}

TEST(ReplyCodes, TheByte41ShowsAsTheLetterA) {
    ScriptedHost host;
    EXPECT_EQ(CMSPBSLCommand::TranslateRetValToString(0x41), kNoName);
    EXPECT_EQ(host.Conversation(), NotFound("A"));
}
