// SPDX-License-Identifier: MIT
#include "guard/boards/BoardFolder.h"

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace guard {
namespace {

const std::string kLines = "[lines]\nreset = 17\nrxd_nmi = 27\ntck = 22\n";

std::string BoardText(const std::string& name, const std::string& rest = "") {
    return "name = '" + name + "'\nport = '/dev/ttyS2'\nchip = 'msp430-56k-v110'\n" + kLines + rest;
}

TEST(ABoardFolder, HasTheBoardsOfItsFilesWithTheirPartsFiguresWhereTheySayNothing) {
    const TempFolder folder;
    (void)folder.WriteFile("b.toml", BoardText("B"));
    (void)folder.WriteFile("a.toml", "communication = '/dev/spi'\n" +
                                         BoardText("A",
                                                   "[memory]\nmain = [0x4000, 0xFFFF, 512]\n"
                                                   "information = [0x1800, 0x18FF, 64]\n"
                                                   "calibration = true\nversion = 0x18FE\n"
                                                   "[erase]\ntotal_ms = 30\n"
                                                   "[speeds.38400]\nclock = [1, 2]\n"));
    (void)folder.WriteFile("c.toml.old", "no board");
    const BoardFolder found = ReadBoardFolder(folder.PathOf(""), false);
    EXPECT_EQ(found.problems, std::vector<std::string>{});
    ASSERT_EQ(found.boards.size(), 2U);

    Board plain;
    plain.name = "B";
    plain.source = folder.PathOf("b.toml");
    plain.port = "/dev/ttyS2";
    plain.resetGpio = "17";
    plain.rxdNmiGpio = "27";
    plain.tckGpio = "22";
    plain.chip = *FindPart("msp430-56k-v110");
    EXPECT_EQ(found.boards[1], plain);

    Board own = plain;
    own.name = "A";
    own.source = folder.PathOf("a.toml");
    own.communication = "/dev/spi";
    own.versionAddress = 0x18FE;
    own.chip.main = {0x4000, 0xFFFF, 512};
    own.chip.information = {0x1800, 0x18FF, 64};
    own.chip.calibration = true;
    own.chip.eraseMs = 30;
    own.chip.speeds = {{19200, 0xE0, 0x86}, {38400, 1, 2}};
    EXPECT_EQ(found.boards[0], own);
}

TEST(ABoardFolder, TakesTheGoodFilesAndNamesWhatIsWrongWithTheOthers) {
    const TempFolder folder;
    const std::string same = folder.WriteFile("1.toml", BoardText("A"));
    const std::string twice = folder.WriteFile("2.toml", BoardText("A"));
    const std::string builtIn = folder.WriteFile("3.toml", BoardText("BRDC"));
    const std::string wrong = folder.WriteFile("4.toml", "colour = 1\n" + BoardText("C"));
    const std::string version =
        folder.WriteFile("5.toml", BoardText("D", "[memory]\nmain = [0x4000, 0xFFFF, 512]\n"));
    const std::string overlap = folder.WriteFile(
        "6.toml", BoardText("E", "[memory]\ninformation = [0x2000, 0x21FF, 64]\n"));
    // Of two bytes, each with one in the memory.
    const std::string half =
        folder.WriteFile("7.toml", BoardText("F", "[memory]\nversion = 0x20FF\n"));
    const std::string other =
        folder.WriteFile("8.toml", BoardText("G", "[memory]\nversion = 0x10FF\n"));
    const BoardFolder found = ReadBoardFolder(folder.PathOf(""), false);
    ASSERT_EQ(found.boards.size(), 1U);
    EXPECT_EQ(found.boards[0].source, same);
    const std::string nowhere =
        ":1: the version's address is in neither main nor information memory; set "
        "'memory.version'";
    EXPECT_EQ(
        found.problems,
        (std::vector<std::string>{
            twice + ":1: there is a board 'A' already, " + same + "; give this one another name",
            builtIn + ":1: there is a board 'BRDC' already, built in; give this one another "
                      "name",
            wrong + ":1: there is no key 'colour'; it can be name, port, communication, "
                    "chip, lines, memory, erase or speeds",
            version + nowhere,
            overlap + ":1: main and information memory overlap; set 'memory.main' and "
                      "'memory.information'",
            half + nowhere, other + nowhere}));
}

TEST(ABoardFolder, MayBeMissingOnlyWhereNobodyNamedIt) {
    const TempFolder folder;
    const std::string gone = folder.PathOf("gone");
    EXPECT_EQ(ReadBoardFolder(gone, true).problems, std::vector<std::string>{});
    EXPECT_EQ(ReadBoardFolder(gone, false).problems,
              std::vector<std::string>{gone + ": this can't be read: No such file or directory"});
}

// The clock bytes are those of SLAU319's examples: F1xx for the oldest part, F2xx for the others.
TEST(TheKnownParts, AreTheFourOfTheVirtualBoard) {
    const MemoryArea main{0x2100, 0xFFFF, 512};
    const MemoryArea information{0x1000, 0x10FF, 64};
    const std::vector<Speed> newer{{19200, 0x00, 0x8B}, {38400, 0x80, 0x8C}};
    const std::vector<Part> expected{{"msp430-56k", main, information, false, 20, newer},
                                     {"msp430-56k-v110",
                                      main,
                                      {0x1000, 0x10FF, 128},
                                      false,
                                      200,
                                      {{19200, 0xE0, 0x86}, {38400, 0xE0, 0x87}}},
                                     {"msp430-56k-v202", main, information, false, 20, newer},
                                     {"msp430-56k-key", main, information, false, 20, newer}};
    EXPECT_EQ(std::vector<Part>(KnownParts().begin(), KnownParts().end()), expected);
}

TEST(TheBuiltInBoards, HaveTheDevicesAndLinesOfTheTool) {
    const auto boards = BuiltInBoards();
    ASSERT_EQ(boards.size(), 3U);
    for (const Board& board : boards) {
        EXPECT_EQ(board.communication, "/dev/knxspi");
        EXPECT_EQ(board.chip.eraseMs, 200U);
        const bool third = board.name == "BRDC";
        EXPECT_EQ(board.port, third ? "/dev/ttymxc1" : "/dev/ttyS1");
        EXPECT_EQ(board.resetGpio, third ? "104" : "90");
        EXPECT_EQ(board.rxdNmiGpio, third ? "6" : "86");
        EXPECT_EQ(board.tckGpio, third ? "5" : "91");
    }
    EXPECT_NE(FindBoard(boards, "BRDA"), nullptr);
    EXPECT_EQ(FindBoard(boards, "BRDD"), nullptr);
}

}  // namespace
}  // namespace guard
