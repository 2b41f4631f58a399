// SPDX-License-Identifier: MIT

// The port as a device: its settings, queues and lines, its descriptors and its name.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/tty/ProbeRun.h"

namespace tty {
namespace {

TEST(TtyPort, AWriteReturnsWhenItIsQueuedAndDrainWaitsForTheWire) {
    EXPECT_EQ(ProbeRun().Says(kPort + "fill:20 outq drain outq"), kOpened +
                                                                      "fill:20 = 20\n"
                                                                      "outq = 20 (1 ms)\n"
                                                                      "drain = 0 (19 ms)\n"
                                                                      "outq = 0\n");
}

TEST(TtyPort, AWriteBeyondTheQueueWaitsForRoom) {
    EXPECT_EQ(ProbeRun().Says(kPort + "fill:5000 outq"), kOpened +
                                                             "fill:5000 = 5000 (4001 ms)\n"
                                                             "outq = 1159 (1 ms)\n");
}

TEST(TtyPort, WithoutWaitingAWriteTakesWhatFits) {
    EXPECT_EQ(ProbeRun().Says("open:/dev/ttyS1:rw:nonblock fill:5000 fill:10 poll:out:0"),
              "open:/dev/ttyS1:rw:nonblock = open\n"
              "fill:5000 = 4096\n"
              "fill:10 = EAGAIN (1 ms)\n"
              "poll:out:0 = 0 (1 ms)\n");
}

TEST(TtyPort, FlushForgetsWhatIsQueuedAndWhatNobodyRead) {
    EXPECT_EQ(
        ProbeRun().InLoader().Says(kPort + "raw:9600:E:1:0 write:80 pause:5 fionread flush:in "
                                           "fionread fill:20 flush:out outq flush:wrong"),
        kOpened +
            "raw:9600:E:1:0 = 0\n"
            "write:80 = 1\n"
            "pause:5 = 0 (5 ms)\n"
            "fionread = 1\n"
            "flush:in = 0\n"
            "fionread = 0 (1 ms)\n"
            "fill:20 = 20\n"
            "flush:out = 0\n"
            "outq = 1 (1 ms)\n"
            "flush:wrong = EINVAL\n");
}

TEST(TtyPort, ABreakTakesAQuarterOfASecond) {
    EXPECT_EQ(ProbeRun().Says(kPort + "break"), kOpened + "break = 0 (250 ms)\n");
}

TEST(TtyPort, ModemLinesAreRaisedAndDropped) {
    EXPECT_EQ(ProbeRun().Says(kPort + "mget mset:-dtr mget mset:+dtr mget mset:=rts mget"),
              kOpened +
                  "mget = DTR RTS CTS \n"
                  "mset:-dtr = 0\n"
                  "mget = RTS CTS \n"
                  "mset:+dtr = 0\n"
                  "mget = DTR RTS CTS \n"
                  "mset:=rts = 0\n"
                  "mget = RTS CTS \n");
}

TEST(TtyPort, ExclusiveUseRefusesASecondOpening) {
    EXPECT_EQ(ProbeRun().Says(kPort + "excl open:/dev/ttyS1:rw nxcl open:/dev/ttyS1:r getfl"),
              kOpened +
                  "excl = 0\n"
                  "open:/dev/ttyS1:rw = EBUSY\n"
                  "nxcl = 0\n"
                  "open:/dev/ttyS1:r = open\n"
                  "getfl = r\n");
}

TEST(TtyPort, AnUnknownRequestIsNotForATerminal) {
    EXPECT_EQ(ProbeRun().Says(kPort + "unknown"), kOpened + "unknown = ENOTTY\n");
}

TEST(TtyPort, AnySpeedCanBeSetTheKernelsOwnWay) {
    EXPECT_EQ(ProbeRun().Says(kPort + "getspeed setspeed:12345 getspeed fill:10 drain"),
              kOpened +
                  "getspeed = 9600\n"
                  "setspeed:12345 = 0\n"
                  "getspeed = 12345\n"
                  "fill:10 = 10\n"
                  "drain = 0 (8 ms)\n");
}

TEST(TtyPort, AnotherSpeedThanTheChipsReadsAsErrors) {
    ProbeRun run;
    EXPECT_EQ(run.InLoader().Says(kPort + "raw:19200:E:0:1 write:80 read:10"),
              kOpened +
                  "raw:19200:E:0:1 = 0\n"
                  "write:80 = 1\n"
                  "read:10 = 0 (100 ms)\n");
}

TEST(TtyPort, AnotherParityThanTheChipsIsSeenByTheChip) {
    ProbeRun run;
    EXPECT_EQ(run.InLoader().Says(kPort + "raw:9600:O:0:1 write:80 read:10"),
              kOpened +
                  "raw:9600:O:0:1 = 0\n"
                  "write:80 = 1\n"
                  "read:10 = 0 (100 ms)\n");
}

TEST(TtyPort, AParityErrorIsSeenByTheProgramThatAskedForParity) {
    // The sync goes out with the chip's parity, its answer comes in when another one is set.
    EXPECT_EQ(
        ProbeRun().InLoader().Says(kPort + "raw:9600:E:1:0 write:80 drain raw:9600:O:1:0 read:10"),
        kOpened +
            "raw:9600:E:1:0 = 0\n"
            "write:80 = 1\n"
            "drain = 0 (1 ms)\n"
            "raw:9600:O:1:0 = 0\n"
            "read:10 = 1 00 (1 ms)\n");
}

TEST(TtyPort, ItIsATerminalAndSaysItsName) {
    EXPECT_EQ(
        ProbeRun().Says(kPort + "isatty ttyname fstat stat:/dev/ttyS1 statx:/dev/ttyS1 "
                                "access:/dev/ttyS1 access:/dev/ttyS7 stat:/dev/ttyS7 lseek:0"),
        kOpened +
            "isatty = yes\n"
            "ttyname = /dev/ttyS1\n"
            "fstat = device 4:64\n"
            "stat:/dev/ttyS1 = device 4:64\n"
            "statx:/dev/ttyS1 = device\n"
            "access:/dev/ttyS1 = 0\n"
            "access:/dev/ttyS7 = ENOENT\n"
            "stat:/dev/ttyS7 = ENOENT\n"
            "lseek:0 = ESPIPE\n");
}

TEST(TtyPort, TheMachinesOwnHardwareIsOutOfReach) {
    EXPECT_EQ(ProbeRun().Says("open:/dev/ttyS0:rw open:/dev/ttyUSB0:rw openat:/dev/ttyACM0:rw "
                              "creat:/dev/ttyAMA0 stat:/sys/class/gpio/gpio91/value"),
              "open:/dev/ttyS0:rw = ENOENT\n"
              "open:/dev/ttyUSB0:rw = ENOENT\n"
              "openat:/dev/ttyACM0:rw = ENOENT\n"
              "creat:/dev/ttyAMA0 = ENOENT\n"
              "stat:/sys/class/gpio/gpio91/value = ENOENT\n");
}

TEST(TtyPort, ADescriptorDoesWhatItWasOpenedFor) {
    EXPECT_EQ(ProbeRun().Says("open:/dev/ttyS1:r write:80 creat:/dev/ttyS1 read:1 getfl"),
              "open:/dev/ttyS1:r = open\n"
              "write:80 = EBADF\n"
              "creat:/dev/ttyS1 = open\n"
              "read:1 = EBADF\n"
              "getfl = w\n");
}

TEST(TtyPort, CopiesOfADescriptorAreTheSameOpening) {
    ProbeRun run;
    EXPECT_EQ(run.InLoader().Says(kPort + "raw:9600:E:1:0 dup2:77 write:80 dupfd read:1 dup close "
                                          "close close:77 close:3"),
              kOpened +
                  "raw:9600:E:1:0 = 0\n"
                  "dup2:77 = open\n"
                  "write:80 = 1\n"
                  "dupfd = open\n"
                  "read:1 = 1 90 (2 ms)\n"
                  "dup = open\n"
                  "close = 0\n"
                  "close = EBADF\n"
                  "close:77 = 0\n"
                  "close:3 = 0\n");
    const auto calls = run.Calls();
    // The copy made by dupfd is still open: no close has reached the port.
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "close /dev/ttyS1 = 0"), 0);
}

