// SPDX-License-Identifier: MIT
#include "tests/guard/sweep/Story.h"

#include <fstream>
#include <iterator>

#include "image/HexDigits.h"

namespace guard_sweep {
namespace {

class Teller : public guard::Progress {
public:
    explicit Teller(bool frames) : m_frames(frames) {}

    [[nodiscard]] const std::string& Text() const { return m_text; }

    void OnPhase(guard::Phase phase, std::uint32_t total) override {
        EndSteps();
        m_text += std::string(NameOf(phase)) + (total > 0 ? " of " + std::to_string(total) : "");
        m_inPhase = true;
    }
    void OnAdvance(std::uint32_t done) override { m_steps.push_back(done); }
    void OnNote(std::string_view text) override {
        EndSteps();
        m_text += "note: " + std::string(text) + "\n";
    }
    void OnFrame(bool toChip, std::span<const std::uint8_t> bytes) override {
        if (m_frames) {
            EndSteps();
            m_text += toChip ? ">" : "<";
            for (const std::uint8_t byte : bytes) {
                m_text += " " + image::HexDigits(byte, 2);
            }
            m_text += "\n";
        }
    }
    void OnLog(std::string_view /*line*/) override {}
    void OnVerdict(const guard::Verdict& verdict) override {
        EndSteps();
        m_text += std::string(NameOf(verdict.status)) + ", " +
                  std::string(NameOf(verdict.outcome)) + ", " + std::string(NameOf(verdict.chip)) +
                  "\n";
        Line("problem: " + verdict.problem, !verdict.problem.empty());
        Line("remedy: " + verdict.remedy, !verdict.remedy.empty());
        AddFigures(verdict);
        AddKnowledge(verdict);
    }

private:
    /// Few steps one by one; of many the first two, the last, and how many there were.
    void EndSteps() {
        constexpr std::size_t kFew = 6;
        const bool few = m_steps.size() <= kFew;
        for (std::size_t i = 0; i < m_steps.size() && (few || i < 2); ++i) {
            m_text += (i == 0 ? ": " : " ") + std::to_string(m_steps[i]);
        }
        if (!few) {
            m_text += " .. " + std::to_string(m_steps.back()) + ", in " +
                      std::to_string(m_steps.size()) + " steps";
        }
        m_text += m_inPhase || !m_steps.empty() ? "\n" : "";
        m_inPhase = false;
        m_steps.clear();
    }

    void Line(const std::string& text, bool there) { m_text += there ? text + "\n" : ""; }

    static void Add(std::string& line, bool there, const std::string& text) {
        line += there ? (line.empty() ? "" : ", ") + text : "";
    }

    void AddFigures(const guard::Verdict& verdict) {
        std::string line;
        const auto add = [&line](const std::string& name, std::uint32_t value) {
            Add(line, value != 0, name + " " + std::to_string(value));
        };
        add("entries", verdict.entries);
        add("sessions anew", verdict.reentries);
        add("retries", verdict.retries);
        add("refusals", verdict.refusals);
        add("line errors", verdict.lineErrors);
        add("erases", verdict.massErases);
        add("blocks", verdict.blocks);
        add("written", verdict.bytesWritten);
        add("read", verdict.bytesRead);
        add("baud", verdict.bitsPerSecond);
        Line(line, !line.empty());
    }

    void AddKnowledge(const guard::Verdict& verdict) {
        std::string line;
        const auto hex = [](std::uint16_t word) { return image::HexDigits(word, 4); };
        const auto loader = verdict.loader.value_or(guard::LoaderIdentity{});
        Add(line, verdict.versionBefore.has_value(),
            "before " + std::to_string(verdict.versionBefore.value_or(0)));
        Add(line, verdict.versionAfter.has_value(),
            "after " + std::to_string(verdict.versionAfter.value_or(0)));
        Add(line, verdict.loader.has_value(),
            "loader " + hex(loader.loaderVersion) + " of " + hex(loader.chipId));
        Add(line, verdict.differenceAt.has_value(),
            std::to_string(verdict.differingBytes) + " bytes differ from " +
                hex(verdict.differenceAt.value_or(0)));
        Add(line, !verdict.readSha256.empty(),
            verdict.readSha256 == verdict.contentSha256 ? "sums equal" : "sums differ");
        Line(line, !line.empty());
    }

    bool m_frames;
    std::string m_text;
    std::vector<std::uint32_t> m_steps;
    bool m_inPhase = false;
};

}  // namespace

// The run is in a child, from which a file brings the story.
std::string AStory::StoryOn(BoardRun& board, const Works& works, const Rules& rules) {
    const std::string path = PathOf("story");
    const Shared& shared = board.Run(
        [&](guard::Progress&) {
            Teller teller(frames);
            const guard::Verdict verdict = works(request, teller);
            std::ofstream(path) << teller.Text();
            return verdict;
        },
        {rules});
    std::ifstream file(path);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return shared.end == End::kItself ? text : "";
}

std::string AStory::StoryOf(const Works& works, const Rules& rules) {
    BoardRun board(settings);
    return StoryOn(board, works, rules);
}

std::string AStory::StoryAfter(const Works& works, const Rules& rules) {
    BoardRun board(settings);
    guard::Request plain;
    plain.board = request.board;
    plain.lockFolder = request.lockFolder;
    plain.image = request.image;
    const Operation installs = [&plain](guard::Progress& progress) {
        return guard::Install(plain, progress);
    };
    EXPECT_EQ(board.Run(installs, {}).status, guard::Status::kDone);
    return StoryOn(board, works, rules);
}

void AStory::WithSpeed(unsigned baud) {
    for (const guard::Speed& speed : request.board.chip.speeds) {
        if (speed.baud == baud) {
            request.speed = speed;
        }
    }
}

void AStory::Keeps(const guard::Password& password) {
    request.password = password;
    request.keepInformation = true;
    request.force = true;
}

}  // namespace guard_sweep
