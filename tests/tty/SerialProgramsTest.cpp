// SPDX-License-Identifier: MIT

// Programs that talk over a serial port, and programs that watch others do so, as they are: the
// loader answers their sync (80) with 90.

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/tty/ProbeRun.h"

namespace tty {
namespace {

struct Talk {
    const char* name;     ///< Also the program that has to be there.
    const char* program;  ///< What a shell is told.
    const char* output;
};

/// The case as test lists show it.
void PrintTo(const Talk& one, std::ostream* out) {
    *out << one.name;
}

class TalkTest : public testing::TestWithParam<Talk> {};

TEST_P(TalkTest, GetsTheLoadersAnswer) {
    const Talk& talk = GetParam();
    if (!IsInstalled(talk.name)) {
        GTEST_SKIP() << talk.name << " is missing (scripts/install-packages test)";
    }
    ProbeRun run;
    const runs::Ended ended = run.InLoader().Run({"bash", "-c", talk.program});
    EXPECT_EQ(ended.status, 0) << ended.error;
    EXPECT_EQ(ended.output, talk.output) << ended.error;
}

INSTANTIATE_TEST_SUITE_P(
    Program, TalkTest,
    testing::Values(
        Talk{"bash",
             "stty -F /dev/ttyS1 raw -echo 9600 parenb; exec 3<>/dev/ttyS1; printf '\\x80' >&3;"
             " read -r -N 1 -t 1 -u 3 b; LC_ALL=C printf '%02x\\n' \"'$b\"",
             "90\n"},
        Talk{"socat",
             "printf '\\x80' | socat -t1 - /dev/ttyS1,b9600,parenb=1,raw,echo=0 | od -An -tx1",
             " 90\n"},
        Talk{"picocom",
             "picocom -q -b 9600 -y e -x 200 --initstring $'\\x80' /dev/ttyS1 </dev/null |"
             " od -An -tx1",
             " 90\n"},
        Talk{"stty", "stty -F /dev/ttyS1 115200 parenb; stty -F /dev/ttyS1 speed", "115200\n"},
        Talk{"strace", "strace -o calls stty -F /dev/ttyS1 speed", "9600\n"}),
    [](const auto& test) { return test.param.name; });

TEST(Pyserial, GetsTheLoadersAnswer) {
    if (std::system("/usr/bin/python3 -c 'import serial' 2>/dev/null") != 0) {
        GTEST_SKIP() << "python3-serial is missing (scripts/install-packages test)";
    }
    constexpr const char* kScript = R"(
import serial
with serial.Serial('/dev/ttyS1', 9600, parity='E', timeout=1, exclusive=True) as port:
    port.write(b'\x80')
    print(port.read(10).hex())
    port.rts = False
    print(port.in_waiting, port.cts, port.name)
)";
    ProbeRun run;
    const runs::Ended ended = run.InLoader().Run({"/usr/bin/python3", "-c", kScript});
    EXPECT_EQ(ended.output, "90\n0 True /dev/ttyS1\n") << ended.error;
}

TEST(Pyserial, AReaderThreadGetsTheLoadersAnswer) {
    if (std::system("/usr/bin/python3 -c 'import serial' 2>/dev/null") != 0) {
        GTEST_SKIP() << "python3-serial is missing (scripts/install-packages test)";
    }
    constexpr const char* kScript = R"(
import serial, serial.threaded, time
class Gather(serial.threaded.Protocol):
    got = b''
    def data_received(self, data):
        Gather.got += data
port = serial.Serial('/dev/ttyS1', 9600, parity='E', timeout=1)
with serial.threaded.ReaderThread(port, Gather):
    port.write(b'\x80')
    time.sleep(0.1)
print(Gather.got.hex())
)";
    ProbeRun run;
    const runs::Ended ended = run.InLoader().Run({"/usr/bin/python3", "-c", kScript});
    EXPECT_EQ(ended.output, "90\n") << ended.error;
}

// In real time, since it is made for people: it takes what is typed, and leaves when it is told.
TEST(Minicom, SendsWhatIsTypedAndShowsTheAnswer) {
    if (!IsInstalled("minicom")) {
        GTEST_SKIP() << "minicom is missing (scripts/install-packages test)";
    }
    const std::string session = std::string("PATH=" FLASHMCU_PROGRAM_DIR ":$PATH") + R"(
printf 'pu port /dev/ttyS1\npu baudrate 9600\npu bits 8\npu parity E\npu stopbits 1\n' > .minirc.dfl
mkfifo keys; exec 3<>keys; printf '\200' >&3
(while ! grep -q 'read /dev/ttyS1 90' t 2>/dev/null; do :; done; printf '\001x\r' >&3) &
export HOME=$PWD TERM=vt100
script -qec 'vboard run --pace 10 --quiet --start loader --transcript t -- minicom -w -o' \
    /dev/null <keys >shown; echo left $?; grep -ao 'Welcome to minicom' shown; grep 'call *write\|call *read' t |
    grep -v ' = -' | cut -c 22-)";
    const TempFolder folder;
    const runs::Ended ended = runs::RunProcess({"sh", "-c", session}, folder.PathOf("."));
    EXPECT_EQ(ended.output,
              "left 0\nWelcome to minicom\nwrite /dev/ttyS1 80 = 1\nread /dev/ttyS1 90 = 1\n")
        << ended.error;
}

TEST(Watcher, GdbRunsAProgramOnTheBoard) {
    if (!IsInstalled("gdb")) {
        GTEST_SKIP() << "gdb is missing (scripts/install-packages test)";
    }
    ProbeRun run;
    const runs::Ended ended = run.Run(
        {"gdb", "-batch", "-nx", "-ex", "run", "--args", "stty", "-F", "/dev/ttyS1", "speed"});
    EXPECT_NE(ended.output.find("\n9600\n"), std::string::npos) << ended.output << ended.error;
}

TEST(Watcher, ValgrindIsRefusedInWords) {
    if (!IsInstalled("valgrind")) {
        GTEST_SKIP() << "valgrind is missing (scripts/install-packages test)";
    }
    ProbeRun run;
    const runs::Ended ended = run.Run({"valgrind", "-q", "stty", "-F", "/dev/ttyS1", "speed"});
    EXPECT_EQ(ended.status, 125);
    EXPECT_NE(ended.error.find("is linked statically"), std::string::npos) << ended.error;
    EXPECT_EQ(ended.output, "");
}

}  // namespace
}  // namespace tty