TEST(TtyPort, AProgramThatClosesAllItFindsDoesNotEndTheRun) {
    ProbeRun run;
    EXPECT_EQ(run.Says(kPort + "closeall open:/dev/ttyS1:rw close"),
              kOpened +
                  "closeall = closed\n"
                  "open:/dev/ttyS1:rw = open\n"
                  "close = 0\n");
    const auto calls = run.Calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "close /dev/ttyS1 = 0"), 2);
}

TEST(TtyPort, AStreamOnADescriptorReadsAndWrites) {
    EXPECT_EQ(ProbeRun().InLoader().Says(kPort + "raw:9600:E:1:0 stream:80 close"),
              kOpened +
                  "raw:9600:E:1:0 = 0\n"
                  "stream:80 = 1 flushed 90 same 0 (2 ms)\n"
                  "close = EBADF\n");
}

TEST(TtyPort, AStreamHasADescriptorForItsSettings) {
    EXPECT_EQ(ProbeRun().Says("streamsettings:/dev/ttyS1 streamsettings:/dev/knxspi"),
              "streamsettings:/dev/ttyS1 = 0\n"
              "streamsettings:/dev/knxspi = ENOTTY\n");
}

TEST(TtyPort, LocksAreTheProgramsOwn) {
    EXPECT_EQ(ProbeRun().Says(kPort + "lock"), kOpened + "lock = 0 0\n");
}

