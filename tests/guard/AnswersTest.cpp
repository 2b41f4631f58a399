// SPDX-License-Identifier: MIT

// What needs no chip: check and boards, and outputs that fail under a run that is well.

#include <gtest/gtest.h>

#include <sstream>

#include "tests/runs/Process.h"
#include "tests/support/TempFolder.h"

using runs::Ended;
using runs::RunProcess;

namespace {

const std::string kVersion = ":02210000341297\n";
const std::string kCode = ":0221100030415C\n";
const std::string kVector = ":02FFFE001021D0\n";
const std::string kEnd = ":00000001FF\n";

/// What passed between program and board. To look at the clock takes a moment, too, and who says
/// more looks more often.
std::string WithoutTimes(const std::string& transcript) {
    constexpr std::size_t kTimeColumns = 12;
    std::string events;
    std::istringstream lines(transcript);
    for (std::string line; std::getline(lines, line);) {
        line.erase(0, kTimeColumns);
        events += line.rfind(" end", 0) == 0 ? "" : line + "\n";
    }
    return events;
}

class AnAnswer : public testing::Test {
protected:
    Ended Guard(std::vector<std::string> words) {
        words.insert(words.begin(), "flashguard");
        return RunProcess(words, m_folder.PathOf("."));
    }
    /// Words of bash with the built programs at hand.
    Ended Shell(const std::string& words) {
        return RunProcess({"bash", "-c", "PATH=" FLASHMCU_PROGRAM_DIR ":$PATH; " + words},
                          m_folder.PathOf("."));
    }

