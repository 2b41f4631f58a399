// SPDX-License-Identifier: MIT
#pragma once

// What flashguard must do to a board, put together step by step from the rules of lines, link and
// loader, in the words of the transcript.
//
//     GuardConversation().Asks(256).Enters().Erases().ProvesErased() ...

#include <cstdint>
#include <string>
#include <vector>

#include "tests/runs/Conversation.h"

namespace guard_tests {

/// What unlocks a chip whose vectors are erased.
inline const Bytes kErasedPassword(32, 0xFF);

/// The image's records joined into blocks of at most 250 bytes; those of the vectors are split
/// behind 0xFFDF and 0xFFFD.
std::vector<runs::Block> CanonicalBlocks(const std::string& imageText);

/// What the image leaves from 0xFFE0 on: the password of a chip that holds it.
Bytes Vectors(const std::string& imageText);

class GuardConversation {
public:
    explicit GuardConversation(const runs::Wiring& wiring = {})
        : m_wiring(wiring), m_steps(wiring) {}

    [[nodiscard]] std::string Text() const { return m_steps.Text(); }

    /// The running firmware is asked and says its version.
    GuardConversation& Asks(std::uint16_t version);
    /// Asked `rounds` times, it says nothing.
    GuardConversation& AsksInVain(int rounds);
    /// Lines exported, into the loader, port open; the sync answered when it is.
    GuardConversation& Enters(bool answered = true);
    /// The same once more: the lines are exported.
    GuardConversation& EntersAgain(bool answered = true);
    GuardConversation& SyncsInVain();
    GuardConversation& Erases(int pulses = 19);
    /// The password and the question that shows whether it was right.
    GuardConversation& Unlocks(const Bytes& password, const Bytes& romWords);
    /// A loader that tells of itself.
    GuardConversation& AsksIdentity(const Bytes& words);
    GuardConversation& ChecksErased(std::uint16_t address, std::uint16_t size);
    GuardConversation& Writes(const runs::Block& block);
    GuardConversation& Reads(const runs::Block& block);
    /// A frame that is refused three times.
    GuardConversation& Refused(const Bytes& frame);
    GuardConversation& ClosesPort();
    /// Asked for itself, the loader says the beginning of an answer alone.
    GuardConversation& AsksIdentityInVain(const Bytes& beginning);
    /// Out of the loader: the firmware starts. The port has been closed.
    GuardConversation& Starts();
    /// The same after the chip was held in reset.
    GuardConversation& StartsHard();
    /// The lines are given back; those that are driven are released before.
    GuardConversation& Ends();

private:
    GuardConversation& Prepares();
    GuardConversation& ReadsDirection(const std::string& gpio, const std::string& direction);
    GuardConversation& Exchanges(const Bytes& frame, const Bytes& answer);
    GuardConversation& Syncs();
    GuardConversation& Drains();

    runs::Wiring m_wiring;
    runs::Conversation m_steps;
    bool m_synced = false;
};

/// The boot ROM's words from 0x0FF0 on.
Bytes RomWords(std::uint16_t chipId, std::uint16_t loaderVersion);

}  // namespace guard_tests
