// SPDX-License-Identifier: MIT
#include "vboard/board/BoardFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>

#include "vboard/board/StartState.h"
#include "vboard/text/Format.h"
#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

static_assert(std::endian::native == std::endian::little, "board files are little-endian");

constexpr std::array<char, 8> kMagic{'V', 'B', 'O', 'A', 'R', 'D', '\r', '\n'};
constexpr std::uint32_t kFormatNumber = 1;

struct Header {
    std::array<char, 8> magic;
    std::uint32_t formatNumber;
    std::uint32_t setupLength;
    std::uint32_t checkSum;  ///< Of the setup, and of this header with 0 in this place.
    std::array<std::uint8_t, 44> reserved;
};
static_assert(sizeof(Header) == 64);

constexpr std::size_t kSetupOffset = sizeof(Header);
constexpr std::size_t kSlotOffset = 0x1000;
constexpr std::size_t kSlotSizeBytes = 0x800;
constexpr std::size_t kSlotCount = 2;
constexpr std::size_t kMemoryOffset = 0x2000;
constexpr std::size_t kEraseWordsOffset = 0x800;
constexpr std::size_t kLongestSetup = kEraseWordsOffset - kSetupOffset;
static_assert(kEraseWordsOffset + kMostSegments * sizeof(std::uint32_t) == kSlotOffset);
static_assert(kMemoryOffset + kMemorySizeBytes == BoardFile::kFileSizeBytes);

/// The state as it lies in a slot. A GPIO is four bits: exported, output, high, active low.
struct StoredState {
    std::uint32_t generation;
    std::uint32_t checkSum;  ///< Of everything behind it.
    std::array<std::uint8_t, kGpioCount> gpios;
    std::uint8_t tristate;
    std::uint8_t chipMode;
    std::uint8_t chipHold;
    std::uint8_t chipRstNmi;
    std::uint8_t chipTck;
    std::uint8_t chipTckFalls;
    std::uint8_t loaderUnlocked;
    std::uint8_t reserved;
    KernelSettings port;
};
static_assert(sizeof(StoredState) == 8 + kGpioCount + 8 + sizeof(KernelSettings));

constexpr unsigned kExportedBit = 1;
constexpr unsigned kOutputBit = 2;
constexpr unsigned kHighBit = 4;
constexpr unsigned kActiveLowBit = 8;
constexpr unsigned kEdgeShift = 4;  // Two bits.

/// FNV-1a, of eight bytes at a time: enough to tell a whole record from a torn or a foreign one.
std::uint32_t CheckSum(std::span<const std::uint8_t> bytes, std::uint32_t seed) {
    constexpr std::uint64_t kPrime = 1099511628211U;
    std::uint64_t sum = 14695981039346656037U ^ seed;
    std::uint64_t eight = 0;
    for (; bytes.size() >= sizeof eight; bytes = bytes.subspan(sizeof eight)) {
        std::memcpy(&eight, bytes.data(), sizeof eight);
        sum = (sum ^ eight) * kPrime;
    }
    eight = 0;
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t*>(&eight));
    sum = (sum ^ eight) * kPrime;
    return static_cast<std::uint32_t>(sum ^ (sum >> 32));
}

std::uint32_t CheckSumOf(const StoredState& stored) {
    std::array<std::uint8_t, sizeof(StoredState)> bytes{};
    std::memcpy(bytes.data(), &stored, sizeof stored);
    return CheckSum(std::span(bytes).subspan(8), stored.generation);
}

std::uint32_t CheckSumOf(Header header, std::span<const std::uint8_t> setup) {
    header.checkSum = 0;
    std::array<std::uint8_t, sizeof(Header)> bytes{};
    std::memcpy(bytes.data(), &header, sizeof header);
    return CheckSum(setup, CheckSum(bytes, 0));
}

StoredState SlotAt(const std::uint8_t* file, std::size_t slot) {
    StoredState stored{};
    std::memcpy(&stored, file + kSlotOffset + slot * kSlotSizeBytes, sizeof stored);
    return stored;
}

/// A slot of a new board that no state has been kept in.
bool IsUnwritten(const StoredState& stored) {
    const StoredState nothing{};
    return std::memcmp(&stored, &nothing, sizeof stored) == 0;
}

/// Generations are counted without end: the number begins anew after 2^32.
bool IsLater(std::uint32_t generation, std::uint32_t other) {
    return static_cast<std::int32_t>(generation - other) > 0;
}

