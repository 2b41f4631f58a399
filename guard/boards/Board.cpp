// SPDX-License-Identifier: MIT
#include "guard/boards/Board.h"

#include <algorithm>
#include <array>

namespace guard {
namespace {

constexpr MemoryArea kMain{0x2100, 0xFFFF, 512};
constexpr unsigned kEraseOnceMs = 20;
/// Parts with the short mass erase need it as often as makes 200 ms (SLAU320 table 2-10).
constexpr unsigned kEraseRepeatedMs = 200;

/// DCOCTL and BCSCTL1 for a clock that carries each speed (SLAU319, examples of the change of baud
/// rate). The first are those of F1xx parts, the second of F2xx parts.
std::vector<Speed> SpeedsOfF1xx() {
    return {{19200, 0xE0, 0x86}, {38400, 0xE0, 0x87}};
}

std::vector<Speed> SpeedsOfF2xx() {
    return {{19200, 0x00, 0x8B}, {38400, 0x80, 0x8C}};
}

std::vector<Part> MakeParts() {
    const MemoryArea information{0x1000, 0x10FF, 64};
    const MemoryArea oldInformation{0x1000, 0x10FF, 128};
    return {
        {"msp430-56k", kMain, information, false, kEraseOnceMs, SpeedsOfF2xx()},
        {"msp430-56k-v110", kMain, oldInformation, false, kEraseRepeatedMs, SpeedsOfF1xx()},
        {"msp430-56k-v202", kMain, information, false, kEraseOnceMs, SpeedsOfF2xx()},
        {"msp430-56k-key", kMain, information, false, kEraseOnceMs, SpeedsOfF2xx()},
    };
}

Board MakeBoard(const char* name, const char* port, std::array<const char*, 3> lines) {
    Board board;
    board.name = name;
    board.source = "built in";
    board.port = port;
    board.communication = "/dev/knxspi";
    board.resetGpio = lines[0];
    board.rxdNmiGpio = lines[1];
    board.tckGpio = lines[2];
    board.chip = KnownParts().front();
    // These boards were fitted with older parts, too, and more erasing does a newer one no harm.
    board.chip.eraseMs = kEraseRepeatedMs;
    return board;
}

}  // namespace

std::span<const Part> KnownParts() {
    static const std::vector<Part> kParts = MakeParts();
    return kParts;
}

std::span<const Board> BuiltInBoards() {
    static const std::vector<Board> kBoards{
        MakeBoard("BRDA", "/dev/ttyS1", {"90", "86", "91"}),
        MakeBoard("BRDB", "/dev/ttyS1", {"90", "86", "91"}),
        MakeBoard("BRDC", "/dev/ttymxc1", {"104", "6", "5"}),
    };
    return kBoards;
}

const Part* FindPart(std::string_view name) {
    const auto parts = KnownParts();
    const auto found = std::find_if(parts.begin(), parts.end(),
                                    [name](const Part& part) { return part.name == name; });
    return found == parts.end() ? nullptr : &*found;
}

const Board* FindBoard(std::span<const Board> boards, std::string_view name) {
    const auto found = std::find_if(boards.begin(), boards.end(),
                                    [name](const Board& board) { return board.name == name; });
    return found == boards.end() ? nullptr : &*found;
}

}  // namespace guard
