// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <utility>

#include "tests/commands/BoardFolder.h"

// A file named for two purposes is told of before anything is opened for writing: it stays as it
// is.

namespace commands {
namespace {

TEST(OneFileTwice, ABoardIsNotDumpedOverItself) {
    const BoardFolder folder;
    folder.Does("new a.board");
    const auto before = folder.Bytes("a.board");
    EXPECT_EQ(folder.Refuses("dump a.board -o a.board"),
              "vboard: 'a.board' can't be the image: 'a.board' is the board file, and the same "
              "file\n");
    const runs::Ended ended =
        runs::RunProcess({"sh", "-c", "vboard dump a.board >>a.board"}, folder.PathOf("."));
    EXPECT_EQ(ended.status, 125);
    EXPECT_EQ(folder.Bytes("a.board"), before);
}

class OutputTest : public testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(OutputTest, IsNeitherTheBoardNorAnImageNorAnotherOutput) {
    const auto& [option, name] = GetParam();
    const BoardFolder folder;
    folder.Does("new a.board");
    ASSERT_EQ(symlink("a.board", folder.PathOf("link").c_str()), 0);
    ASSERT_EQ(link(folder.PathOf("a.board").c_str(), folder.PathOf("twin").c_str()), 0);
    const auto before = folder.Bytes("a.board");
    for (const char* path : {"a.board", "./a.board", "link", "twin"}) {
        EXPECT_EQ(folder.Refuses(std::string("run --board a.board ") + option + " " + path +
                                 " -- flashmcu -v"),
                  std::string("vboard: '") + path + "' can't be the " + name +
                      ": 'a.board' is the board file, and the same file\n");
    }
    EXPECT_EQ(folder.Bytes("a.board"), before);

    const std::string other = std::string(option) == "--vcd" ? "--calls" : "--vcd";
    folder.Refuses("run --board a.board " + other + " new.txt " + option +
                   " ./new.txt -- flashmcu -v");
    EXPECT_NE(access(folder.PathOf("new.txt").c_str(), F_OK), 0);
}

INSTANTIATE_TEST_SUITE_P(
    OneFileTwice, OutputTest,
    testing::Values(std::pair("--transcript", "transcript"), std::pair("--calls", "list of calls"),
                    std::pair("--vcd", "waveform"), std::pair("--wavejson", "picture"),
                    std::pair("--summary-file", "summary")),
    [](const auto& test) { return std::string(test.param.first).substr(2, 3); });

TEST(OneFileTwice, AnImageIsNotWrittenOver) {
    const BoardFolder folder;
    const std::string image = runs::ReadFile(BoardFolder::Blinky());
    folder.Overwrite("a.hex", {image.begin(), image.end()});
    EXPECT_EQ(folder.Refuses("run --image a.hex --summary-file a.hex -- flashmcu -v"),
              "vboard: 'a.hex' can't be the summary: 'a.hex' is the image, and the same file\n");
    EXPECT_EQ(runs::ReadFile(folder.PathOf("a.hex")), image);
}

TEST(OneFileTwice, ADeviceMayTakeAsMuchAsOneLikes) {
    const BoardFolder folder;
    EXPECT_EQ(folder.Vboard("run --quiet --transcript /dev/null --vcd /dev/null -- true").status,
              0);
}

}  // namespace
}  // namespace commands
