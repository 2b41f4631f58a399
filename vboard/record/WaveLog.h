// SPDX-License-Identifier: MIT
#pragma once

// What the pictures of a run are made from (record/WaveJson.h): every change of the lines they
// show, the characters of the serial link joined to what was sent in one go, and where operations
// and exchanges begin and end.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vboard/probe/Modes.h"
#include "vboard/probe/Probe.h"

namespace vboard {

/// The rows of a picture, from the top.
enum class WaveLane : std::uint8_t {
    kResetGpio,
    kRxdNmiGpio,
    kMspTckGpio,
    kTristate,
    kChipMode,
    kHostTx,   ///< Holds boxes: an index into Boxes(), or kNoBox where the line is idle.
    kCommand,  ///< The same boxes, by what the loader took them for.
    kHostRx,
    kLoaderState,
    kChipBusy,
    kCount
};
/// How many there are.
inline constexpr std::size_t kWaveLaneCount = static_cast<std::size_t>(WaveLane::kCount);
/// In the place of an index into Boxes().
inline constexpr int kNoBox = -1;

/// A value for each lane.
using WaveState = std::array<int, kWaveLaneCount>;

/// A lane has another value from an instant on.
struct WaveChange {
    Instant when;
    WaveLane lane;
    int value;
    /// When the call of the program that brought it about began; the ends of characters come by
    /// themselves.
    Instant callBegan;
};

/// Characters of one direction, one right after the other.
struct WaveBox {
    WaveLane lane;
    Instant start;
    Instant end;
    Instant callBegan;  ///< As in WaveChange, of its start.
    std::vector<std::uint8_t> bytes;
    std::string words;  ///< What the loader took it for; may be empty.
};

/// A frame with its sync before it and its answer behind it, as far as there are any.
struct WaveExchange {
    Instant start;
    Instant end;
    std::size_t operation;  ///< Into Operations().
    bool isBlock = false;   ///< The frame writes a block.
    bool accepted = false;  ///< The answer on the wire is 90 or data.
};

/// From the moment the chip is put into reset until its application starts, or it stands still.
struct WaveOperation {
    Instant start;
    std::optional<Instant> loaderEntered;
    std::optional<Instant> firstAnswerEnd;  ///< Of the loader.
    std::optional<Instant> loaderLeft;
    std::optional<Instant> end;
};

/// Keeps all of a run in memory; a picture is drawn when it has ended.
class WaveLog : public Probe {
public:
    /// `clock` must outlive the log.
    explicit WaveLog(const VirtualClock& clock);

    /// From here on changes are kept; what was announced before is the state at the beginning.
    void Begin();
    /// Completes boxes and puts the changes in the order of time. To be called once.
    void Finish();

    /// The lanes at Begin, and what has been kept since, each in the order of time. Whole after
    /// Finish.
    [[nodiscard]] const WaveState& StateAtBegin() const { return m_first; }
    [[nodiscard]] const std::vector<WaveChange>& Changes() const { return m_changes; }
    [[nodiscard]] const std::vector<WaveBox>& Boxes() const { return m_boxes; }
    [[nodiscard]] const std::vector<WaveExchange>& Exchanges() const { return m_exchanges; }
    [[nodiscard]] const std::vector<WaveOperation>& Operations() const { return m_operations; }

    [[nodiscard]] bool Listening() const override { return true; }
    void OnSignal(Signal signal, std::uint32_t value) override;
    void OnCallBegins() override { m_callBegan = m_clock.Now(); }
    void OnCharacter(const WireCharacter& character) override;
    void OnLoaderCommand(const LoaderCommand& command) override;

private:
    void Change(Instant when, WaveLane lane, int value, Instant callBegan);
    void SetMode(ChipMode mode);
    [[nodiscard]] int& OpenBox(WaveLane lane);
    void CloseBox(WaveLane lane);
    void TakeAnswer(const WaveBox& box);

    const VirtualClock& m_clock;
    bool m_begun = false;
    Instant m_callBegan = Instant::min();
    WaveState m_first;
    std::vector<WaveChange> m_changes;
    std::vector<WaveBox> m_boxes;
    std::vector<WaveExchange> m_exchanges;
    std::vector<WaveOperation> m_operations;
    int m_openTx = kNoBox;
    int m_openRx = kNoBox;
    bool m_inside = false;               ///< An operation is under way.
    std::optional<Instant> m_syncStart;  ///< Of the sync that waits for its frame.
    bool m_awaitsAnswer = false;         ///< To the last exchange.
    int m_answerBox = kNoBox;            ///< The one that answers the last exchange.
};

}  // namespace vboard