TEST(TtyPort, TheDriverCountsWhatItCarriedAndWhatWasDamaged) {
    EXPECT_EQ(ProbeRun().InLoader().Says(
                  kPort + "raw:9600:E:1:0 write:80 drain raw:9600:O:1:0 read:1 counts"),
              kOpened +
                  "raw:9600:E:1:0 = 0\n"
                  "write:80 = 1\n"
                  "drain = 0 (1 ms)\n"
                  "raw:9600:O:1:0 = 0\n"
                  "read:1 = 1 00 (1 ms)\n"
                  "counts = sent 1 received 1 framing 0 parity 1\n");
}

TEST(TtyPort, TheDriverIsA16550AAndStaysOne) {
    EXPECT_EQ(ProbeRun().Says(kPort + "driver"), kOpened + "driver = 4 0 EPERM\n");
}

TEST(TtyPort, ASpeedBeyondAllMeasureIsNotTaken) {
    EXPECT_EQ(ProbeRun().Says(kPort + "setspeed:2100000000 getspeed fill:1 drain"),
              kOpened +
                  "setspeed:2100000000 = 0\n"
                  "getspeed = 9600\n"
                  "fill:1 = 1\n"
                  "drain = 0 (1 ms)\n");
}

TEST(TtyPort, NothingInThePlaceOfDataIsAnError) {
    EXPECT_EQ(ProbeRun().Says(kPort + "nothing"),
              kOpened + "nothing = EFAULT EFAULT EFAULT EFAULT EFAULT EFAULT EFAULT EFAULT\n");
}

TEST(TtyPort, PiecesThatCannotBeAreRefused) {
    EXPECT_EQ(ProbeRun().Says(kPort + "impossible"),
              kOpened + "impossible = EINVAL EINVAL EINVAL\n");
}