std::uint8_t Pack(const GpioState& gpio) {
    return static_cast<std::uint8_t>((gpio.exported ? kExportedBit : 0U) |
                                     (gpio.output ? kOutputBit : 0U) | (gpio.high ? kHighBit : 0U) |
                                     (gpio.activeLow ? kActiveLowBit : 0U) |
                                     (static_cast<unsigned>(gpio.edge) << kEdgeShift));
}

StoredState Pack(const BoardState& state) {
    StoredState stored{};
    // Nearly all lines are as they came up, which is all zeros in either form: eight at once.
    std::uint64_t eight = 0;
    static_assert(kGpioCount % sizeof eight == 0);
    for (std::size_t first = 0; first < kGpioCount; first += sizeof eight) {
        std::memcpy(&eight, &state.gpios[first], sizeof eight);
        for (std::size_t gpio = first; eight != 0 && gpio < first + sizeof eight; ++gpio) {
            stored.gpios[gpio] = Pack(state.gpios[gpio]);
        }
    }
    stored.tristate = state.tristate ? 1 : 0;
    stored.port = state.portSettings;
    stored.chipMode = static_cast<std::uint8_t>(state.chip.mode);
    stored.chipHold = static_cast<std::uint8_t>(state.chip.hold);
    stored.chipRstNmi = static_cast<std::uint8_t>(state.chip.rstNmi);
    stored.chipTck = static_cast<std::uint8_t>(state.chip.tck);
    stored.chipTckFalls = state.chip.tckFalls;
    stored.loaderUnlocked = state.chip.loaderUnlocked ? 1 : 0;
    return stored;
}

PinLevel LevelFrom(std::uint8_t stored) {
    return stored == 0 ? PinLevel::kLow : PinLevel::kHigh;
}

BoardState Unpack(const StoredState& stored) {
    BoardState state;
    for (std::size_t gpio = 0; gpio < kGpioCount; ++gpio) {
        const unsigned bits = stored.gpios.at(gpio);
        state.gpios.at(gpio) = {(bits & kExportedBit) != 0, (bits & kOutputBit) != 0,
                                (bits & kHighBit) != 0, (bits & kActiveLowBit) != 0,
                                static_cast<std::uint8_t>((bits >> kEdgeShift) & 3U)};
    }
    state.tristate = stored.tristate != 0;
    state.portSettings = stored.port;
    state.chip.mode = static_cast<ChipMode>(
        std::min<std::uint8_t>(stored.chipMode, static_cast<std::uint8_t>(ChipMode::kUnpowered)));
    state.chip.hold = LevelFrom(stored.chipHold);
    state.chip.rstNmi = LevelFrom(stored.chipRstNmi);
    state.chip.tck = LevelFrom(stored.chipTck);
    state.chip.tckFalls = stored.chipTckFalls;
    state.chip.loaderUnlocked = stored.loaderUnlocked != 0;
    return state;
}

}  // namespace

BoardFile::~BoardFile() {
    if (m_bytes != nullptr) {
        munmap(m_bytes, kFileSizeBytes);
    }
}

Memory BoardFile::ChipMemory() const {
    MustHold(m_bytes != nullptr, "a board file is mapped before its memory is asked for");
    return Memory(m_bytes + kMemoryOffset, kMemorySizeBytes);
}

EraseWords BoardFile::ChipEraseWords() const {
    // The mapping begins on a page, the words at a multiple of their size.
    return EraseWords(reinterpret_cast<std::uint32_t*>(m_bytes + kEraseWordsOffset), kMostSegments);
}

bool BoardFile::Map(int descriptor, int protection, std::string& problem) {
    void* mapped = mmap(nullptr, kFileSizeBytes, protection, MAP_SHARED, descriptor, 0);
    if (mapped == MAP_FAILED) {
        problem = Formatted("can't be mapped: {}", strerrordesc_np(errno));
        return false;
    }
    m_bytes = static_cast<std::uint8_t*>(mapped);
    return true;
}