    TempFolder m_folder;
};

TEST_F(AnAnswer, OfCheckIsTheMapAndTheFindingsAndWhatTheToolMakesOfIt) {
    static_cast<void>(
        m_folder.WriteFile("a.hex", kVector + kVersion + ":0121120005C7\n" + kCode + kEnd));
    const Ended ended = Guard({"check", "a.hex", "-o", "out.hex"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(
        ended.output,
        "a.hex:3: the block at 0x2112 is odd, and 0x2113 becomes 0xFF; nothing has to be done\n"
        "0x2100-0x2101  2 bytes\n"
        "0x2110-0x2112  3 bytes\n"
        "0xFFFE-0xFFFF  2 bytes\n"
        "flashmcu would find version 4660 and send 4 blocks\n"
        "flashmcu would leave 1 other bytes in the chip, the first at 0x2113\n"
        "well: version 4660, 7 bytes\n");
    EXPECT_EQ(ended.error, "");
    EXPECT_EQ(runs::ReadFile(m_folder.PathOf("out.hex")),
              ":02210000341297\n:04211000304105FF56\n:02FFFE001021D0\n:00000001FF\n");
}

TEST_F(AnAnswer, OfCheckRefusesAndWritesNothing) {
    static_cast<void>(m_folder.WriteFile("a.hex", kVersion + kCode + kEnd));
    static_cast<void>(m_folder.WriteFile("out.hex", "old"));
    const Ended ended = Guard({"check", "a.hex", "-o", "out.hex"});
    EXPECT_EQ(ended.status, 10);
    EXPECT_EQ(ended.error,
              "flashguard: a.hex is refused: there is no reset vector at 0xFFFE; no device was "
              "touched; link the firmware with its interrupt vectors\n"
              "a.hex: there is no reset vector at 0xFFFE; link the firmware with its interrupt "
              "vectors\n");
    EXPECT_EQ(runs::ReadFile(m_folder.PathOf("out.hex")), "old");
}

TEST_F(AnAnswer, OfCheckThatCannotBeWrittenHasItsOwnStatus) {
    static_cast<void>(m_folder.WriteFile("a.hex", kVersion + kCode + kVector + kEnd));
    const Ended ended = Guard({"check", "-q", "a.hex", "-o", "gone/out.hex"});
    EXPECT_EQ(ended.status, 25);
    EXPECT_EQ(ended.error,
              "flashguard: the canonical image can't be written: gone/out.hex: No such file or "
              "directory; no device was touched; name a file that can be written\n");
    const Ended full = Shell(
        "ln -s /dev/full out.hex.part; flashguard check -q a.hex -o out.hex; test -e out.hex");
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.error,
              "flashguard: the canonical image can't be written: out.hex: No space left on "
              "device; no device was touched; name a file that can be written\n");
}

/// What a verdict has behind the image where no chip was asked.
std::string NoChip() {
    std::string times;
    for (const char* phase : {"lock", "ask", "enter", "erase", "prove-erased", "write", "prove",
                              "commit", "start", "release", "read"}) {
        times += "\"" + std::string(phase) + "\":0,";
    }
    return R"("read_sha256":null,"version_before":null,"version_after":null,"loader":null,)"
           R"("difference_at":null,"differing_bytes":0,"figures":{"entries":0,"reentries":0,)"
           R"("retries":0,"line_errors":0,"refusals":0,"mass_erases":0,"bytes_written":0,)"
           R"("bytes_read":0,"baud":0},"times_ns":{)" +
           times + "\"total\":0}}\n";
}

TEST_F(AnAnswer, OfCheckInJsonIsOneObjectALineAndTheVerdictLast) {
    static_cast<void>(
        m_folder.WriteFile("a.hex", kVector + kVersion + ":0121120005C7\n" + kCode + kEnd));
    const std::string sum = Shell("sha256sum a.hex").output.substr(0, 64);
    EXPECT_EQ(
        Guard({"check", "a.hex", "--json"}).output,
        R"({"type":"finding","path":"a.hex","line":3,"refused":false,)"
        R"("what":"the block at 0x2112 is odd, and 0x2113 becomes 0xFF",)"
        R"("remedy":"nothing has to be done"})"
        "\n"
        R"({"type":"memory","first":8448,"last":8449,"bytes":2})"
        "\n"
        R"({"type":"memory","first":8464,"last":8466,"bytes":3})"
        "\n"
        R"({"type":"memory","first":65534,"last":65535,"bytes":2})"
        "\n"
        R"({"type":"flashmcu","text":"flashmcu would find version 4660 and send 4 blocks"})"
        "\n"
        R"({"type":"flashmcu","text":"flashmcu would leave 1 other bytes in the chip, the first at 0x2113"})"
        "\n"
        R"({"type":"verdict","version":1,"command":"check","board":"BRDA","port":"","status":0,)"
        R"("status_name":"done","outcome":"checked","chip":"untouched","signal":null,)"
        R"("problem":null,"remedy":null,"image":{"path":"a.hex","sha256":")" +
            sum + R"(","content_sha256":null,"bytes":7,"blocks":0,"version":4660},)" + NoChip());
}

TEST_F(AnAnswer, OfARefusedImageInJsonEndsWithTheVerdict) {
    static_cast<void>(m_folder.WriteFile("a.hex", kVersion + kCode + kEnd));
    const std::string sum = Shell("sha256sum a.hex").output.substr(0, 64);
    const std::string finding = R"({"type":"finding","path":"a.hex","line":0,"refused":true,)"
                                R"("what":"there is no reset vector at 0xFFFE",)"
                                R"("remedy":"link the firmware with its interrupt vectors"})"
                                "\n";
    const auto verdict = [&](const std::string& command, const std::string& port,
                             const std::string& found) {
        return R"({"type":"verdict","version":1,"command":")" + command +
               R"(","board":"BRDA","port":")" + port +
               R"(","status":10,"status_name":"image-refused","outcome":"nothing",)"
               R"("chip":"untouched","signal":null,)"
               R"("problem":"a.hex is refused: there is no reset vector at 0xFFFE",)"
               R"("remedy":"link the firmware with its interrupt vectors",)"
               R"("image":{"path":"a.hex","sha256":")" +
               sum + R"(","content_sha256":null,)" + found + "}," + NoChip();
    };
    const Ended install = Guard({"install", "a.hex", "--json"});
    EXPECT_EQ(install.status, 10);
    EXPECT_EQ(install.output,
              finding + verdict("install", "/dev/ttyS1", R"("bytes":0,"blocks":0,"version":null)"));
    EXPECT_EQ(
        Guard({"check", "a.hex", "--json"}).output,
        finding +
            R"({"type":"memory","first":8448,"last":8449,"bytes":2})"
            "\n"
            R"({"type":"memory","first":8464,"last":8465,"bytes":2})"
            "\n"
            R"({"type":"flashmcu","text":"flashmcu would find version 4660 and send 2 blocks"})"
            "\n" +
            verdict("check", "", R"("bytes":4,"blocks":0,"version":4660)"));
}

