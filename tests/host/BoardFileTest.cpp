// SPDX-License-Identifier: MIT
#include "vboard/board/BoardFile.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "vboard/board/StartState.h"

namespace host {
namespace {

using vboard::BoardFile;
using vboard::BoardSetup;
using vboard::BoardState;

constexpr std::size_t kFirstSlot = 0x1000;
constexpr std::size_t kSlotBytes = 0x800;
constexpr std::size_t kStateBytes = 316;

/// A board file in memory.
class KeptBoard : public testing::Test {
protected:
    KeptBoard() : descriptor(memfd_create("board", MFD_CLOEXEC)) {
        BoardFile::Failure failure;
        EXPECT_TRUE(file.Create(descriptor, setup, nullptr, failure)) << failure.problem;
    }
    ~KeptBoard() override { close(descriptor); }

    BoardState Changed() const {
        BoardState state = file.State();
        state.gpios.at(86) = {true, true, true, true};
        state.tristate = !state.tristate;
        state.chip.mode = vboard::ChipMode::kLoader;
        state.chip.loaderUnlocked = true;
        state.chip.tckFalls = 2;
        state.portSettings.controlFlags ^= 0400U;
        return state;
    }
    void Put(std::size_t offset, std::uint8_t value) const {
        EXPECT_EQ(pwrite(descriptor, &value, 1, static_cast<off_t>(offset)), 1);
    }
    std::uint8_t Get(std::size_t offset) const {
        std::uint8_t value = 0;
        EXPECT_EQ(pread(descriptor, &value, 1, static_cast<off_t>(offset)), 1);
        return value;
    }

