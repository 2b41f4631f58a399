// SPDX-License-Identifier: MIT
#include "vboard/board/BoardFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "vboard/board/StartState.h"
#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

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
        state.gpios.at(0) = {true, false, false, false, 1};
        state.gpios.at(86) = {true, true, true, true, 0};
        state.gpios.at(90) = {false, true, false, false, 2};
        state.gpios.at(255) = {false, false, true, false, 3};
        state.tristate = !state.tristate;
        state.chip.mode = vboard::ChipMode::kLoader;
        state.chip.loaderUnlocked = true;
        state.chip.rstNmi = vboard::PinLevel::kLow;
        state.chip.tckFalls = 2;
        state.portSettings.controlFlags ^= 0400U;
        return state;
    }
    void Put(std::size_t offset, std::uint8_t value) const {
        EXPECT_EQ(pwrite(descriptor, &value, 1, static_cast<off_t>(offset)), 1);
    }
    /// What is wrong with the file behind a descriptor, by default the board's own; "" for nothing.
    std::string Problem(int of = -1) const {
        BoardFile other;
        std::string problem;
        const bool taken = other.Attach(of < 0 ? descriptor : of, problem);
        EXPECT_EQ(taken, problem.empty());
        return problem;
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
    std::array<std::uint8_t, 8> bytes{};
    ASSERT_EQ(pread(descriptor, bytes.data(), bytes.size(), kFirstSlot + 8 + 256), 8);
    EXPECT_EQ(vboard::HexText(bytes), "01 02 00 00 01 02 01 00");
    EXPECT_TRUE(std::equal(again.ChipMemory().begin(), again.ChipMemory().end(),
                           file.ChipMemory().begin()));
}

