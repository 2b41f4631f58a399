// SPDX-License-Identifier: MIT
#pragma once

// What the program must do to a board, put together step by step from the rules of its lines, its
// link and the loader's protocol, without a look at any recorded run.
//
//     Conversation().AsksVersion(256).Begins().Detects().MassErases() ... .Text()
//
// The text is in the words of the transcript: one line for each call and each pause, in order and
// without times.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Bytes.h"

namespace runs {

/// GPIO numbers and device paths of a board.
struct Wiring {
    std::string reset = "90";
    std::string rxdNmi = "86";
    std::string tck = "91";
    std::string port = "/dev/ttyS1";
    std::string comm = "/dev/knxspi";
};

/// The board whose lines and port differ from those of the other two.
inline Wiring BoardC() {
    return {"104", "6", "5", "/dev/ttymxc1", "/dev/knxspi"};
}

/// One block of a download: its address and its bytes, an even count.
struct Block {
    std::uint16_t address;
    Bytes data;
};

/// The data records of an image, each of them one block. The image must be plain: upper case, one
/// record a line, data records of even length and one end record.
std::vector<Block> BlocksOf(const std::string& imageText);

class Conversation {
public:
    explicit Conversation(Wiring wiring = {}) : m_wiring(std::move(wiring)) {}

    [[nodiscard]] const std::string& Text() const { return m_text; }

    // ------ whole steps, as they go well ------

    /// The controller is made: lines exported, the reset line an output.
    Conversation& Begins();
    /// The controller goes: tristate off, lines unexported.
    Conversation& Ends();
    Conversation& Unexports();
    /// A version query with this answer.
    Conversation& AsksVersion(std::uint16_t version);
    /// A version query that nobody answers.
    Conversation& AsksInVain();
    Conversation& Detects();
    Conversation& MassErases();
    /// Password, the 20 rounds of the main-memory erase and these blocks.
    Conversation& Updates(const std::vector<Block>& blocks);
    Conversation& Restarts();
    /// A whole programming run on a board that reports `before`, then `after`.
    Conversation& Programs(const std::vector<Block>& blocks, std::uint16_t before,
                           std::uint16_t after);

    // ------ steps within ------

    Conversation& Pauses(long microseconds);
    /// Tristate on, reset line high, both loader lines outputs.
    Conversation& Prepares();
    /// The waveform into the loader.
    Conversation& EntersLoader();
    Conversation& OpensPort();
    Conversation& ClosesPort();
    /// RxD/NMI low, then both loader lines inputs.
    Conversation& Releases();
    Conversation& TurnsLines(const std::string& direction);
    Conversation& TurnsLine(const std::string& gpio, const std::string& direction);
    Conversation& SetsLine(const std::string& gpio, char level);
    /// Nothing on a board without a communication device.
    Conversation& SetsTristate(int state);
    Conversation& Unlocks();
    Conversation& ErasesMain(int rounds = 20);
    Conversation& Sends(const Block& block);
    Conversation& Sends(const std::vector<Block>& blocks);
    /// The sync byte and what one read gives for it.
    Conversation& Syncs(const Bytes& reply = {0x90});
    /// A frame and what one read gives for it.
    Conversation& Exchanges(const Bytes& frame, const Bytes& reply = {0x90});
    Conversation& Writes(const Bytes& bytes);
    Conversation& AsksForVersion();
    Conversation& HearsMessage(const Bytes& message);

    // ------ what fails ------

    /// A call that fails; `call` is its line without the result.
    Conversation& Fails(const std::string& call, const std::string& error);
    /// A level that the kernel refuses, because the line is an input.
    Conversation& SetsLineInVain(const std::string& gpio, char level);
    /// Any line.
    Conversation& Does(const std::string& line);

private:
    Conversation& GpioFile(const std::string& name, const std::string& mode,
                           const std::vector<std::string>& texts);

    Wiring m_wiring;
    std::string m_text;
};

}  // namespace runs
