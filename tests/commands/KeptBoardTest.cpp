// SPDX-License-Identifier: MIT

// Board files that a run was torn from, that are damaged, and that are none.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "tests/commands/BoardFolder.h"
#include "tests/runs/Lines.h"
#include "tests/runs/Process.h"

namespace commands {
namespace {

using runs::Has;

// As vboard/board/BoardFile.h lays a board file out.
constexpr std::size_t kSetupOffset = 64;
constexpr std::size_t kFirstSlot = 0x1000;
constexpr std::size_t kSecondSlot = 0x1800;
constexpr std::size_t kMemoryOffset = 0x2000;
constexpr std::size_t kFileSizeBytes = 0x12000;

/// A file that has been through a run, so that both its slots have been written.
void MakeUsedBoard(const BoardFolder& folder) {
    folder.Does("new a.board --option receive-trigger=2");
    EXPECT_EQ(folder.Vboard("run --quiet --board a.board -- flashmcu -r").status, 0);
}

/// The message for a.board, from every command that reads one.
std::string RefusedBoard(const BoardFolder& folder) {
    const std::string line = folder.Refuses("show a.board");
    EXPECT_EQ(folder.Refuses("dump a.board"), line);
    EXPECT_EQ(folder.Refuses("run --board a.board -- true"), line);
    return line;
}

TEST(DamagedBoard, ThatWasCutShortIsRefused) {
    BoardFolder folder;
    MakeUsedBoard(folder);
    auto bytes = folder.Bytes("a.board");
    ASSERT_EQ(bytes.size(), kFileSizeBytes);
    bytes.pop_back();
    folder.Overwrite("a.board", bytes);
    EXPECT_EQ(RefusedBoard(folder),
              "vboard: board file 'a.board' is not a board file: a board file is a plain file of "
              "73728 bytes\n");
}

TEST(DamagedBoard, ThatIsEmptyIsRefused) {
    BoardFolder folder;
    folder.Overwrite("a.board", {});
    EXPECT_TRUE(Has(RefusedBoard(folder), "'a.board' is not a board file"));
}

TEST(DamagedBoard, WithAnotherBeginningIsRefused) {
    BoardFolder folder;
    MakeUsedBoard(folder);
    folder.Flip("a.board", 0);
    EXPECT_EQ(RefusedBoard(folder),
              "vboard: board file 'a.board' is not a board file: it does not begin with VBOARD\n");
}

TEST(DamagedBoard, OfAnotherFormatIsRefused) {
    BoardFolder folder;
    MakeUsedBoard(folder);
    folder.Flip("a.board", 8);
    EXPECT_TRUE(Has(RefusedBoard(folder), "'a.board' has board format "));
}

TEST(DamagedBoard, WithAnyOtherByteOfHeaderOrSetupChangedIsRefused) {
    BoardFolder folder;
    MakeUsedBoard(folder);
    const auto whole = folder.Bytes("a.board");
    const std::string setup = "receive-trigger=2\n";
    for (std::size_t offset = 12; offset < kSetupOffset + setup.size(); ++offset) {
        folder.Overwrite("a.board", whole);
        folder.Flip("a.board", offset);
        EXPECT_EQ(folder.Refuses("show a.board"),
                  "vboard: board file 'a.board' is damaged: the check sum of its header and setup "
                  "does not match\n")
            << offset;
    }
}

TEST(DamagedBoard, WithOneTornCopyOfItsStateGoesOnWithTheOther) {
    for (const std::size_t slot : {kFirstSlot, kSecondSlot}) {
        BoardFolder folder;
        MakeUsedBoard(folder);
        folder.Flip("a.board", slot + 100);
        const runs::Ended shown = folder.Vboard("show a.board");
        EXPECT_TRUE(Has(shown.output, "\nversion     256 (0x0100)\n"));
        EXPECT_EQ(shown.error,
                  "vboard: board file 'a.board': one of the two copies of its state is damaged; "
                  "the other one, which may be older, is taken\n");
        EXPECT_EQ(folder.Vboard("run --quiet --board a.board -- flashmcu -r -v").status, 0);
    }
}

TEST(DamagedBoard, WithBothCopiesTornIsRefused) {
    BoardFolder folder;
    MakeUsedBoard(folder);
    folder.Flip("a.board", kFirstSlot + 8);
    folder.Flip("a.board", kSecondSlot + 300);
    EXPECT_EQ(RefusedBoard(folder),
              "vboard: board file 'a.board' is damaged: neither copy of its state is whole\n");
}

TEST(DamagedBoard, WithAChangedByteOfFlashIsAChipWithThatByte) {
    BoardFolder folder;
    MakeUsedBoard(folder);
    folder.Flip("a.board", kMemoryOffset + 0x2100);
    EXPECT_TRUE(Has(folder.Does("show a.board"), "\nversion     511 (0x01ff)\n"));
}

TEST(ForeignFile, AFolderIsRefused) {
    BoardFolder folder;
    ASSERT_EQ(mkdir(folder.PathOf("a.board").c_str(), 0755), 0);
    EXPECT_TRUE(Has(folder.Refuses("show a.board"), "'a.board' is not a board file"));
    EXPECT_EQ(folder.Refuses("run --board a.board -- true"),
              "vboard: board file 'a.board' can't be opened: Is a directory\n");
}

TEST(ForeignFile, APipeIsRefusedAndNotWaitedFor) {
    BoardFolder folder;
    ASSERT_EQ(mkfifo(folder.PathOf("a.board").c_str(), 0600), 0);
    EXPECT_TRUE(Has(RefusedBoard(folder), "'a.board' is not a board file"));
}

TEST(ForeignFile, OneThatMayNotBeReadIsRefused) {
    BoardFolder folder;
    MakeUsedBoard(folder);
    ASSERT_EQ(chmod(folder.PathOf("a.board").c_str(), 0), 0);
    std::vector<std::string> words{"vboard", "show", "a.board"};
    if (geteuid() == 0) {
        // Root may read every file, as long as it keeps the right to.
        words.insert(words.begin(), {"setpriv", "--bounding-set=-dac_override,-dac_read_search"});
    }
    const runs::Ended ended = runs::RunProcess(words, folder.PathOf("."));
    EXPECT_EQ(ended.status, 125);
    EXPECT_EQ(ended.error, "vboard: board file 'a.board' can't be opened: Permission denied\n");
}

TEST(ForeignFile, AnImageIsRefused) {
    BoardFolder folder;
    folder.Overwrite("a.board", std::vector<std::uint8_t>(kFileSizeBytes, 0x3A));
    EXPECT_TRUE(Has(RefusedBoard(folder), "it does not begin with VBOARD"));
}

/// A run of flashmcu on a.board in the background, in real time, ten times as fast.
class BackgroundRun {
public:
    explicit BackgroundRun(const BoardFolder& folder, const std::string& image) {
        m_runner = runs::StartProcess(
            {"vboard", "run", "--quiet", "--pace", "10", "--board", folder.PathOf("a.board"),
             "--transcript", folder.PathOf("transcript"), "--", "flashmcu", "-f", image},
            folder.PathOf("."), "/dev/null", "/dev/null");
        EXPECT_GT(m_runner, 0);
    }