TEST(ABoardFile, KeepsItsSetupAndStartsAsThatSays) {
    BoardSetup setup;
    std::string problem;
    ASSERT_TRUE(BoardSetup::Parse("port=/dev/ttyS3\nstart=loader\n", setup, problem)) << problem;
    const int descriptor = memfd_create("board", MFD_CLOEXEC);
    BoardFile made;
    BoardFile::Failure failure;
    ASSERT_TRUE(made.Create(descriptor, setup, nullptr, failure)) << failure.problem;
    EXPECT_EQ(made.Setup().PortPath(), "/dev/ttyS3");
    BoardFile again;
    ASSERT_TRUE(again.Attach(descriptor, problem)) << problem;
    EXPECT_EQ(again.Setup().Text(), "port=/dev/ttyS3\nstart=loader\n");
    EXPECT_EQ(again.State().chip.mode, vboard::ChipMode::kLoader);
    close(descriptor);
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
    EXPECT_EQ(generation, 1) << "the first state lies in the second slot";
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

/// FNV-1a of little-endian words of 64 bits, the last filled up with zeros, folded to 32.
std::uint32_t CheckSum(std::string_view bytes, std::uint32_t seed) {
    std::uint64_t sum = 14695981039346656037U ^ seed;
    for (std::size_t first = 0; first <= bytes.size(); first += 8) {
        std::uint64_t word = 0;
        for (std::size_t i = 0; i < std::min<std::size_t>(8, bytes.size() - first); ++i) {
            word |= std::uint64_t{static_cast<std::uint8_t>(bytes[first + i])} << (8 * i);
        }
        sum = (sum ^ word) * 1099511628211U;
    }
    return static_cast<std::uint32_t>(sum ^ (sum >> 32));
}

TEST_F(KeptBoard, OfALaterVboardIsRefusedByTheWordThatIsNotKnown) {
    // As long as a setup may be.
    const std::string kSetup = "colour=" + std::string(1976, 'r') + "\n";
    std::string header(64, '\0');
    ASSERT_EQ(pread(descriptor, header.data(), header.size(), 0), 64);
    header[12] = static_cast<char>(kSetup.size() & 0xFFU);
    header[13] = static_cast<char>(kSetup.size() >> 8U);
    header.replace(16, 4, 4, '\0');
    const std::uint32_t sum = CheckSum(kSetup, CheckSum(header, 0));
    std::memcpy(&header[16], &sum, sizeof sum);
    header += kSetup;
    ASSERT_EQ(pwrite(descriptor, header.data(), header.size(), 0), 0x800);
    EXPECT_EQ(
        Problem().substr(0, 85),
        "holds a setup that this vboard does not know: there is no chip option 'colour'; there");
}

TEST_F(KeptBoard, ThatIsDamagedIsRefusedInOneSentence) {
    const std::string kDamaged = "is damaged: the check sum of its header and setup does not match";
    for (const auto& [offset, problem] :
         {std::pair(0U, std::string("is not a board file: it does not begin with VBOARD")),
          {8U, "has board format 254; this vboard reads format 1"},
          {12U, kDamaged},
          {13U, kDamaged},
          {16U, kDamaged},
          {63U, kDamaged}}) {
        const std::uint8_t was = Get(offset);
        Put(offset, static_cast<std::uint8_t>(was ^ 0xFFU));
        EXPECT_EQ(Problem(), problem) << offset;
        Put(offset, was);
    }
    std::string magic(8, '\0');
    ASSERT_EQ(pread(descriptor, magic.data(), magic.size(), 0), 8);
    EXPECT_EQ(magic, "VBOARD\r\n");
    BoardFile other;
    std::string problem;
    EXPECT_TRUE(other.Attach(descriptor, problem)) << problem;
    EXPECT_FALSE(other.HasDamagedState()) << "one copy has not been written yet";
    Put(kFirstSlot + 8, 1);
    EXPECT_TRUE(other.Reload(problem)) << problem;
    EXPECT_TRUE(other.HasDamagedState());
    Put(kFirstSlot + kSlotBytes + 8, 1);
    EXPECT_EQ(Problem(), "is damaged: neither copy of its state is whole");
}

TEST_F(KeptBoard, IsNotMadeOrTakenWhereItsFileCannotBeWritten) {
    BoardFile made;
    BoardFile::Failure failure;
    EXPECT_FALSE(made.Create(-1, setup, nullptr, failure));
    EXPECT_EQ(failure.problem, "can't be made 73728 bytes long: Bad file descriptor");
    EXPECT_FALSE(failure.blamesImage);
    const int writeOnly = open(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), O_WRONLY);
    EXPECT_FALSE(made.Create(writeOnly, setup, nullptr, failure));
    EXPECT_EQ(failure.problem, "can't be mapped: Permission denied");
    close(writeOnly);
    image::MemoryImage image;
    image.Set(0x1200, 1);
    EXPECT_FALSE(BoardFile().Create(descriptor, setup, &image, failure));
    EXPECT_TRUE(failure.blamesImage);
    EXPECT_EQ(failure.problem,
              "holds a byte for 0x1200, where chip msp430-56k has no flash: its main memory is "
              "0x2100-0xFFFF, its information memory 0x1000-0x10FF");
    const int readOnly = open(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), O_RDONLY);
    EXPECT_EQ(Problem(readOnly), "can't be mapped: Permission denied");
    std::string problem;
    EXPECT_TRUE(made.AttachForReading(readOnly, problem)) << problem;
    close(readOnly);
    ASSERT_EQ(ftruncate(descriptor, 0x12001), 0);
    EXPECT_EQ(Problem(), "is not a board file: a board file is a plain file of 73728 bytes");
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
    EXPECT_EQ(memory[0x2100], 0x34);
    ASSERT_TRUE(setup.Set("start", "erased", problem)) << problem;
    EXPECT_FALSE(vboard::FillMemory(setup, &image, memory, problem));
    EXPECT_EQ(problem, "is not for a board that starts erased: leave out one of the two");
    ASSERT_TRUE(vboard::FillMemory(setup, nullptr, memory, problem)) << problem;
    EXPECT_EQ(std::count(bytes.begin(), bytes.end(), 0xFF), 65536);
}

TEST(StartState, OfResetIsADrivenLineThatNobodyHasExported) {
    BoardSetup setup;
    std::string problem;
    ASSERT_TRUE(setup.Set("start", "reset", problem)) << problem;
    BoardState expected;
    expected.gpios.at(90) = {false, true, true, false, 0};
    expected.chip.mode = vboard::ChipMode::kReset;
    expected.chip.hold = vboard::PinLevel::kHigh;
    const std::vector<std::uint8_t> bytes(vboard::kMemorySizeBytes);
    EXPECT_EQ(
        vboard::StateAtStart(setup, std::span<const std::uint8_t, vboard::kMemorySizeBytes>(bytes)),
        expected);
}

