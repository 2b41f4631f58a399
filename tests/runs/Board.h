// SPDX-License-Identifier: MIT
#pragma once

// The unmodified program on a virtual board, said as a sentence:
//
//     const Outcome run = Board().OfModel("BRDC").WithOption("silent=yes").Runs({"-r"});

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"

namespace runs {

/// What a run left behind.
struct Outcome {
    int status = -1;
    std::string output;      ///< Standard output as it came.
    std::string log;         ///< The same with every log line's number checked and taken out.
    std::string error;       ///< Standard error, without the line that tells how to replay faults.
    std::string transcript;  ///< All that passed between program and board.

    /// The program's calls and pauses in order, one a line, without times.
    [[nodiscard]] std::string Conversation() const;
};

/// A board and the folder that the program is started in. The board stays as it is from one run to
/// the next.
class Board {
public:
    Board() = default;

    Board& OfModel(const std::string& model);
    /// KEY=VALUE, as `vboard run --option` takes it.
    Board& WithOption(const std::string& setting);
    /// An option of `vboard run` for the following runs, with its value.
    Board& With(const std::string& option, const std::string& value);
    /// A fault for the following runs, as docs/FAULTS.md writes it.
    Board& WithFault(const std::string& rule) { return With("--fault", rule); }
    Board& WithoutFaults();
    /// A file in the program's folder.
    Board& WithFile(const std::string& name, const std::string& content);

    Outcome Runs(const std::vector<std::string>& arguments);
    /// flashguard, with locks in the program's folder.
    Outcome RunsGuard(const std::vector<std::string>& arguments);
    /// Words of bash that start the program.
    Outcome RunsScript(const std::string& script);

    /// The chip's memory, all 64 KiB, as the last run left it.
    [[nodiscard]] std::vector<std::uint8_t> Memory() const;
    /// How many bytes of the flash lack margin, as the last run left it.
    [[nodiscard]] std::size_t WeakBytes() const;
    /// "" when main memory holds exactly the image, read strictly, and nothing but erased cells
    /// elsewhere; otherwise the first difference.
    [[nodiscard]] std::string DifferenceFrom(const std::string& imageText) const;
    /// A path in the program's folder.
    [[nodiscard]] std::string PathOf(const std::string& name) const;

private:
    Outcome RunsProgram(const std::vector<std::string>& program);
    Outcome RunsAny(const std::vector<std::string>& program);

    TempFolder m_folder;
    std::vector<std::string> m_setup;  ///< For the first run, which makes the board.
    std::vector<std::string> m_options;
    bool m_made = false;
};

/// The examples, by their path and by their text.
std::string BlinkyPath();
std::string BigPath();
std::string Blinky();
std::string Big();

}  // namespace runs
