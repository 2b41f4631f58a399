// SPDX-License-Identifier: MIT
#pragma once

// The receiving end of a line, as a UART: it knows nothing of what was sent and looks at levels.
//
// A fall of the line begins a character; half a bit later the line must still be low, else it was
// none. Data, parity and the first stop bit are sampled in the middle of the receiver's own bits,
// and from the middle of that stop bit on the next fall is looked for. So a sender at another speed
// gives other characters, fewer of them or more, with their parity and framing errors.
//
// Whoever owns the line tells what is put on it. Where sender and receiver agree, nothing has to be
// looked at bit by bit: the character is handed over when the sender ends it.

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>

#include "vboard/chip/SerialFormat.h"
#include "vboard/time/VirtualClock.h"

namespace vboard {

/// The bits of one character as they stand on the wire: bit 0 is the start bit, 1 is the idle
/// level.
struct CharacterBits {
    std::uint16_t bits;
    unsigned bitCount;
};
/// `value` as a sender of this format puts it on the line.
[[nodiscard]] CharacterBits Encode(std::uint8_t value, const SerialFormat& format);

/// One receiver at the end of one line.
class UartReceiver {
public:
    /// Gets a character that was received, with what is wrong with it.
    using Deliver = std::function<void(const ReceivedCharacter&)>;
    /// Asked for the format that the receiver is set to.
    using FormatOf = std::function<const SerialFormat&()>;

    /// `clock` must outlive the receiver. `format` is asked whenever a character is completed;
    /// `deliver` gets what was received, at the end of its stop bit.
    UartReceiver(VirtualClock& clock, FormatOf format, Deliver deliver);
    ~UartReceiver();
    UartReceiver(const UartReceiver&) = delete;
    UartReceiver& operator=(const UartReceiver&) = delete;

    /// A character begins on the line at this instant; the line is idle after it.
    void Begins(const CharacterBits& bits, const SerialFormat& sender);
    /// The character ends at this instant. What it completes, if anything, is the caller's to
    /// deliver: the next character may have to begin first.
    [[nodiscard]] std::optional<ReceivedCharacter> Ends();

    /// The line goes low and stays so, or is let go of.
    void SetBreak(bool low);

    /// The line has been quiet all the time, after the clock's actions have been taken back.
    void Drop() {
        m_line.clear();
        m_start.reset();
        m_agrees = false;
        m_finish = 0;
    }

    /// Delivers what Ends has returned.
    void Hand(const ReceivedCharacter& character) const { m_deliver(character); }

private:
    /// A stretch of the line that is not idle.
    struct Stretch {
        Instant start;
        Instant end;
        CharacterBits bits;  ///< A break is one low bit, whose end is not known at first.
        std::uint32_t bitsPerSecond;
    };

    [[nodiscard]] bool IsHigh(Instant when) const;
    [[nodiscard]] bool IsHighAtHalf(unsigned half, const SerialFormat& format) const;
    [[nodiscard]] std::optional<Instant> NextFall(Instant after) const;
    void LookFor(std::optional<Instant> fall);
    void FinishLater();
    void Finish();
    void Forget(Instant before);

    VirtualClock& m_clock;
    FormatOf m_format;
    Deliver m_deliver;
    std::deque<Stretch> m_line;      ///< In the order of time; what can still be looked at.
    std::optional<Instant> m_start;  ///< Of the start bit of the character being received.
    bool m_agrees = false;           ///< It is the sender's own, and both ends have one format.
    SerialFormat m_sender;           ///< Of that character.
    VirtualClock::Ticket m_finish = 0;
};

}  // namespace vboard
