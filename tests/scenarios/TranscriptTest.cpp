// SPDX-License-Identifier: MIT

// A whole transcript, the board's side included, against a file that was read line by line before
// it was committed; and the times in it, against the pauses.
//
// UPDATE_GOLDEN=1 in the environment writes the file anew instead.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Process.h"
#include "tests/runs/Transcript.h"

using runs::BigPath;
using runs::BlinkyPath;
using runs::Board;
using runs::ExpectSame;
using runs::Outcome;
using runs::ReadFile;
using runs::ReadTranscript;
using runs::TranscriptLine;

namespace {

TEST(Transcript, OfProgrammingIsAsItWasReviewed) {
    const Outcome run = Board().Runs({"-f", BlinkyPath()});
    const std::string path = FLASHMCU_SOURCE_DIR "/tests/scenarios/golden/programming.transcript";
    if (std::getenv("UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path) << run.transcript;
    }
    ExpectSame(run.transcript, ReadFile(path));
}

// ---- time ----

/// Calls that wait are told when they have ended; every other call takes no time.
bool Waits(const TranscriptLine& line) {
    return line.words.starts_with("read ") || line.words.starts_with("select ");
}

TEST(VirtualTime, PassesOnlyInPausesAndInCallsThatWait) {
    const Outcome run = Board().Runs({"-f", BigPath()});
    long nextUs = 0;
    for (const TranscriptLine& line : ReadTranscript(run.transcript)) {
        if (line.column != "call" && line.column != "pause") {
            continue;
        }
        if (Waits(line)) {
            EXPECT_GE(line.timeUs, nextUs) << line.words;
        } else {
            // The clock is finer than a microsecond; what is written is cut.
            EXPECT_NEAR(static_cast<double>(line.timeUs), static_cast<double>(nextUs), 1)
                << line.words;
        }
        nextUs = line.timeUs + (line.column == "pause" ? std::stol(std::string(line.words)) : 0);
    }
}

TEST(VirtualTime, OfAProgrammingRunIsItsPausesAndItsCharactersAndWhatTheChipTakes) {
    const Outcome run = Board().Runs({"-f", BlinkyPath()});
    double wireUs = 0;
    long pauseUs = 0;
    for (const TranscriptLine& line : ReadTranscript(run.transcript)) {
        if (line.column == "wire") {
            // 11 bits a character, a direction mark before them.
            const auto characters = static_cast<double>((line.words.size() - 1) / 3);
            wireUs += characters * 11 * 1e6 / 9600;
        } else if (line.column == "pause") {
            pauseUs += std::stol(std::string(line.words));
        }
    }
    // Two queries with 500 ms behind each, 500 ms between, three entries of 1250 ms.
    EXPECT_EQ(pauseUs, 3 * 500'000 + 3 * (100'000 + 1'050'000 + 100'000));
    // At 400 kHz: 21 erases of 10593 periods each, 97 words of 35; the two queries take 1 ms each.
    const double restUs = static_cast<double>(ReadTranscript(run.transcript).back().timeUs) -
                          wireUs - static_cast<double>(pauseUs);
    EXPECT_NEAR(restUs, 21 * 10593 * 2.5 + 97 * 35 * 2.5 + 2 * 1000, 5);
}

}  // namespace
