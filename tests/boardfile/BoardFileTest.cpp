// SPDX-License-Identifier: MIT
#include "boardfile/BoardFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/support/TempFolder.h"

namespace boardfile {
namespace {

constexpr std::string_view kChips[] = {"small", "large"};

constexpr std::string_view kShortest =
    "name = 'A'\n"
    "port = '/dev/ttyS2'\n"
    "chip = 'small'\n"
    "[lines]\n"
    "reset = 1\n"
    "rxd_nmi = 2\n"
    "tck = 3\n";

Description Taken(std::string_view text) {
    Description board;
    std::vector<std::string> problems;
    EXPECT_TRUE(ReadText("b.toml", text, kChips, board, problems)) << problems.front();
    return board;
}

/// All lines about a text, each with a line feed.
std::string Refused(const std::string& text) {
    Description board;
    board.name = "before";
    std::vector<std::string> problems;
    EXPECT_FALSE(ReadText("b.toml", text, kChips, board, problems));
    EXPECT_EQ(board.name, "before") << "a refused file must leave the description alone";
    std::string lines;
    for (const std::string& problem : problems) {
        lines += problem + "\n";
    }
    return lines;
}

/// The only line about a file.
std::string NotRead(const std::string& path) {
    Description board;
    std::vector<std::string> problems;
    EXPECT_FALSE(Read(path, kChips, board, problems));
    EXPECT_EQ(problems.size(), 1U);
    return problems.front();
}

/// The shortest file with this in front of it, or behind it.
std::string Behind(const std::string& text) {
    return std::string(kShortest) + text;
}
std::string Before(const std::string& text) {
    return text + std::string(kShortest);
}

TEST(ABoardFile, NeedsNameAndPortAndChipAndLinesAndNothingElse) {
    Description expected;
    expected.path = "b.toml";
    expected.name = "A";
    expected.port = "/dev/ttyS2";
    expected.chip = "small";
    expected.reset = 1;
    expected.rxdNmi = 2;
    expected.tck = 3;
    EXPECT_EQ(Taken(kShortest), expected);
    EXPECT_EQ(Refused(""),
              "b.toml:1: the key 'name' is missing\n"
              "b.toml:1: the key 'port' is missing\n"
              "b.toml:1: the key 'chip' is missing\n"
              "b.toml:1: the key 'lines' is missing\n");
    EXPECT_EQ(Refused("name = 'A'\nport = '/dev/x'\nchip = 'small'\n\n[lines]\nreset = 1\n"),
              "b.toml:5: the key 'lines.rxd_nmi' is missing\n"
              "b.toml:5: the key 'lines.tck' is missing\n");
}

TEST(ABoardFile, OnItsPageIsReadToTheLastKey) {
    std::ifstream file(BOARD_FILES_PAGE);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    const std::size_t first = page.find("```toml\n") + 8;
    const std::string_view chips[] = {"msp430-56k"};
    Description board;
    std::vector<std::string> problems;
    ASSERT_TRUE(ReadText("page", page.substr(first, page.find("```\n", first) - first), chips,
                         board, problems))
        << problems.front();
    Description expected;
    expected.path = "page";
    expected.name = "PUMP2";
    expected.port = "/dev/ttyS2";
    expected.communication = "/dev/knxspi";
    expected.chip = "msp430-56k";
    expected.reset = 17;
    expected.rxdNmi = 27;
    expected.tck = 22;
    expected.main = Area{0x2100, 0xFFFF, 512};
    expected.information = Area{0x1000, 0x10FF, 64};
    expected.calibration = true;
    expected.version = 0x2100;
    expected.eraseTotalMs = 200;
    expected.speeds = {{19200, 0xE0, 0x86}, {38400, 0xE0, 0x87}};
    EXPECT_EQ(board, expected);
}

TEST(ABoardFile, WithAKeyThatDoesNotExistIsRefusedWithThoseThatDo) {
    EXPECT_EQ(Refused(Before("colour = 1\n")),
              "b.toml:1: there is no key 'colour'; it can be name, port, communication, chip, "
              "lines, memory, erase or speeds\n");
    EXPECT_EQ(Refused(Behind("nmi = 4\n")),
              "b.toml:8: there is no key 'lines.nmi'; it can be reset, rxd_nmi or tck\n");
    EXPECT_EQ(Refused(Behind("[memory]\nram = 4\n")),
              "b.toml:9: there is no key 'memory.ram'; it can be main, information, calibration "
              "or version\n");
    EXPECT_EQ(Refused(Behind("[erase]\nms = 4\n")),
              "b.toml:9: there is no key 'erase.ms'; it can be total_ms\n");
    EXPECT_EQ(Refused(Behind("[speeds.57600]\nclock = [1, 2]\n")),
              "b.toml:8: there is no key 'speeds.57600'; it can be 9600, 19200 or 38400\n");
    EXPECT_EQ(Refused(Behind("[speeds.9600]\nclock = [1, 2]\nd3 = 0\n")),
              "b.toml:10: there is no key 'speeds.9600.d3'; it can be clock\n");
}

TEST(ABoardFile, WithTextsThatCannotBeIsRefusedWithWhatCan) {
    EXPECT_EQ(Refused("name = 'A B'\nport = 'ttyS1'\ncommunication = '/'\nchip = 'tiny'\n"
                      "[lines]\nreset = 1\nrxd_nmi = 2\ntck = 3\n"),
              "b.toml:1: 'name' takes letters, digits, '-', '_' and '.', at least one\n"
              "b.toml:2: 'port' takes a whole path, as \"/dev/ttyS1\"\n"
              "b.toml:3: 'communication' takes a whole path, as \"/dev/ttyS1\"\n"
              "b.toml:4: there is no chip 'tiny'; it can be small or large\n");
    EXPECT_EQ(Refused("name = ''\nport = \"/dev/a\\u0000b\"\nchip = 1\nlines = 3\n"),
              "b.toml:1: 'name' takes letters, digits, '-', '_' and '.', at least one\n"
              "b.toml:2: 'port' takes a whole path, as \"/dev/ttyS1\"\n"
              "b.toml:3: 'chip' takes a text in quotes\n"
              "b.toml:4: 'lines' is a table, [lines] in a line of its own\n");
}

TEST(ABoardFile, TakesLettersDigitsAndThreeSignsForAName) {
    const auto with = [](const std::string& name) {
        return "name = \"" + name +
               "\"\nport = '/a'\nchip = 'small'\n[lines]\nreset = 1\nrxd_nmi = 2\ntck = 3\n";
    };
    EXPECT_EQ(Taken(with("azAZ09-_.")).name, "azAZ09-_.");
    EXPECT_EQ(Taken(with("a")).port, "/a");
    // The neighbours of all these.
    for (const char* name : {"`", "{", "@", "[", "/", ":", ",", "^"}) {
        EXPECT_EQ(Refused(with(name)),
                  "b.toml:1: 'name' takes letters, digits, '-', '_' and '.', at least one\n")
            << name;
    }
}

TEST(ABoardFile, WithLinesThatCannotBeIsRefused) {
    const std::string head = "name = 'A'\nport = '/dev/a'\nchip = 'large'\n[lines]\n";
    EXPECT_EQ(Refused(head + "reset = -1\nrxd_nmi = 2147483648\ntck = '3'\n"),
              "b.toml:5: 'lines.reset' takes a whole number from 0 to 2147483647\n"
              "b.toml:6: 'lines.rxd_nmi' takes a whole number from 0 to 2147483647\n"
              "b.toml:7: 'lines.tck' takes a whole number from 0 to 2147483647\n");
    for (const char* lines :
         {"reset = 1\nrxd_nmi = 1\ntck = 3\n", "reset = 1\nrxd_nmi = 3\ntck = 1\n",
          "reset = 3\nrxd_nmi = 1\ntck = 1\n"}) {
        EXPECT_EQ(Refused(head + lines), "b.toml:4: two of the three lines have the same number\n");
    }
    EXPECT_EQ(Taken(head + "reset = 0\nrxd_nmi = 2147483647\ntck = 3\n").rxdNmi, 2147483647U);
}

TEST(ABoardFile, WithAMemoryThatCannotBeIsRefused) {
    EXPECT_EQ(Refused(Behind("[memory]\nmain = [0x2100, 0xFFFF]\ninformation = 4\n"
                             "calibration = 'yes'\nversion = 0xFFFF\n")),
              "b.toml:9: 'memory.main' takes three numbers, [first address, last address, bytes of "
              "a segment], as [0x2100, 0xFFFF, 512]\n"
              "b.toml:10: 'memory.information' takes three numbers, [first address, last address, "
              "bytes of a segment], as [0x2100, 0xFFFF, 512]\n"
              "b.toml:11: 'memory.calibration' takes true or false\n"
              "b.toml:12: 'memory.version' takes a whole number from 0 to 65534\n");
    EXPECT_EQ(Refused(Behind("[memory]\nmain = [-1, 0x10000, 0]\n")),
              "b.toml:9: 'memory.main' takes a whole number from 0 to 65535\n"
              "b.toml:9: 'memory.main' takes a whole number from 0 to 65535\n"
              "b.toml:9: 'memory.main' takes a whole number from 1 to 65535\n");
    for (const char* numbers : {"['a', 0xFFFF, 512]", "[0x2100, 0x10000, 512]"}) {
        EXPECT_EQ(Refused(Behind("[memory]\nmain = " + std::string(numbers) + "\n")),
                  "b.toml:9: 'memory.main' takes a whole number from 0 to 65535\n");
    }
    EXPECT_EQ(Refused(Behind("[memory]\nmain = [0x2100, 0xFFFF, 0]\n")),
              "b.toml:9: 'memory.main' takes a whole number from 1 to 65535\n");
    EXPECT_EQ(Taken(Behind("[memory]\nmain = [0x2102, 0xFFFF, 1]\n")).main,
              (Area{0x2102, 0xFFFF, 1}));
    for (const char* area : {"[0x2101, 0xFFFF, 512]", "[0x2100, 0xFFFE, 512]",
                             "[0x3000, 0x2FFF, 512]", "[0x3001, 0x3001, 512]"}) {
        EXPECT_EQ(Refused(Behind("[memory]\nmain = " + std::string(area) + "\n")),
                  "b.toml:9: 'memory.main' begins at an even address and ends at a higher, odd "
                  "one\n");
    }
    EXPECT_EQ(Refused(Behind("[memory]\nmain = [0x2100, 0xFFFD, 512]\n")),
              "b.toml:9: 'memory.main' ends at 0xFFFF, where the interrupt vectors are\n");
    EXPECT_EQ(Refused(Behind("[memory]\nmain = [0x1000, 0xFFFF, 512]\n"
                             "information = [0x0F00, 0x1001, 64]\n")),
              "b.toml:10: 'memory.information' lies below 'memory.main'\n");
    EXPECT_EQ(Refused("memory = 1\n" + std::string(kShortest)),
              "b.toml:1: 'memory' is a table, [memory] in a line of its own\n");
}

TEST(ABoardFile, WithAnEraseOrSpeedsThatCannotBeIsRefused) {
    EXPECT_EQ(Refused(Behind("[erase]\ntotal_ms = 0\n")),
              "b.toml:9: 'erase.total_ms' takes a whole number from 1 to 10000\n");
    EXPECT_EQ(Refused(Behind("[erase]\ntotal_ms = 10001\n")),
              "b.toml:9: 'erase.total_ms' takes a whole number from 1 to 10000\n");
    EXPECT_EQ(Refused(Before("erase = 1\nspeeds = 2\n")),
              "b.toml:1: 'erase' is a table, [erase] in a line of its own\n"
              "b.toml:2: 'speeds' is a table, [speeds] in a line of its own\n");
    EXPECT_EQ(Refused(Behind("[speeds]\n9600 = 1\n19200.clock = [1]\n38400.clock = [256, -1]\n")),
              "b.toml:9: 'speeds.9600.clock' takes the two bytes that set the chip's clock, as "
              "[0xE0, 0x86]\n"
              "b.toml:10: 'speeds.19200.clock' takes the two bytes that set the chip's clock, as "
              "[0xE0, 0x86]\n"
              "b.toml:11: 'speeds.38400.clock' takes a whole number from 0 to 255\n"
              "b.toml:11: 'speeds.38400.clock' takes a whole number from 0 to 255\n");
}

TEST(ABoardFile, ThatIsNoTomlIsRefusedInTheLineWhereItStops) {
    EXPECT_EQ(Refused("name = 'A'\nport = \n").substr(0, 31), "b.toml:2: this is not TOML: Err");
}

TEST(ABoardFile, IsReadByItsPathAndNamedInEveryLine) {
    const TempFolder folder;
    const std::string path = folder.WriteFile("b.toml", std::string(kShortest));
    Description board;
    std::vector<std::string> problems;
    ASSERT_TRUE(Read(path, kChips, board, problems)) << problems.front();
    EXPECT_EQ(board.path, path);
    EXPECT_EQ(board.name, "A");

    EXPECT_EQ(NotRead(path + ".gone"),
              path + ".gone:1: this can't be read: No such file or directory");
    EXPECT_EQ(NotRead(folder.PathOf("")),
              folder.PathOf("") + ":1: this can't be read: Is a directory");
    const std::string longest =
        std::string(kShortest) + "#" + std::string(64 * 1024 - kShortest.size() - 1, 'x');
    EXPECT_TRUE(Read(folder.WriteFile("long.toml", longest), kChips, board, problems));
    EXPECT_EQ(NotRead(folder.WriteFile("long.toml", longest + "x")),
              folder.PathOf("long.toml") + ":1: this is longer than 64 KiB, and no board's file");
}

}  // namespace
}  // namespace boardfile