TEST_F(AnAnswer, OfAnImageWithAnotherSumOrWithoutItsPasswordsImageIsRefused) {
    static_cast<void>(m_folder.WriteFile("a.hex", kVersion + kCode + kVector + kEnd));
    const std::string sum = Shell("sha256sum a.hex").output.substr(0, 64);
    const std::string zeros(64, '0');
    const Ended other = Guard({"install", "--sha256", zeros, "a.hex"});
    EXPECT_EQ(other.status, 10);
    EXPECT_EQ(other.error, "flashguard: a.hex has the SHA-256 " + sum + ", not " + zeros +
                               "; no device was touched; get the image that the sum is of\n");
    const Ended json = Guard({"install", "--sha256", zeros, "a.hex", "--json"});
    EXPECT_NE(json.output.find(R"("image":{"path":"a.hex","sha256":")" + sum), std::string::npos);
    const Ended gone = Guard({"install", "--keep-information", "--password-of", "gone", "a.hex"});
    EXPECT_EQ(gone.status, 10);
    EXPECT_EQ(gone.error,
              "flashguard: gone is refused: it can't be read: No such file or directory; no device "
              "was touched; name a file that can be read\n"
              "gone: it can't be read: No such file or directory; name a file that can be read\n");
}

TEST_F(AnAnswer, OfBoardsInJsonIsOneObjectForEachAndTheVerdict) {
    static_cast<void>(
        m_folder.WriteFile("pump.toml",
                           "name = 'PUMP'\nport = '/dev/ttyS2'\nchip = 'msp430-56k-v110'\n"
                           "[lines]\nreset = 17\nrxd_nmi = 27\ntck = 22\n"));
    const auto builtIn = [](const std::string& name, const std::string& port,
                            const std::string& lines) {
        return R"({"type":"board","name":")" + name + R"(","port":")" + port +
               R"(","communication":"/dev/knxspi",)" + lines +
               R"("chip":"msp430-56k","source":"built in"})"
               "\n";
    };
    const std::string usual = R"("reset":"90","rxd_nmi":"86","tck":"91",)";
    EXPECT_EQ(Guard({"boards", "--json", "--boards-folder", "."}).output,
              builtIn("BRDA", "/dev/ttyS1", usual) + builtIn("BRDB", "/dev/ttyS1", usual) +
                  builtIn("BRDC", "/dev/ttymxc1", R"("reset":"104","rxd_nmi":"6","tck":"5",)") +
                  R"({"type":"board","name":"PUMP","port":"/dev/ttyS2","communication":null,)"
                  R"("reset":"17","rxd_nmi":"27","tck":"22","chip":"msp430-56k-v110",)"
                  R"("source":"./pump.toml"})"
                  "\n"
                  R"({"type":"verdict","version":1,"command":"boards","board":"","port":"",)"
                  R"("status":0,"status_name":"done","outcome":"listed","chip":"untouched",)"
                  R"("signal":null,"problem":null,"remedy":null,"image":null,)" +
                  NoChip());
}

