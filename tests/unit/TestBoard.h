// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "flashmcu/FWU_MSP.h"
#include "tests/support/ScriptedHost.h"

inline constexpr MspBoardProfile kBoard{"/dev/ttyS1", "/dev/knxspi", "90", "86", "91"};
inline constexpr MspBoardProfile kBoardWithoutPort{"", "/dev/knxspi", "90", "86", "91"};

// A target controller on the default board, its construction already forgotten by the host.
class TargetTest : public testing::Test {
protected:
    explicit TargetTest(const MspBoardProfile& profile = kBoard) : m_target(&profile) {
        m_host.Forget();
        m_host.WatchesFrameBuffer(m_target.m_frameBuffer, sizeof(m_target.m_frameBuffer));
    }

    // The programming port's script.
    ScriptedHost::DeviceScript& Port() { return m_host.Device("/dev/ttyS1"); }

    // Opens the port as the tool does, and forgets it.
    void OpenPort() {
        ASSERT_TRUE(m_target.OpenSerial("/dev/ttyS1", 9600, 8, true, false, false, false));
        m_host.Forget();
    }

    // What was said since the construction (or the last OpenPort), with every answer taken.
    std::string Conversation() {
        EXPECT_EQ(m_host.AnswersLeft(), 0) << "answers of the script that no read has taken";
        return m_host.Conversation();
    }

    ScriptedHost m_host;
    CFWUMsp m_target;
};
