// SPDX-License-Identifier: MIT

// vboard new, and what a run makes of what it made.

#include <gtest/gtest.h>

#include "tests/commands/BoardFolder.h"
#include "tests/runs/Lines.h"

namespace commands {
namespace {

using runs::Has;

TEST(NewBoard, RunsAnOlderFirmware) {
    BoardFolder folder;
    EXPECT_EQ(folder.Does("new a.board"), "");
    const std::string page = folder.Does("show a.board");
    EXPECT_TRUE(Has(page, "\nstate       application\nversion     256 (0x0100)\n")) << page;
}

TEST(NewBoard, HoldsTheImageThatItWasGiven) {
    BoardFolder folder;
    folder.Does("new a.board --image " + BoardFolder::Blinky());
    EXPECT_TRUE(Has(folder.Does("show a.board"), "\nversion     4660 (0x1234)\n"));
    const runs::Ended ended =
        folder.Vboard("run --quiet --board a.board -- flashmcu -f " + BoardFolder::Blinky());
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(Has(ended.output, "up to date") || !Has(ended.output, "UpdateMSP")) << ended.output;
}

TEST(NewBoard, OfAnotherModelHasThatModelsNames) {
    BoardFolder folder;
    folder.Does("new a.board --model BRDC");
    const std::string page = folder.Does("show a.board");
    EXPECT_TRUE(Has(page, "model       BRDC\nport        /dev/ttymxc1, ")) << page;
    EXPECT_TRUE(Has(page, "reset_gpio     gpio 104")) << page;
}

class StartTest : public testing::TestWithParam<const char*> {};

TEST_P(StartTest, EveryStateEndsWithTheApplicationOnceItIsProgrammed) {
    BoardFolder folder;
    folder.Does(std::string("new a.board --start ") + GetParam());
    const runs::Ended ended =
        folder.Vboard("run --quiet --board a.board -- flashmcu -f " + BoardFolder::Blinky());
    EXPECT_EQ(ended.status, 0) << ended.output << ended.error;
    EXPECT_TRUE(Has(folder.Does("show a.board"), "\nversion     4660 (0x1234)\n"));
}

INSTANTIATE_TEST_SUITE_P(NewBoard, StartTest,
                         testing::Values("running", "erased", "loader", "reset"),
                         [](const auto& test) { return std::string(test.param); });

TEST(NewBoard, ThatIsErasedRunsNothing) {
    BoardFolder folder;
    folder.Does("new a.board --erased");
    const std::string page = folder.Does("show a.board");
    EXPECT_TRUE(Has(page, "\nstate       stopped\nversion     no application runs\n")) << page;
    EXPECT_TRUE(Has(page, "    0x2100-0xFFFF  erased\n")) << page;
    EXPECT_EQ(folder.Does("dump a.board"), ":00000001FF\n");
}

TEST(NewBoard, ThatStartsInTheLoaderAnswersASync) {
    BoardFolder folder;
    folder.Does("new a.board --start loader");
    EXPECT_TRUE(Has(folder.Does("show a.board"), "1.61, chip id f249, entered, locked\n"));
}

TEST(NewBoard, ThatIsHeldInResetIsHeldByTheLine) {
    BoardFolder folder;
    folder.Does("new a.board --start reset");
    const std::string page = folder.Does("show a.board");
    EXPECT_TRUE(Has(page, "\nstate       reset\n")) << page;
    EXPECT_TRUE(Has(page, "reset_gpio     gpio 90   level 1  output, not exported\n")) << page;
}

TEST(NewBoard, ThatIsSilentHoldsTheToolForEver) {
    BoardFolder folder;
    folder.Does("new a.board --start silent");
    const runs::Ended ended =
        folder.Vboard("run --quiet --board a.board -- flashmcu -f " + BoardFolder::Blinky());
    EXPECT_EQ(ended.status, 124);
    EXPECT_TRUE(Has(ended.error, "would wait for ever in read of /dev/ttyS1 for a byte"));
}

TEST(NewBoard, TakesWhatRunTakesToo) {
    BoardFolder folder;
    folder.Does(
        "new a.board --option start=loader --option receive-trigger=8 --chip "
        "msp430-56k-v110");
    const std::string page = folder.Does("show a.board");
    EXPECT_TRUE(Has(page, "loader      1.10, chip id f149, entered, locked\n")) << page;
    EXPECT_TRUE(Has(page, "option      receive-trigger=8\n")) << page;
    EXPECT_EQ(folder.Vboard("run --start loader -- true").status, 0);
}

TEST(NewBoard, NeverReplacesAFile) {
    BoardFolder folder;
    folder.Does("new a.board");
    const auto before = folder.Bytes("a.board");
    EXPECT_EQ(folder.Refuses("new a.board --erased"),
              "vboard: board file 'a.board' can't be made: File exists: take another name, or "
              "remove it first\n");
    EXPECT_EQ(folder.Bytes("a.board"), before);
}

TEST(NewBoard, LeavesNothingBehindWhenItsImageDoesNotFit) {
    BoardFolder folder;
    folder.Overwrite("ram.hex", {});
    const std::string text = ":02120000AABB87\n:00000001FF\n";
    folder.Overwrite("ram.hex", {text.begin(), text.end()});
    EXPECT_EQ(
        folder.Refuses("new a.board --image ram.hex"),
        "vboard: image 'ram.hex' holds a byte for 0x1200, where chip msp430-56k has no flash: "
        "its main memory is 0x2100-0xFFFF, its information memory 0x1000-0x10FF\n");
    EXPECT_EQ(folder.Refuses("show a.board"),
              "vboard: board file 'a.board' can't be opened: No such file or directory\n");
}

TEST(NewBoard, RefusesAWrongWordByItsName) {
    BoardFolder folder;
    EXPECT_EQ(folder.Refuses("new a.board --start asleep"),
              "vboard: 'start' takes running, erased, loader, reset or silent, not 'asleep'\n");
    EXPECT_EQ(folder.Refuses("new a.board --model BRDX"),
              "vboard: unknown board model 'BRDX': take one of BRDA, BRDB, BRDC\n");
    EXPECT_EQ(folder.Refuses("new a.board --option port=/tmp/port"),
              "vboard: 'port' takes a path below /dev/ of at most 200 characters, not "
              "'/tmp/port'\n");
    EXPECT_EQ(folder.Refuses("new a.board --image nothing.hex"),
              "vboard: image 'nothing.hex' can't be read: No such file or directory\n");
    EXPECT_TRUE(Has(folder.Refuses("new a.board --erased --start loader"), "excludes"));
    EXPECT_TRUE(Has(folder.Refuses("new a.board --erased --image a.hex"), "excludes"));
    EXPECT_TRUE(Has(folder.Refuses("new"), "file is required"));
}

TEST(Version, IsTheProjects) {
    EXPECT_EQ(BoardFolder().Does("--version"), "vboard " FLASHMCU_VERSION "\n");
}

TEST(ImageOutsideTheFlash, IsRefusedByRunsAsByNewBoards) {
    const BoardFolder folder;
    // 16 bytes at 0x1100, where the chip has RAM.
    const std::string image = ":10110000000102030405060708090A0B0C0D0E0F67\n:00000001FF\n";
    folder.Overwrite("ram.hex", {image.begin(), image.end()});
    const std::string line = folder.Refuses("new a.board --image ram.hex");
    EXPECT_TRUE(Has(line, "'ram.hex' holds a byte for 0x1100, where chip")) << line;
    EXPECT_EQ(folder.Refuses("run --board b.board --image ram.hex --summary-file s -- true"), line);
    EXPECT_NE(access(folder.PathOf("b.board").c_str(), F_OK), 0);
    EXPECT_NE(access(folder.PathOf("s").c_str(), F_OK), 0);
}

TEST(NameThatIsNoText, IsReplacedInObjectsForPrograms) {
    const BoardFolder folder;
    const runs::Ended ended =
        runs::RunProcess({"bash", "-c",
                          "cp " + BoardFolder::Blinky() +
                              " $'\\xff.hex' && vboard run --summary json --image "
                              "$'\\xff.hex' -- true"},
                         folder.PathOf("."));
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(Has(ended.error, "\"image\": \"\uFFFD.hex\"")) << ended.error;
}

}  // namespace
}  // namespace commands
