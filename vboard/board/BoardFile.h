// SPDX-License-Identifier: MIT
#pragma once

// A board kept in a file, mapped into memory so that the file is current at every instant.
//
//   offset   bytes  what
//   0        64     magic, format number, length of the setup, a check sum of header and setup
//   0x0040   1984   setup: lines of KEY=VALUE
//   0x0800   2048   how well each segment of the flash is erased (chip/EraseMargins.h)
//   0x1000   2048   state, slot 0 } written in turn, each with a number and a check sum of its own:
//   0x1800   2048   state, slot 1 } a program killed in the middle of a change leaves the one
//   before 0x2000   65536  the chip's memory, byte by byte as the chip holds it
//
// All numbers are little-endian and of fixed width: a 32-bit program and a 64-bit runner share one
// file.

#include <cstdint>
#include <string>

#include "image/MemoryImage.h"
#include "vboard/board/Board.h"

namespace vboard {

class BoardFile {
public:
    /// The length of every board file, whatever it holds.
    static constexpr std::size_t kFileSizeBytes = 0x12000;

    BoardFile() = default;
    ~BoardFile();
    BoardFile(const BoardFile&) = delete;
    BoardFile& operator=(const BoardFile&) = delete;

    /// Why a file could not be made into a board.
    struct Failure {
        std::string problem;
        bool blamesImage = false;
    };

    /// Makes an empty file (of any length) behind `descriptor` into one that holds a new board,
    /// with `image` in its flash where there is one (nullptr: the older firmware of a delivered
    /// chip), and maps it. The descriptor stays the caller's and may be closed afterwards. On
    /// failure `failure` says why: one line, and whether that is about the image.
    [[nodiscard]] bool Create(int descriptor, const BoardSetup& setup,
                              const image::MemoryImage* image, Failure& failure);
    /// Maps a board file. A damaged or foreign one is refused. The memory of the chip has no check
    /// sum: it changes in place at every instant, and whatever it holds is what that chip holds.
    [[nodiscard]] bool Attach(int descriptor, std::string& problem);
    /// The same from a descriptor that can only be read: nothing of the board may be changed.
    [[nodiscard]] bool AttachForReading(int descriptor, std::string& problem);

    /// What the board is made of, as the file says. After Create or Attach only.
    [[nodiscard]] const BoardSetup& Setup() const { return m_setup; }
    /// The state that was stored or read last.
    [[nodiscard]] const BoardState& State() const { return m_state; }
    /// The mapped memory of the chip.
    [[nodiscard]] Memory ChipMemory() const;
    /// The mapped words that tell how well the chip's flash is erased.
    [[nodiscard]] EraseWords ChipEraseWords() const;

    /// True when nobody else has kept a state in the file since this object did, or read it.
    [[nodiscard]] bool IsCurrent() const;
    /// True when one of the two copies of the state was not whole when it was read: the other one
    /// has been taken, which may be one change older.
    [[nodiscard]] bool HasDamagedState() const { return m_damagedState; }

    /// Reads the state anew.
    [[nodiscard]] bool Reload(std::string& problem) { return ReadState(problem); }

    /// Keeps a state; an equal one costs no write.
    void Store(const BoardState& state);

private:
    [[nodiscard]] bool Map(int descriptor, int protection, std::string& problem);
    [[nodiscard]] bool Attach(int descriptor, int protection, std::string& problem);
    [[nodiscard]] bool ReadSetup(std::string& problem);
    [[nodiscard]] bool ReadState(std::string& problem);
    void WriteState();

    std::uint8_t* m_bytes = nullptr;
    BoardSetup m_setup;
    BoardState m_state;
    std::uint32_t m_generation = 0;
    bool m_damagedState = false;
};

/// The bytes of the kept chip's flash that lack margin.
[[nodiscard]] WeakBytes WeakBytesOf(const BoardFile& file);

}  // namespace vboard
