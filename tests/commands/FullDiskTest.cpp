// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/commands/BoardFolder.h"

// A disk that is full when the run is over, or in the middle of it: the run says which file is not
// whole, and does not end as if it were.

namespace commands {
namespace {

struct LostFile {
    std::string option;
    std::string name;
};

std::ostream& operator<<(std::ostream& out, const LostFile& file) {
    return out << file.option;
}

class FullDisk : public testing::TestWithParam<LostFile> {};

TEST_P(FullDisk, IsToldOfTheFileThatIsNotWhole) {
    const BoardFolder folder;
    const runs::Ended run = folder.Vboard("run --quiet " + GetParam().option +
                                          " /dev/full -- flashmcu -f " + BoardFolder::Big());
    EXPECT_EQ(run.error, "vboard: " + GetParam().name +
                             " '/dev/full' can't be written: No space left on device\n");
    EXPECT_EQ(run.status, 125);
}

INSTANTIATE_TEST_SUITE_P(EachFile, FullDisk,
                         testing::Values(LostFile{"--transcript", "transcript"},
                                         LostFile{"--calls", "list of calls"},
                                         LostFile{"--vcd", "waveform"},
                                         LostFile{"--wavejson", "picture"},
                                         LostFile{"--summary-file", "summary"}));

TEST(FullDiskTogether, HasALineForEachFileAndLeavesTheProgramItsOwn) {
    const BoardFolder folder;
    const runs::Ended run = folder.Vboard(
        "run --quiet --board a.board --transcript /dev/full --vcd /dev/full "
        "--summary-file whole.json -- flashmcu -v");
    EXPECT_EQ(run.output, "flashmcu/flashmcu:117 info Current MSP version is 256\n");
    EXPECT_EQ(run.error,
              "vboard: transcript '/dev/full' can't be written: No space left on device\n"
              "vboard: waveform '/dev/full' can't be written: No space left on device\n");
    EXPECT_EQ(run.status, 125);
    EXPECT_FALSE(folder.Bytes("whole.json").empty());
}

TEST(FullDiskBehindStandardOutput, IsToldByTheCommandsThatPrint) {
    const BoardFolder folder;
    folder.Does("new a.board");
    for (const char* words : {"show a.board", "show --json a.board", "list chips", "--version"}) {
        const std::string command = "vboard " + std::string(words) + " >/dev/full";
        const runs::Ended ended = runs::RunProcess({"sh", "-c", command}, folder.PathOf("."));
        EXPECT_EQ(ended.error, "vboard: standard output can't be written\n") << words;
        EXPECT_EQ(ended.status, 125) << words;
    }
}

}  // namespace
}  // namespace commands
