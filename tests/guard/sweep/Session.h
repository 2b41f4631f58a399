// SPDX-License-Identifier: MIT
#pragma once

// What the tests in this folder install, and from where: a request for the first built-in board.

#include <gtest/gtest.h>

#include <string>

#include "guard/session/Operations.h"
#include "tests/guard/sweep/BoardRun.h"
#include "tests/support/TempFolder.h"

namespace guard_sweep {

inline constexpr std::uint16_t kVersion = 0x1234;

/// A version, some code, and vectors that point to it.
inline image::MemoryImage Firmware(std::uint16_t version, std::uint8_t filling) {
    image::MemoryImage memory;
    const auto word = [&memory](std::uint32_t address, std::uint32_t value) {
        memory.Set(static_cast<std::uint16_t>(address), static_cast<std::uint8_t>(value & 0xFFU));
        memory.Set(static_cast<std::uint16_t>(address + 1), static_cast<std::uint8_t>(value >> 8U));
    };
    word(0x2100, version);
    for (std::uint32_t address = 0x2102; address < 0x2400; ++address) {
        memory.Set(static_cast<std::uint16_t>(address), filling);
    }
    word(0xFFE4, 0x2102);
    word(0xFFFE, 0x2102);
    return memory;
}

class Session : public testing::Test {
protected:
    Session() {
        request.command = "install";
        request.board = guard::BuiltInBoards().front();
        request.lockFolder = m_folder.PathOf(".");
        request.image.emplace();
        request.image->memory = Firmware(kVersion, 0x42);
        request.image->version = kVersion;
    }

    Operation Installs() {
        return [this](guard::Progress& progress) { return guard::Install(request, progress); };
    }
    /// Gives the figures for the problem: no more than that crosses from the child.
    Operation InstallsAndCounts() {
        return [this](guard::Progress& progress) {
            guard::Verdict verdict = guard::Install(request, progress);
            verdict.problem = "retries " + std::to_string(verdict.retries) + ", new sessions " +
                              std::to_string(verdict.reentries) + ", bytes written " +
                              std::to_string(verdict.bytesWritten);
            return verdict;
        };
    }
    [[nodiscard]] std::string DifferenceIn(const Shared& shared) const {
        for (std::uint32_t at = 0x2100; at < shared.memory.size(); ++at) {
            if (shared.memory.at(at) != request.image->memory.At(static_cast<std::uint16_t>(at))) {
                return "at " + std::to_string(at);
            }
        }
        return "";
    }

    [[nodiscard]] std::string PathOf(const std::string& name) const {
        return m_folder.PathOf(name);
    }

    guard::Request request;

private:
    TempFolder m_folder;
};

}  // namespace guard_sweep
