// SPDX-License-Identifier: MIT

// The edges of the port and of the GPIO files: what no program should ask, and what few ask.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/runs/Process.h"
#include "tests/runs/Transcript.h"
#include "tests/tty/ProbeRun.h"

namespace tty {
namespace {

const std::string kTerminal = "open:/dev/ttyS1:rw ";
const std::string kTerminalOpened = "open:/dev/ttyS1:rw = open\n";

/// What the chip said in the last run.
std::vector<std::string> ChipSaid(const ProbeRun& run) {
    const std::string transcript = runs::ReadFile(run.PathOf("transcript"));
    const auto said = runs::WordsOf(transcript, "chip");
    return {said.begin(), said.end()};
}

/// The lines of the last run's transcript about calls that begin with this word.
std::vector<std::string> CallsOf(const ProbeRun& run, const std::string& word) {
    std::vector<std::string> calls = run.Calls();
    std::erase_if(calls, [&](const std::string& call) { return call.rfind(word, 0) != 0; });
    return calls;
}

TEST(Waits, ForFilesThatAreNowhereOrTooManyAreRefused) {
    EXPECT_EQ(ProbeRun().Says(kTerminal + "nofiles"),
              kTerminalOpened + "nofiles = EFAULT EFAULT EINVAL EINVAL 1 EINVAL\n");
}

TEST(Files, OpenedByTheNumberOfASystemCallAreRefused) {
    EXPECT_EQ(ProbeRun().Says("rawopen"), "rawopen = ENOSYS ENOSYS\n");
}

TEST(Waits, ForTimesThatCannotBeAreRefused) {
    EXPECT_EQ(ProbeRun().Says(kTerminal + "notime"),
              kTerminalOpened +
                  "notime = EINVAL EINVAL EINVAL EINVAL EINVAL EINVAL EINVAL EINVAL "
                  "EINVAL EINVAL EINVAL EINVAL EINVAL EINVAL\n");
}

TEST(Waits, AreCountedInTheTranscriptAsTheProgramGotThem) {
    ProbeRun run;
    EXPECT_EQ(
        run.InLoader().Says(kTerminal + "raw:9600:E:1:0 write:80 pause:5 poll:inout:0 selectboth"),
        kTerminalOpened +
            "raw:9600:E:1:0 = 0\n"
            "write:80 = 1\n"
            "pause:5 = 0 (5 ms)\n"
            "poll:inout:0 = 1 in out\n"
            "selectboth = 2\n");
    EXPECT_EQ(CallsOf(run, "poll"), std::vector<std::string>{"poll /dev/ttyS1 timeout 0 us = 1"});
    EXPECT_EQ(CallsOf(run, "select"),
              std::vector<std::string>{"select /dev/ttyS1 timeout 0 us = 2"});
}

TEST(Breaks, ReachTheChipAsAZeroWithoutAStopBit) {
    for (const std::string way : {"break", "sbreak pause:3 cbreak"}) {
        ProbeRun run;
        static_cast<void>(run.InLoader().Says(kTerminal + "raw:9600:E:0:1 " + way + " pause:50"));
        const auto said = ChipSaid(run);
        EXPECT_EQ(
            said,
            std::vector<std::string>{"character 0x00 damaged in place of a sync: not answered"})
            << way;
    }
}

TEST(Breaks, AreOnTheWireForAsLongAsTheProgramHoldsTheLine) {
    ProbeRun run;
    EXPECT_EQ(
        run.InLoader().Says(kTerminal + "raw:9600:E:1:0 sbreak pause:30 cbreak write:80 read:1"),
        kTerminalOpened +
            "raw:9600:E:1:0 = 0\n"
            "sbreak = 0\n"
            "pause:30 = 0 (30 ms)\n"
            "cbreak = 0\n"
            "write:80 = 1\n"
            "read:1 = 1 90 (2 ms)\n");
    // One character time after its beginning it is seen, and its end lets the next character go.
    const std::string transcript = runs::ReadFile(run.PathOf("transcript"));
    for (const std::string line :
         {"    0.000005 wire    > break begins\n",
          "    0.001150 chip    character 0x00 damaged in place of a sync: not answered\n",
          "    0.030009 wire    > break ends\n", "    0.030011 wire    > 80\n"}) {
        EXPECT_NE(transcript.find(line), std::string::npos) << line << transcript;
    }
}

TEST(Marks, DoubleACharacterThatLooksLikeOne) {
    std::string password = "8010242400000000";
    for (int count = 0; count < 32; ++count) {
        password += "ff";
    }
    password += "5bcb";
    ProbeRun run;
    // Erased, unlocked by the password of erased flash, read: four bytes of 0xFF.
    EXPECT_EQ(run.InLoader().Says(kTerminal +
                                  "raw:9600:E:1:0 parmrk "
                                  "write:80 read:1 write:80180404000006a57d46 read:1 "
                                  "write:80 read:1 write:" +
                                  password +
                                  " read:1 "
                                  "write:80 read:1 write:8014040400f004007f1f pause:50 read:40"),
              kTerminalOpened +
                  "raw:9600:E:1:0 = 0\n"
                  "parmrk = 0\n"
                  "write:80 = 1\n"
                  "read:1 = 1 90 (2 ms)\n"
                  "write:80180404000006a57d46 = 10\n"
                  "read:1 = 1 90 (39 ms)\n"
                  "write:80 = 1\n"
                  "read:1 = 1 90 (2 ms)\n"
                  "write:" +
                  password +
                  " = 42\n"
                  "read:1 = 1 90 (49 ms)\n"
                  "write:80 = 1\n"
                  "read:1 = 1 90 (3 ms)\n"
                  "write:8014040400f004007f1f = 10\n"
                  "pause:50 = 0 (50 ms)\n"
                  "read:40 = 14 80 00 04 04 ff ff ff ff ff ff ff ff 7b fb\n");
}

TEST(Flags, OfAnOpenPortStayWhatTheyWereMadeWhenTheProgramBecomesAnother) {
    ProbeRun run;
    const runs::Ended ended =
        run.Run({"python3", "-c",
                 "import fcntl, os\n"
                 "port = os.open('/dev/ttyS1', os.O_RDWR | os.O_NONBLOCK | os.O_NOCTTY)\n"
                 "fcntl.fcntl(port, fcntl.F_SETFL, 0)\n"
                 "os.set_inheritable(port, True)\n"
                 "os.execvp('python3', ['python3', '-c', 'import fcntl, os; '\n"
                 "    'print(fcntl.fcntl(%d, fcntl.F_GETFL) & os.O_NONBLOCK)' % port])\n"});
    EXPECT_EQ(ended.output, "0\n") << ended.error;
}

TEST(GpioStream, IsReadAgainAfterARewindAndAfterASeek) {
    EXPECT_EQ(ProbeRun().Says("open:/sys/class/gpio/export:w text:86 "
                              "reread:/sys/class/gpio/gpio86/value"),
              "open:/sys/class/gpio/export:w = open\n"
              "text:86 = 2\n"
              "reread:/sys/class/gpio/gpio86/value = 1101 ended\n");
}

TEST(Refusals, OfASetOfFilesSayWhatElseThereIs) {
    ProbeRun run;
    const runs::Ended ended = run.Run({TTY_PROBE, "open:/dev/ttyS1:rw", "epoll"});
    EXPECT_EQ(ended.output, kTerminalOpened + "epoll = EPERM EPERM\n");
    EXPECT_EQ(ended.error,
              "vboard: epoll_ctl of /dev/ttyS1 is refused with EPERM: wait for the board's files "
              "with poll or select\n");
}

TEST(Refusals, OfAGpioChipSayWhatElseThereIs) {
    ProbeRun run;
    const runs::Ended ended =
        run.Run({TTY_PROBE, "open:/dev/gpiochip0:rw", "open:/dev/gpiochip1:rw"});
    EXPECT_EQ(ended.output,
              "open:/dev/gpiochip0:rw = ENOENT\n"
              "open:/dev/gpiochip1:rw = ENOENT\n");
    EXPECT_EQ(ended.error,
              "vboard: open of /dev/gpiochip0 is refused with ENOENT: the board's lines are the "
              "files of /sys/class/gpio\n");
}

}  // namespace
}  // namespace tty
