// SPDX-License-Identifier: MIT

// Cells, edges and the supply of the chip.

#include <gtest/gtest.h>

#include "tests/faults/FaultRun.h"
#include "tests/runs/Process.h"

namespace faults {
namespace {

using runs::Blinky;
using runs::BlinkyPath;
using runs::Board;
using runs::Outcome;

TEST(ACell, StuckErasedOnceIsWrittenAtTheNextTry) {
    Board board;
    const Outcome run =
        board.With("--fault", "cell:0x2104#1=stuck-erased").Runs({"-f", BlinkyPath()});
    EXPECT_EQ(FromStrike(run, 3),
              "fault   cell:0x2104#1=stuck-erased\n"
              "chip    chip_busy 0\n"
              "loader  write 16 bytes at 0x2104: does not read back: answers a0\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(ACell, StuckErasedForGoodFailsTheRun) {
    Board board;
    const Outcome run =
        board.With("--fault", "cell:0x2104=stuck-erased").Runs({"-f", BlinkyPath()});
    EXPECT_EQ(run.status, 255);
    EXPECT_EQ(Strikes(run), 3U);  // Each of three tries.
    EXPECT_EQ(board.Memory()[0x2104], 0xFF);
}

TEST(ACell, StuckErasedIsHiddenByALoaderThatDoesNotCompare) {
    Board board;
    const Outcome run = board.WithOption("chip=msp430-56k-v110")
                            .With("--fault", "cell:0x2104=stuck-erased")
                            .Runs({"-f", BlinkyPath()});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(Strikes(run), 1U);
    EXPECT_EQ(board.DifferenceFrom(Blinky()).substr(0, 13), "2104 holds ff");
}

TEST(ACell, StuckProgrammedKeepsWhatItHeldThroughEveryErase) {
    Board board;
    const std::uint8_t before = 0x00;  // Low byte of the delivered firmware's version, 0x0100.
    const Outcome run =
        board.With("--fault", "cell:0x2100=stuck-programmed").Runs({"-f", BlinkyPath()});
    EXPECT_EQ(Strikes(run), 21U);  // A mass erase and twenty erases of main memory.
    EXPECT_EQ(board.Memory()[0x2100], before);
    EXPECT_EQ(run.status, 255);
}

TEST(AnEdge, LostLeavesTheChipsPinWhereItWas) {
    const Outcome run = RunWith({"edge:reset_gpio#2=lost"});
    EXPECT_EQ(FromStrike(run, 2),
              "fault   edge:reset_gpio#2=lost\n"
              "call    close /sys/class/gpio/gpio90/value = 0\n");
    const std::size_t strike = run.transcript.find(" fault ");
    const std::size_t line = run.transcript.rfind("line    reset_gpio 0", strike);
    EXPECT_NE(line, std::string::npos) << "the host line itself moved";
    EXPECT_EQ(run.transcript.find("chip_hold 0", line), std::string::npos);
    EXPECT_EQ(run.status, 124) << "a chip that is held in reset never answers";
}

TEST(AnEdge, RisingOrFallingIsCountedByItself) {
    const Outcome rise = RunWith({"rise:msp_tck_gpio#2=lost"});
    const Outcome fall = RunWith({"fall:msp_tck_gpio=lost"});
    EXPECT_NE(rise.transcript.find("line    msp_tck_gpio 1\n    1.401000 fault"),
              std::string::npos);
    EXPECT_NE(fall.transcript.find("line    msp_tck_gpio 0\n    0.601000 fault"),
              std::string::npos);
    EXPECT_EQ(rise.status, 124) << "TCK falls once only while RST/NMI is low: no entry";
    EXPECT_EQ(fall.status, 0) << "the falls that count come later";
}

TEST(TheSupply, CutInTheMiddleOfABlockLeavesTheBytesWrittenSoFar) {
    Board board;
    const Outcome run = board.With("--fault", "power@5.1234s=off").Runs({"-f", BlinkyPath()});
    EXPECT_EQ(FromStrike(run, 5),
              "fault   power@5.1234s=off\n"
              "chip    chip_mode unpowered\n"
              "chip    chip_busy 0\n"
              "chip    loader_locked 1\n"
              "chip    loader_state off\n");
    EXPECT_EQ(run.status, 124);
    const std::vector<std::uint8_t> memory = board.Memory();
    // 242 us after the last character of the frame, at 43.75 us a byte.
    const std::vector<std::uint8_t> block(memory.begin() + 0x2104, memory.begin() + 0x210B);
    EXPECT_EQ(block, (std::vector<std::uint8_t>{0x31, 0x40, 0x00, 0x21, 0xB2, 0xFF, 0xFF}));
}

TEST(TheSupply, ThatComesBackFindsTheFirmwareStarted) {
    const Outcome run = RunWith({"power@0.3s=off 10ms"});
    EXPECT_EQ(FromStrike(run, 3),
              "fault   power@0.3s=off 10ms\n"
              "chip    chip_mode unpowered\n"
              "chip    chip_mode application\n");
    EXPECT_EQ(run.status, 0);
}

TEST(TheSupply, ComesBackAtItsOwnRule) {
    const Outcome run = RunWith({"power@0.3s=off", "power@0.4s=on"});
    EXPECT_EQ(FromStrike(run, 4),
              "fault   power@0.3s=off\n"
              "chip    chip_mode unpowered\n"
              "fault   power@0.4s=on\n"
              "chip    chip_mode application\n");
}

TEST(TheSupply, CutInOneRunIsThereInTheNext) {
    Board cut;
    const std::string path = cut.PathOf(".board");
    EXPECT_EQ(cut.With("--fault", "call#300=power off").Runs({"-f", BlinkyPath()}).status, 124);
    const auto again =
        runs::RunProcess({"vboard", "run", "--quiet", "--board", path, "--transcript", "again",
                          "--", "flashmcu", "-f", BlinkyPath()},
                         cut.PathOf("."));
    EXPECT_EQ(again.status, 0);
    EXPECT_TRUE(runs::ReadFile(cut.PathOf("again"))
                    .starts_with("    0.000000 chip    chip_mode stopped\n"));
    EXPECT_EQ(cut.DifferenceFrom(Blinky()), "");
}

TEST(TheProgram, IsKilledAtItsInstant) {
    const Outcome run = RunWith({"program@2.5s=kill"});
    EXPECT_EQ(run.status, 137);
    EXPECT_NE(run.transcript.find("    2.500000 fault   program@2.5s=kill\n"
                                  "    2.500000 verdict killed at an ordered fault\n"
                                  "    2.500000 end     killed by signal 9\n"),
              std::string::npos);
}

TEST(TheProgram, KilledAnywhereLeavesABoardThatTheNextRunCanStartFrom) {
    Board board;
    EXPECT_EQ(board.With("--fault", "program@4.6s=kill").Runs({"-f", BlinkyPath()}).status, 137);
    const auto again = runs::RunProcess(
        {"vboard", "run", "--quiet", "--board", ".board", "--", "flashmcu", "-f", BlinkyPath()},
        board.PathOf("."));
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(AnInstant, AfterTheEndOfTheProgramNeverComes) {
    const Outcome run = RunWith({"power@7s=off", "program@8s=kill"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(Strikes(run), 0U);
    EXPECT_EQ(run.transcript, RunWith({}).transcript);
}

}  // namespace
}  // namespace faults