// Where POSIX alone counts, options would end at the first word.
TEST_F(AnAnswer, IsTheSameWithOptionsBehindTheCommand) {
    EXPECT_EQ(Shell("POSIXLY_CORRECT=1 flashguard boards --json").output,
              Guard({"--json", "boards"}).output);
}

TEST_F(AnAnswer, OfBoardsListsBuiltInOnesAndFilesAndWhatIsWrongWithThem) {
    const std::string lines = "[lines]\nreset = 17\nrxd_nmi = 27\ntck = 22\n";
    static_cast<void>(m_folder.WriteFile(
        "pump.toml", "name = 'PUMP'\nport = '/dev/ttyS2'\nchip = 'msp430-56k'\n" + lines));
    const std::string listed =
        "name    port          communication reset rxd/nmi tck  chip             from\n"
        "BRDA    /dev/ttyS1    /dev/knxspi   90    86      91   msp430-56k       built in\n"
        "BRDB    /dev/ttyS1    /dev/knxspi   90    86      91   msp430-56k       built in\n"
        "BRDC    /dev/ttymxc1  /dev/knxspi   104   6       5    msp430-56k       built in\n"
        "PUMP    /dev/ttyS2    -             17    27      22   msp430-56k       ./pump.toml\n";
    const Ended good = Guard({"boards", "--boards-folder", "."});
    EXPECT_EQ(good.status, 0);
    EXPECT_EQ(good.output, listed);
    static_cast<void>(
        m_folder.WriteFile("wrong.toml", "name = 'X'\nport = 3\nchip = 'y'\n" + lines));
    const Ended wrong = Guard({"boards", "--boards-folder", "."});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.output, listed);
    EXPECT_EQ(
        wrong.error,
        "flashguard: there are boards that can't be taken: ./wrong.toml:2: 'port' takes a text "
        "in quotes; no device was touched; correct the file\n"
        "./wrong.toml:3: there is no chip 'y'; it can be msp430-56k, msp430-56k-v110, "
        "msp430-56k-v202 or msp430-56k-key\n");
    EXPECT_NE(Guard({"boards", "--boards-folder", ".", "--json"})
                  .output.find(R"("status":2,"status_name":"usage","outcome":"nothing")"),
              std::string::npos);
    EXPECT_EQ(Guard({"info", "-b", "NONE"}).status, 2);
}

TEST_F(AnAnswer, ThatNobodyCanReadChangesNeitherTheRunNorItsStatus) {
    const std::string blinky = FLASHMCU_SOURCE_DIR "/examples/blinky/blinky.hex";
    const std::string install = "flashguard install --lock-folder . " + blinky;
    const std::string on = "vboard run --quiet --image " + blinky +
                           " --summary-file summary --transcript transcript -- ";
    struct Case {
        const char* closing;
        const char* options;
        int status;
    };
    std::string conversation;
    for (const Case& one :
         {Case{"", "", 0}, Case{">&-", "", 0}, Case{"<&- >&- 2>&-", "-v", 0},
          Case{">/dev/full 2>/dev/full", "-v", 0}, Case{">/dev/full", "--json", 25},
          Case{"", "--prometheus gone/a.prom", 25}}) {
        const Ended ended =
            Shell(on + "bash -c '" + install + " " + one.options + " " + one.closing + "'");
        EXPECT_EQ(ended.status, one.status) << one.closing << one.options << ended.error;
        EXPECT_NE(runs::ReadFile(m_folder.PathOf("summary")).find("\"equal\": true"),
                  std::string::npos);
        const std::string transcript = WithoutTimes(runs::ReadFile(m_folder.PathOf("transcript")));
        conversation = conversation.empty() ? transcript : conversation;
        EXPECT_TRUE(transcript == conversation) << one.closing << one.options;
    }
    const Ended gone = Shell(on + install + " -v | true; echo ${PIPESTATUS[0]}");
    EXPECT_EQ(gone.output, "0\n");
}

}  // namespace
