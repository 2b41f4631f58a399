// SPDX-License-Identifier: MIT
#include "tests/sweeps/Trial.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>

#include "tests/runs/Lines.h"
#include "tests/runs/Transcript.h"
#include "tests/sweeps/Conversation.h"
#include "vboard/text/Format.h"

namespace sweeps {
namespace {

constexpr std::ptrdiff_t kMainMemoryStart = 0x2100;

/// "SOURCE:LINE LEVEL TEXT" without the line number.
std::vector<std::string> LogLines(const std::string& output) {
    std::vector<std::string> lines = runs::LinesOf(output);
    for (std::string& line : lines) {
        const std::size_t colon = line.find(':');
        const std::size_t blank = line.find(' ', colon);
        if (colon != std::string::npos && blank != std::string::npos) {
            line.erase(colon, blank - colon);
        }
    }
    return lines;
}

std::string DifferenceOf(const std::vector<std::string>& expected,
                         const std::vector<std::string>& printed) {
    const auto [wanted, got] =
        std::mismatch(expected.begin(), expected.end(), printed.begin(), printed.end());
    if (wanted == expected.end() && got == printed.end()) {
        return {};
    }
    return vboard::Formatted(
        "log line {}: expected '{}', printed '{}'", std::distance(expected.begin(), wanted) + 1,
        wanted == expected.end() ? "(none)" : *wanted, got == printed.end() ? "(none)" : *got);
}

bool HoldsImage(const Ended& ended, const Image& image) {
    return std::equal(image.Memory().begin() + kMainMemoryStart, image.Memory().end(),
                      ended.memory.begin() + kMainMemoryStart, ended.memory.end());
}

/// The program may wait for ever only where the chip owes it an answer to a frame that was written
/// whole.
bool WaitsForTheChip(const std::vector<Event>& recording) {
    if (recording.empty()) {
        return false;
    }
    const Event& last = recording.back();
    return last.name == "write" && last.target == "/dev/ttyS1" && !last.failed;
}

Verdict Judge(const Image& image, const Ended& ended) {
    const std::vector<Event> recording = EventsOf(ended.transcript);
    const Expectation expected = Follow(recording, image, false);
    Verdict verdict;
    verdict.log = LogLines(ended.output);
    verdict.problem = expected.problem;
    if (verdict.problem.empty()) {
        verdict.problem = DifferenceOf(expected.log, verdict.log);
    }
    const bool cut = ended.status == kExitHeld || ended.status == kExitKilled;
    if (verdict.problem.empty() && expected.complete == cut) {
        verdict.problem = vboard::Formatted(
            "status {}: {}", ended.status,
            cut ? "cut short behind its end" : "ended in the middle of a conversation");
    }
    if (verdict.problem.empty() && expected.complete && expected.status != ended.status) {
        verdict.problem =
            vboard::Formatted("status {} where {} was due", ended.status, expected.status);
    }
    switch (ended.status) {
        case kExitSuccess:
            verdict.outcome = HoldsImage(ended, image) ? Outcome::kComplete : Outcome::kIncomplete;
            break;
        case kExitFailure:
            verdict.outcome = Outcome::kFailed;
            break;
        case kExitKilled:
            verdict.outcome = Outcome::kKilled;
            break;
        case kExitHeld:
            verdict.outcome = runs::Has(ended.problems, "ordered not to return") ? Outcome::kHeld
                                                                                 : Outcome::kSilent;
            if (verdict.outcome == Outcome::kSilent && !WaitsForTheChip(recording)) {
                verdict.problem = "waits for ever although the chip owes no answer";
            }
            break;
        default:
            verdict.problem = vboard::Formatted("status {}: {}", ended.status, ended.problems);
            break;
    }
    return verdict;
}

/// Where two texts part: the line of each.
std::string FirstDifference(const char* what, const std::string& here, const std::string& there) {
    if (here == there) {
        return {};
    }
    const std::vector<std::string> mine = runs::LinesOf(here);
    const std::vector<std::string> theirs = runs::LinesOf(there);
    const auto [my, their] = std::mismatch(mine.begin(), mine.end(), theirs.begin(), theirs.end());
    return vboard::Formatted("line {} of the {} is '{}' where the programs have '{}'",
                             std::distance(mine.begin(), my) + 1, what,
                             my == mine.end() ? "(none)" : *my,
                             their == theirs.end() ? "(none)" : *their);
}

/// "" where a run was the same both ways.
std::string DifferenceOf(const Ended& tool, const Ended& programs) {
    if (tool.status != programs.status) {
        return vboard::Formatted("status {} where the programs end with {}: {}", tool.status,
                                 programs.status, programs.problems);
    }
    for (const std::string& difference :
         {FirstDifference("transcript", tool.transcript, programs.transcript),
          FirstDifference("log", tool.output, programs.output)}) {
        if (!difference.empty()) {
            return difference;
        }
    }
    return std::equal(tool.memory.begin(), tool.memory.end(), programs.memory.begin(),
                      programs.memory.end())
               ? ""
               : "the chip's memory is another one than after the run of the programs";
}

/// Makes a difference between the two ways a problem of the run.
void Compare(const Image& image, const Ended& tool, const Ended& programs, Verdict& verdict) {
    std::string difference = DifferenceOf(tool, programs);
    if (difference.empty() && Judge(image, programs).outcome != verdict.outcome) {
        difference = "the outcome is another one than that of the programs";
    }
    if (!difference.empty()) {
        verdict.problem += (verdict.problem.empty() ? "" : "\n    ") + difference;
    }
}

}  // namespace

std::string ReplayText(const std::string& imageName, const std::vector<std::string>& rules) {
    std::string text = "vboard run";
    for (const std::string& rule : rules) {
        text += vboard::Formatted(" --fault '{}'", rule);
    }
    return vboard::Formatted("{} -- flashmcu -f tests/sweeps/images/{}.hex", text, imageName);
}

Worker::Worker(const Tools& tools, unsigned number)
    : m_folder(tools.folder),
      m_programs(tools.vboard, tools.flashmcu, tools.folder,
                 vboard::Formatted("worker-{}", number)) {}

std::string Worker::PathOf(const Image& image) const {
    return vboard::Formatted("{}/{}.hex", m_folder, image.Name());
}

Verdict Worker::Run(const Image& image, const std::vector<std::string>& rules, bool compared) {
    m_tool.Renew();
    m_programs.Renew();
    return RunAgain(image, rules, compared);
}

Verdict Worker::RunAgain(const Image& image, const std::vector<std::string>& rules, bool compared) {
    const Ended ended = m_tool.Run(PathOf(image), rules);
    Verdict verdict = Judge(image, ended);
    if (compared) {
        Compare(image, ended, m_programs.Run(PathOf(image), rules), verdict);
    }
    return verdict;
}

Places Worker::FindPlaces(const Image& image) {
    m_tool.Renew();
    const Ended ended = m_tool.Run(PathOf(image), {});
    Places places;
    places.calls = CallsOf(m_tool.Calls());
    for (const runs::TranscriptLine& line : runs::ReadTranscript(ended.transcript)) {
        std::istringstream words{std::string(line.words)};
        const std::string_view column = line.column;
        std::string first;
        words >> first;
        if (column == "wire") {
            const auto count =
                static_cast<unsigned>(std::distance(std::istream_iterator<std::string>(words), {}));
            (first == ">" ? places.charactersToChip : places.charactersToHost) += count;
        } else if (column == "loader") {
            ++places.answers;
        } else if (column == "line") {
            for (std::size_t i = 0; i < std::size(kLines); ++i) {
                places.edges[i] += first == kLines[i] ? 1 : 0;
            }
        }
    }
    return places;
}

}  // namespace sweeps