    BoardSetup setup;
    BoardFile file;
    int descriptor;
};

TEST_F(KeptBoard, IsReadBackAsItWasStored) {
    const BoardState state = Changed();
    file.Store(state);
    BoardFile again;
    std::string problem;
    ASSERT_TRUE(again.Attach(descriptor, problem)) << problem;
    EXPECT_EQ(again.State(), state);
    EXPECT_TRUE(std::equal(again.ChipMemory().begin(), again.ChipMemory().end(),
                           file.ChipMemory().begin()));
}

TEST_F(KeptBoard, AnInterruptedStoreLeavesTheStateBefore) {
    const BoardState before = file.State();
    const BoardState after = Changed();
    std::array<std::uint8_t, kSlotBytes> old{};
    // The first state went to slot 1, so the next goes to slot 0.
    ASSERT_EQ(pread(descriptor, old.data(), old.size(), kFirstSlot),
              static_cast<ssize_t>(old.size()));
    file.Store(after);
    std::array<std::uint8_t, kSlotBytes> whole{};
    ASSERT_EQ(pread(descriptor, whole.data(), whole.size(), kFirstSlot),
              static_cast<ssize_t>(whole.size()));
    for (std::size_t written = 0; written <= kStateBytes; ++written) {
        std::array<std::uint8_t, kSlotBytes> torn = old;
        std::copy_n(whole.begin(), written, torn.begin());
        ASSERT_EQ(pwrite(descriptor, torn.data(), torn.size(), kFirstSlot),
                  static_cast<ssize_t>(torn.size()));
        BoardFile again;
        std::string problem;
        ASSERT_TRUE(again.Attach(descriptor, problem)) << written << ": " << problem;
        const bool complete = torn == whole;
        EXPECT_EQ(again.State(), complete ? after : before) << written;
    }
}

TEST_F(KeptBoard, EqualStatesCostNoWrite) {
    const std::uint8_t generation = Get(kFirstSlot + kSlotBytes);
    file.Store(file.State());
    EXPECT_EQ(Get(kFirstSlot + kSlotBytes), generation);
}

TEST_F(KeptBoard, NoticesWhenAnotherHasKeptAState) {
    BoardFile other;
    std::string problem;
    ASSERT_TRUE(other.Attach(descriptor, problem)) << problem;
    EXPECT_TRUE(file.IsCurrent());
    for (int round = 0; round < 4; ++round) {
        BoardState state = other.State();
        state.tristate = !state.tristate;
        other.Store(state);
        EXPECT_FALSE(file.IsCurrent());
        ASSERT_TRUE(file.Reload(problem)) << problem;
        EXPECT_TRUE(file.IsCurrent());
        EXPECT_EQ(file.State(), other.State());
    }
}

TEST_F(KeptBoard, AnUnknownSetupIsRefusedByItsWord) {
    BoardSetup longSetup;
    std::string problem;
    ASSERT_TRUE(longSetup.Set("port", "/dev/ttyS3", problem)) << problem;
    const int other = memfd_create("board", MFD_CLOEXEC);
    {
        BoardFile made;
        BoardFile::Failure failure;
        ASSERT_TRUE(made.Create(other, longSetup, nullptr, failure)) << failure.problem;
        EXPECT_EQ(made.Setup().PortPath(), "/dev/ttyS3");
    }
    BoardFile again;
    ASSERT_TRUE(again.Attach(other, problem)) << problem;
    EXPECT_EQ(again.Setup().PortPath(), "/dev/ttyS3");
    close(other);
}

TEST(StartState, AChipWithoutAResetVectorHasNothingToRun) {
    BoardSetup setup;
    std::vector<std::uint8_t> bytes(vboard::kMemorySizeBytes);
    const vboard::Memory memory(bytes.data(), vboard::kMemorySizeBytes);
    image::MemoryImage image;
    image.Set(0x2100, 0x34);
    std::string problem;
    ASSERT_TRUE(vboard::FillMemory(setup, &image, memory, problem)) << problem;
    EXPECT_EQ(vboard::StateAtStart(setup, memory).chip.mode, vboard::ChipMode::kStopped);
    image.Set(0xFFFE, 0x00);
    ASSERT_TRUE(vboard::FillMemory(setup, &image, memory, problem)) << problem;
    EXPECT_EQ(vboard::StateAtStart(setup, memory).chip.mode, vboard::ChipMode::kApplication);
}

TEST(BoardSetup, RefusesWhatItDoesNotKnowAndChangesNothing) {
    BoardSetup setup;
    std::string problem;
    EXPECT_FALSE(setup.Set("start", "later", problem));
    EXPECT_FALSE(setup.Set("receive-trigger", "17", problem));
    EXPECT_FALSE(setup.Set("comm", "knxspi", problem));
    EXPECT_FALSE(setup.Set("port", "/dev/" + std::string(200, 'x'), problem));
    EXPECT_FALSE(setup.Set("chip", "z80", problem));
    EXPECT_FALSE(setup.Set("colour", "red", problem));
    EXPECT_EQ(problem.substr(0, 31), "there is no chip option 'colour");
    EXPECT_EQ(setup.Text(), "");
}

TEST(BoardSetup, NamesHaveLettersDigitsAndThreeMarks) {
    BoardSetup setup;
    std::string problem;
    for (const char* name :
         {"abcdefghijklmnopqrstuvwxyz", "ABCDEFGHIJKLMNOPQRSTUVWXYZ", "0123456789-_."}) {
        EXPECT_TRUE(setup.Set("name", name, problem)) << problem;
    }
    EXPECT_TRUE(setup.Set("name", std::string(60, 'x'), problem)) << problem;
    const std::string text = setup.Text();
    for (const std::string& name : {std::string(61, 'x'), std::string("a b"), std::string("a/b"),
                                    std::string("a~"), std::string("a\nb"), std::string()}) {
        EXPECT_FALSE(setup.Set("name", name, problem)) << name;
    }
    EXPECT_EQ(setup.Text(), text);
}

TEST(BoardSetup, ABoardThatStartsSilentHasASilentChip) {
    BoardSetup setup;
    std::string problem;
    ASSERT_TRUE(setup.Set("start", "silent", problem)) << problem;
    EXPECT_TRUE(setup.Options().silent);
    ASSERT_TRUE(setup.Set("start", "loader", problem)) << problem;
    EXPECT_FALSE(setup.Options().silent);
}

}  // namespace
}  // namespace host