/// A key, its value, and what is wrong with it.
struct Refusal {
    const char* key;
    std::string value;
    std::string problem;
};

TEST(BoardSetup, RefusesWhatItDoesNotKnowAndChangesNothing) {
    const std::string longPath = "/dev/" + std::string(196, 'x');
    const auto lines = [](const std::string& value) {
        return "'lines' takes three different numbers from 0 to 255 for reset, RxD/NMI and TCK, as "
               "90,86,91, not '" +
               value + "'";
    };
    const Refusal kAll[] = {
        {"model", "BRDX", "unknown board model 'BRDX': take one of BRDA, BRDB, BRDC"},
        {"chip", "z80",
         "unknown chip 'z80': take one of msp430-56k, msp430-56k-v110, msp430-56k-v202, "
         "msp430-56k-key"},
        {"start", "later", "'start' takes running, erased, loader, reset or silent, not 'later'"},
        {"receive-trigger", "0", "'receive-trigger' takes a number from 1 to 16, not '0'"},
        {"receive-trigger", "17", "'receive-trigger' takes a number from 1 to 16, not '17'"},
        {"comm", "knxspi",
         "'comm' takes a path below /dev/ of at most 200 characters, not 'knxspi'"},
        {"port", "none", "'port' takes a path below /dev/ of at most 200 characters, not 'none'"},
        {"port", longPath,
         "'port' takes a path below /dev/ of at most 200 characters, not '" + longPath + "'"},
        {"name", "a b",
         "'name' takes letters, digits, '-', '_' and '.', at most 60 of them, not 'a b'"},
        {"name", "a\nb", "the value of 'name' must be one line"},
        {"lines", "1,2", lines("1,2")},
        {"lines", "1,2,1", lines("1,2,1")},
        {"lines", "1,1,2", lines("1,1,2")},
        {"lines", "2,1,1", lines("2,1,1")},
        {"lines", "1,2,256", lines("1,2,256")},
        {"lines", "1,2,3,", lines("1,2,3,")}};
    BoardSetup setup;
    for (const Refusal& row : kAll) {
        std::string problem;
        EXPECT_FALSE(setup.Set(row.key, row.value, problem));
        EXPECT_EQ(problem, row.problem);
    }
    EXPECT_EQ(setup.Text(), "");
    std::string problem;
    EXPECT_FALSE(BoardSetup::Parse("name=x\nport\n", setup, problem));
    EXPECT_EQ(problem, "'port' is not KEY=VALUE");
}

/// All that follows from a setup, "BRDC /dev/ttymxc1 /dev/knxspi 104,6,5 msp430-56k 1".
std::string Told(const BoardSetup& setup) {
    const auto& gpios = setup.Gpios();
    return vboard::Formatted("{} {} {} {},{},{} {} {}", setup.Name(), setup.PortPath(),
                             setup.CommPath().empty() ? "-" : setup.CommPath(), gpios[0], gpios[1],
                             gpios[2], setup.Part().name, setup.ReceiveTrigger());
}

TEST(BoardSetup, IsWhatItsModelSaysAndWhatWasSet) {
    for (const auto& [text, told] :
         {std::pair("", "BRDA /dev/ttyS1 /dev/knxspi 90,86,91 msp430-56k 1"),
          {"model=BRDB\n", "BRDB /dev/ttyS1 /dev/knxspi 90,86,91 msp430-56k 1"},
          {"model=BRDC\n", "BRDC /dev/ttymxc1 /dev/knxspi 104,6,5 msp430-56k 1"},
          {"comm=none\nreceive-trigger=16\n", "BRDA /dev/ttyS1 - 90,86,91 msp430-56k 16"},
          {"chip=msp430-56k-key\ncomm=/dev/knx1\nlines=0,255,7\nname=pump\nport=/dev/ttyS4\n",
           "pump /dev/ttyS4 /dev/knx1 0,255,7 msp430-56k-key 1"}}) {
        BoardSetup setup;
        std::string problem;
        ASSERT_TRUE(BoardSetup::Parse(text, setup, problem)) << problem;
        EXPECT_EQ(Told(setup), told);
        EXPECT_EQ(setup.Text(), text);
    }
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