    /// Waits until so many bytes of main memory hold something. False when the run ended before.
    bool WaitForBytes(const std::string& board, std::ptrdiff_t count) const {
        const int file = open(board.c_str(), O_RDONLY | O_CLOEXEC);
        const void* mapped = mmap(nullptr, kFileSizeBytes, PROT_READ, MAP_SHARED, file, 0);
        close(file);
        const auto* main = static_cast<const volatile std::uint8_t*>(mapped) + kMemoryOffset;
        bool reached = false;
        while (!reached && m_runner > 0 && waitpid(m_runner, nullptr, WNOHANG) == 0) {
            std::ptrdiff_t erased = 0;
            for (std::size_t address = 0x2100; address < 0xFFE0; ++address) {
                erased += main[address] == 0xFF ? 1 : 0;
            }
            reached = 0xFFE0 - 0x2100 - erased >= count;
        }
        munmap(const_cast<void*>(mapped), kFileSizeBytes);
        return reached;
    }

    /// Kills the runner. The program under test goes with it.
    void Kill() const {
        // To -1 it would go to everything on the machine.
        if (m_runner > 0) {
            kill(m_runner, SIGKILL);
            waitpid(m_runner, nullptr, 0);
        }
    }

private:
    pid_t m_runner = 0;
};

/// Waits until the killed run's program has let go of the board.
runs::Ended RunWhenFree(const BoardFolder& folder, const std::string& words) {
    for (;;) {
        runs::Ended ended = folder.Vboard(words);
        if (!Has(ended.error, "is in use by another run")) {
            return ended;
        }
    }
}

TEST(KilledRun, LeavesABoardThatGoesOn) {
    BoardFolder folder;
    folder.Does("new a.board --erased");
    BackgroundRun run(folder, BoardFolder::Big());
    ASSERT_TRUE(run.WaitForBytes(folder.PathOf("a.board"), 1000));
    const std::string inUse = folder.Refuses("run --board a.board -- true");
    EXPECT_EQ(inUse, "vboard: board file 'a.board' is in use by another run\n");
    EXPECT_TRUE(Has(folder.Does("show a.board"), "\nstate       loader\n"));
    run.Kill();
    const std::string page = folder.Does("show a.board");
    EXPECT_TRUE(Has(page, "programmed, ")) << page;
    const runs::Ended ended =
        RunWhenFree(folder, "run --quiet --board a.board -- flashmcu -f " + BoardFolder::Big());
    EXPECT_EQ(ended.status, 0) << ended.output << ended.error;
    EXPECT_TRUE(Has(folder.Does("show a.board"), "\nstate       application\n"));
}

TEST(KilledRun, LeavesATranscriptUpToTheMoment) {
    BoardFolder folder;
    folder.Does("new a.board --erased");
    BackgroundRun run(folder, BoardFolder::Big());
    ASSERT_TRUE(run.WaitForBytes(folder.PathOf("a.board"), 500));
    run.Kill();
    const std::string transcript = runs::ReadFile(folder.PathOf("transcript"));
    EXPECT_TRUE(Has(transcript, "mass erase: answers 90")) << transcript.substr(0, 4000);
    EXPECT_TRUE(Has(transcript, "write 16 bytes at 0x")) << transcript.size();
}

}  // namespace
}  // namespace commands