bool BoardFile::Create(int descriptor, const BoardSetup& setup, const image::MemoryImage* image,
                       Failure& failure) {
    const std::string text = setup.Text();
    MustHold(text.size() <= kLongestSetup, "each value has its limit, and so all of them fit");
    // All of it is there before it is mapped: a full disk is noticed here and nowhere else.
    const int error = posix_fallocate(descriptor, 0, kFileSizeBytes);
    if (error != 0) {
        failure.problem =
            Formatted("can't be made {} bytes long: {}", kFileSizeBytes, strerrordesc_np(error));
        return false;
    }
    if (!Map(descriptor, PROT_READ | PROT_WRITE, failure.problem)) {
        return false;
    }
    if (!FillMemory(setup, image, ChipMemory(), failure.problem)) {
        failure.blamesImage = true;
        return false;
    }
    std::copy(text.begin(), text.end(), m_bytes + kSetupOffset);
    m_setup = setup;
    m_state = StateAtStart(setup, ChipMemory());
    WriteState();
    Header header{};
    header.magic = kMagic;
    header.formatNumber = kFormatNumber;
    header.setupLength = static_cast<std::uint32_t>(text.size());
    header.checkSum = CheckSumOf(header, std::span(m_bytes + kSetupOffset, text.size()));
    // A board that was not finished is not taken for one.
    std::atomic_signal_fence(std::memory_order_release);
    std::memcpy(m_bytes, &header, sizeof header);
    return true;
}

bool BoardFile::Attach(int descriptor, std::string& problem) {
    return Attach(descriptor, PROT_READ | PROT_WRITE, problem);
}

bool BoardFile::AttachForReading(int descriptor, std::string& problem) {
    return Attach(descriptor, PROT_READ, problem);
}

bool BoardFile::Attach(int descriptor, int protection, std::string& problem) {
    const std::string file = Formatted("/proc/self/fd/{}", descriptor);
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error) ||
        std::filesystem::file_size(file, error) != kFileSizeBytes) {
        problem = Formatted("is not a board file: a board file is a plain file of {} bytes",
                            kFileSizeBytes);
        return false;
    }
    return Map(descriptor, protection, problem) && ReadSetup(problem) && ReadState(problem);
}

bool BoardFile::ReadSetup(std::string& problem) {
    Header header{};
    std::memcpy(&header, m_bytes, sizeof header);
    if (header.magic != kMagic) {
        problem = "is not a board file: it does not begin with VBOARD";
        return false;
    }
    if (header.formatNumber != kFormatNumber) {
        problem = Formatted("has board format {}; this vboard reads format {}", header.formatNumber,
                            kFormatNumber);
        return false;
    }
    if (header.setupLength > kLongestSetup ||
        CheckSumOf(header, std::span(m_bytes + kSetupOffset, header.setupLength)) !=
            header.checkSum) {
        problem = "is damaged: the check sum of its header and setup does not match";
        return false;
    }
    const std::string text(m_bytes + kSetupOffset, m_bytes + kSetupOffset + header.setupLength);
    std::string why;
    if (!BoardSetup::Parse(text, m_setup, why)) {
        problem = Formatted("holds a setup that this vboard does not know: {}", why);
        return false;
    }
    return true;
}

bool BoardFile::ReadState(std::string& problem) {
    std::optional<StoredState> newest;
    m_damagedState = false;
    for (std::size_t slot = 0; slot < kSlotCount; ++slot) {
        const StoredState stored = SlotAt(m_bytes, slot);
        if (stored.checkSum != CheckSumOf(stored)) {
            m_damagedState = m_damagedState || !IsUnwritten(stored);
        } else if (!newest || IsLater(stored.generation, newest->generation)) {
            newest = stored;
        }
    }
    if (!newest) {
        problem = "is damaged: neither copy of its state is whole";
        return false;
    }
    m_generation = newest->generation;
    m_state = Unpack(*newest);
    return true;
}

void BoardFile::WriteState() {
    StoredState stored = Pack(m_state);
    stored.generation = ++m_generation;
    stored.checkSum = CheckSumOf(stored);
    std::memcpy(m_bytes + kSlotOffset + (m_generation % kSlotCount) * kSlotSizeBytes, &stored,
                sizeof stored);
}

WeakBytes WeakBytesOf(const BoardFile& file) {
    return EraseMargins(Segments(file.Setup().Part()), file.ChipEraseWords())
        .Count(file.ChipMemory());
}

bool BoardFile::IsCurrent() const {
    const StoredState ours = SlotAt(m_bytes, m_generation % kSlotCount);
    const StoredState next = SlotAt(m_bytes, (m_generation + 1) % kSlotCount);
    return ours.generation == m_generation && !IsLater(next.generation, m_generation);
}

void BoardFile::Store(const BoardState& state) {
    if (state == m_state) {
        return;
    }
    m_state = state;
    WriteState();
}

}  // namespace vboard
