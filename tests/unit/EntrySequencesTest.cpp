// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "TestBoard.h"
#include "tests/support/Expected.h"

using expected::NoTriState;
using expected::NoValue;
using expected::Pause;
using expected::TriState;
using expected::Value;

namespace {

class EntrySequences : public TargetTest {};

}  // namespace

TEST_F(EntrySequences, LoaderEntryPlaysItsWaveformStepByStep) {
    EXPECT_TRUE(m_target.StartBSL());
    EXPECT_EQ(Conversation(), Value("90", '1') + Pause(500000)        //
                                  + Value("91", '0')                  //
                                  + Value("86", '0')                  //
                                  + Value("90", '0') + Pause(100000)  //
                                  + TriState(0) + Pause(100000)       //
                                  + Value("91", '1') + Pause(50000)   //
                                  + Value("91", '0') + Pause(50000)   //
                                  + Value("91", '1') + Pause(100000)  //
                                  + Value("91", '0') + Pause(50000)   //
                                  + Value("86", '1') + Pause(50000)   //
                                  + Value("91", '1') + Pause(50000));
    EXPECT_EQ(m_host.PausedUs(), 1050000);
}

TEST_F(EntrySequences, LoaderEntryTakesTheLinesAndTheDeviceOfItsProfile) {
    m_host.Device("/dev/other");
    const MspBoardProfile profile{"/dev/ttymxc1", "/dev/other", "104", "6", "5"};
    CFWUMsp target(&profile);
    m_host.Forget();
    EXPECT_TRUE(target.StartBSL());
    EXPECT_EQ(Conversation(),
              Value("104", '1') + Pause(500000) + Value("5", '0') + Value("6", '0') +
                  Value("104", '0') + Pause(100000) +
                  "open /dev/other O_RDWR\nioctl /dev/other 0x40046b01 0\nclose /dev/other\n" +
                  Pause(100000) + Value("5", '1') + Pause(50000) + Value("5", '0') + Pause(50000) +
                  Value("5", '1') + Pause(100000) + Value("5", '0') + Pause(50000) +
                  Value("6", '1') + Pause(50000) + Value("5", '1') + Pause(50000));
}

TEST_F(EntrySequences, LoaderEntryWithoutAnyValueFileLogsTenTimesAndKeepsItsTiming) {
    m_host.WithoutGpioFiles();
    EXPECT_TRUE(m_target.StartBSL());
    EXPECT_EQ(Conversation(), NoValue("90") + Pause(500000) + NoValue("91") + NoValue("86") +
                                  NoValue("90") + Pause(100000) + TriState(0) + Pause(100000) +
                                  NoValue("91") + Pause(50000) + NoValue("91") + Pause(50000) +
                                  NoValue("91") + Pause(100000) + NoValue("91") + Pause(50000) +
                                  NoValue("86") + Pause(50000) + NoValue("91") + Pause(50000));
    EXPECT_EQ(m_host.PausedUs(), 1050000);
}

TEST_F(EntrySequences, LoaderEntryWithoutTheTristateDeviceGoesOn) {
    m_host.Without("/dev/knxspi");
    EXPECT_TRUE(m_target.StartBSL());
    EXPECT_EQ(Conversation(),
              Value("90", '1') + Pause(500000) + Value("91", '0') + Value("86", '0') +
                  Value("90", '0') + Pause(100000) + NoTriState() + Pause(100000) +
                  Value("91", '1') + Pause(50000) + Value("91", '0') + Pause(50000) +
                  Value("91", '1') + Pause(100000) + Value("91", '0') + Pause(50000) +
                  Value("86", '1') + Pause(50000) + Value("91", '1') + Pause(50000));
}

TEST_F(EntrySequences, RestartPlaysItsPulseBetweenTheTristateSteps) {
    m_target.RestartMSP();
    EXPECT_EQ(Conversation(), TriState(1) + Value("91", '0') + Value("86", '0') + Value("90", '1') +
                                  Pause(500000) + Value("90", '0') + Pause(100000) + TriState(0) +
                                  Pause(100000));
    EXPECT_EQ(m_host.PausedUs(), 700000);
}

TEST_F(EntrySequences, RestartWithoutTheTristateDeviceLogsTwiceAndStillPulses) {
    m_host.Without("/dev/knxspi");
    m_target.RestartMSP();
    EXPECT_EQ(Conversation(), NoTriState() + Value("91", '0') + Value("86", '0') +
                                  Value("90", '1') + Pause(500000) + Value("90", '0') +
                                  Pause(100000) + NoTriState() + Pause(100000));
}

TEST_F(EntrySequences, RestartWithoutAnyValueFileKeepsItsTiming) {
    m_host.WithoutGpioFiles();
    m_target.RestartMSP();
    EXPECT_EQ(Conversation(), TriState(1) + NoValue("91") + NoValue("86") + NoValue("90") +
                                  Pause(500000) + NoValue("90") + Pause(100000) + TriState(0) +
                                  Pause(100000));
}
