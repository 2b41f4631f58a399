// SPDX-License-Identifier: MIT
#pragma once

// A chip on a bench: its pins in the test's hand, everything it says and announces written down.
//
//     ChipBench bench(ChipSetup().Part("msp430-56k-v110").Option("silent", "yes"));
//     bench.EnterLoader();
//     EXPECT_EQ(bench.Ask(MassEraseFrame()), "90");

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Bytes.h"
#include "tests/support/LoaderFrames.h"
#include "vboard/chip/Chip.h"
#include "vboard/chip/ChipModel.h"
#include "vboard/faults/Faults.h"
#include "vboard/probe/Probe.h"
#include "vboard/time/VirtualClock.h"

namespace bench {

using ::Bytes;

/// "80 1e 04".
std::string Hex(std::span<const std::uint8_t> bytes);
Bytes FromHex(std::string_view text);
using ::Repeat;

// Frames made from the protocol.
using loader::Frame;
using loader::MassEraseFrame;
using loader::VersionRequestFrame;
using loader::WriteFrame;
Bytes PasswordFrame(const Bytes& password);
/// The two checksum bytes put right after a change to the rest.
Bytes Sealed(Bytes frame);

inline constexpr std::uint16_t kSegmentWord = 0xA502;
inline constexpr std::uint16_t kAreaWord = 0xA504;

/// Writes down what is announced, one entry each, in order.
class RecordingProbe : public vboard::Probe {
public:
    explicit RecordingProbe(const vboard::VirtualClock& clock) : m_clock(clock) {}

    [[nodiscard]] bool Listening() const override { return m_listening; }
    void OnSignal(vboard::Signal signal, std::uint32_t value) override;
    void OnLoaderCommand(const vboard::LoaderCommand& command) override;
    void OnNote(std::string_view room, std::string_view text) override;

    void StopListening() { m_listening = false; }
    void Clear() { m_entries.clear(); }
    /// "chip_mode=reset; 80 sync -> 90; note chip: ..." with the entries joined by "; ".
    [[nodiscard]] std::string Text() const;
    /// The same with the time in microseconds before each entry.
    [[nodiscard]] std::string TimedText() const;
    /// Only the entries that begin so.
    [[nodiscard]] std::string Only(std::string_view beginning) const;

private:
    struct Entry {
        vboard::Instant when;
        std::string text;
    };
    void Put(std::string text);

    const vboard::VirtualClock& m_clock;
    std::vector<Entry> m_entries;
    bool m_listening = true;
};

/// Faults that a test puts in one by one; without them the world is whole.
class BenchFaults : public vboard::Faults {
public:
    std::function<vboard::AnswerFault(std::uint8_t, std::uint16_t, std::span<const std::uint8_t>)>
        onAnswer;
    std::function<std::uint8_t(std::uint16_t, std::uint8_t, std::uint8_t)> onProgram;
    std::function<std::uint8_t(std::uint16_t, std::uint8_t)> onErase;

    vboard::AnswerFault FaultOfAnswer(std::uint8_t command, std::uint16_t address,
                                      std::span<const std::uint8_t> answer) override;
    std::uint8_t CellAfterProgramming(std::uint16_t address, std::uint8_t old,
                                      std::uint8_t wanted) override;
    std::uint8_t CellAfterErase(std::uint16_t address, std::uint8_t old) override;
};

/// What lies on the bench: a part, its options, what its memory holds.
class ChipSetup {
public:
    /// The default part with a firmware of version 0x0100 in erased flash.
    ChipSetup();
    ChipSetup& Part(std::string_view name);
    ChipSetup& Option(std::string_view key, std::string_view value);
    ChipSetup& Erased();
    ChipSetup& Holding(std::uint16_t address, const Bytes& bytes);

private:
    friend class ChipBench;
    vboard::ChipModel m_model;
    vboard::ChipOptions m_options;
    std::vector<std::uint8_t> m_memory;
};

class ChipBench : private vboard::SerialSink, private vboard::MessageSink {
public:
    explicit ChipBench(const ChipSetup& setup = ChipSetup());

    vboard::VirtualClock clock;
    std::array<std::uint8_t, vboard::kMemorySizeBytes> memory{};
    RecordingProbe probe{clock};
    BenchFaults faults;
    std::array<std::uint32_t, vboard::kMostSegments> eraseWords{};
    vboard::Chip chip;

    /// The pins, a millisecond after each other: hold/free, rst 0/1, tck 0/1, as in
    /// "rst0 tck0 tck1 tck0 rst1 tck1".
    ChipBench& Drive(std::string_view edges);
    /// The shortest way in, from wherever it is.
    ChipBench& EnterLoader();
    /// The right password.
    ChipBench& Unlock();

    /// The characters one after the other on the line, from now on, in the chip's own format.
    void Type(const Bytes& characters);
    void TypeDamaged(std::uint8_t value);
    /// A character in the chip's own format whose stop bit ends now.
    void Arrives(vboard::ReceivedCharacter character);
    /// The same, whose start bit began at `start`.
    void Arrives(vboard::ReceivedCharacter character, vboard::Instant start);
    /// Everything that is going on comes to its end.
    void Settle() { clock.Settle(vboard::Instant::max()); }
    /// Syncs (which must be answered 90) and sends the frame; what is answered, in hex.
    std::string Ask(const Bytes& frame);
    void Sync();

    /// What the chip has said since the last call, in hex; messages as "[b5 01 00]".
    std::string Said();
    /// When its last character or message began.
    [[nodiscard]] vboard::Instant SaidAt() const { return m_saidAt; }

    /// "3 erased, 2 programmed": the bytes that lack margin.
    [[nodiscard]] std::string Weak();
    [[nodiscard]] std::string At(std::uint16_t address, std::size_t count) const;
    [[nodiscard]] vboard::ChipMode Mode() const { return chip.State().mode; }

private:
    void Send(std::uint8_t value, const vboard::SerialFormat& format) override;
    void SendMessage(std::span<const std::uint8_t> message) override;

    vboard::ChipModel m_model;
    std::string m_said;
    vboard::Instant m_saidAt;
};

}  // namespace bench