TEST(TtyPort, ItCannotBeMadeAnewNorBeAFolder) {
    EXPECT_EQ(ProbeRun().Says("openwith:/dev/ttyS1:new openwith:/dev/ttyS1:folder "
                              "openwith:/dev/ttyS1:path openwith:/sys/class/gpio:temporary "
                              "open:/sys/class/gpio:rw"),
              "openwith:/dev/ttyS1:new = EEXIST\n"
              "openwith:/dev/ttyS1:folder = ENOTDIR\n"
              "openwith:/dev/ttyS1:path = EOPNOTSUPP\n"
              "openwith:/sys/class/gpio:temporary = EOPNOTSUPP\n"
              "open:/sys/class/gpio:rw = EISDIR\n");
}

TEST(TtyPort, WhatATerminalCannotDoIsRefused) {
    EXPECT_EQ(ProbeRun().Says(kPort + "fsync truncate failingdup2 isatty"),
              kOpened +
                  "fsync = EINVAL\n"
                  "truncate = EINVAL\n"
                  "failingdup2 = EBADF\n"
                  "isatty = yes\n");
}

TEST(TtyPort, ItIsTheSameByEveryNameThatLeadsToIt) {
    EXPECT_EQ(ProbeRun().Says("access:/dev//ttyS1 access:/dev/./ttyS1 access:/dev/../dev/ttyS1 "
                              "access:/proc/self/root/dev/ttyS1 access:/dev//ttyS7 "
                              "access:/dev/ttyS1/../ttyS1 access:/sys/class/gpio/export/../export "
                              "access:/sys/class/gpio/../gpio/export"),
              "access:/dev//ttyS1 = 0\n"
              "access:/dev/./ttyS1 = 0\n"
              "access:/dev/../dev/ttyS1 = 0\n"
              "access:/proc/self/root/dev/ttyS1 = 0\n"
              "access:/dev//ttyS7 = ENOENT\n"
              "access:/dev/ttyS1/../ttyS1 = ENOTDIR\n"
              "access:/sys/class/gpio/export/../export = ENOTDIR\n"
              "access:/sys/class/gpio/../gpio/export = 0\n");
}

TEST(GpioFile, IsNewsUntilItIsReadAndNoEdgeComes) {
    EXPECT_EQ(ProbeRun().Says("open:/sys/class/gpio/export:w text:86 "
                              "open:/sys/class/gpio/gpio86/edge:rw text:falling lseek:0 read:9 "
                              "text:sideways open:/sys/class/gpio/gpio86/direction:w text:out "
                              "open:/sys/class/gpio/gpio86/value:r urgent:50 read:2 urgent:50"),
              "open:/sys/class/gpio/export:w = open\n"
              "text:86 = 2\n"
              "open:/sys/class/gpio/gpio86/edge:rw = open\n"
              "text:falling = 7\n"
              "lseek:0 = 0\n"
              "read:9 = 8 66 61 6c 6c 69 6e 67 0a\n"
              "text:sideways = EINVAL\n"
              "open:/sys/class/gpio/gpio86/direction:w = open\n"
              "text:out = EIO\n"
              "open:/sys/class/gpio/gpio86/value:r = open\n"
              "urgent:50 = 1 urgent\n"
              "read:2 = 2 31 0a\n"
              "urgent:50 = 0 (50 ms)\n");
}

TEST(GpioFile, IsReadAgainFromItsBeginning) {
    EXPECT_EQ(ProbeRun().Says("open:/sys/class/gpio/export:w text:86 "
                              "open:/sys/class/gpio/gpio86/value:r read:4 read:4 read:4 lseek:0 "
                              "read:1 pread:0 fstat stat:/sys/class/gpio/gpio86"),
              "open:/sys/class/gpio/export:w = open\n"
              "text:86 = 2\n"
              "open:/sys/class/gpio/gpio86/value:r = open\n"
              "read:4 = 2 31 0a\n"
              "read:4 = 0\n"
              "read:4 = 0\n"
              "lseek:0 = 0\n"
              "read:1 = 1 31\n"
              "pread:0 = 1\n"
              "fstat = file\n"
              "stat:/sys/class/gpio/gpio86 = folder\n");
}

}  // namespace
}  // namespace tty
