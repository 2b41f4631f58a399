// SPDX-License-Identifier: MIT

// Runs what the pages show. A fenced block of kind "console" holds commands, each behind "$ ", and
// what they print; a line "..." stands for any lines.

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "tests/runs/Lines.h"
#include "tests/runs/Process.h"
#include "tests/support/TempFolder.h"

using runs::Ended;
using runs::LinesOf;
using runs::ReadFile;
using runs::RunProcess;

namespace {

using Lines = std::vector<std::string>;

struct Command {
    std::string text;
    Lines output;
};

std::vector<Command> CommandsOf(const std::string& page) {
    std::vector<Command> commands;
    bool inside = false;
    for (const std::string& line : LinesOf(page)) {
        if (line.starts_with("```")) {
            inside = line == "```console";
        } else if (inside && line.starts_with("$ ")) {
            commands.push_back({line.substr(2), {}});
        } else if (inside && !commands.empty()) {
            commands.back().output.push_back(line);
        }
    }
    return commands;
}

/// Whether the lines are the expected ones, each "..." of which stands for any number of them.
bool Matches(Lines::const_iterator expected, Lines::const_iterator expectedEnd,
             Lines::const_iterator line, Lines::const_iterator end) {
    for (; expected != expectedEnd; ++expected, ++line) {
        if (*expected == "...") {
            for (auto rest = line;; ++rest) {
                if (Matches(expected + 1, expectedEnd, rest, end)) {
                    return true;
                }
                if (rest == end) {
                    return false;
                }
            }
        }
        if (line == end || *line != *expected) {
            return false;
        }
    }
    return line == end;
}

bool Matches(const Lines& expected, const Lines& lines) {
    return Matches(expected.begin(), expected.end(), lines.begin(), lines.end());
}

std::string Joined(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

/// A folder that looks like the repository after a build.
class Page : public testing::Test {
protected:
    Page() {
        Link("build", std::filesystem::path(FLASHMCU_PROGRAM_DIR).parent_path());
        for (const char* name : {"demo", "docs", "examples", "scripts", "tests"}) {
            Link(name, std::filesystem::path(FLASHMCU_SOURCE_DIR) / name);
        }
    }

    /// Runs the page's commands in order, as a person would in one shell.
    void ExpectWhatItShows(const std::string& page) {
        const std::vector<Command> commands =
            CommandsOf(ReadFile(std::string(FLASHMCU_SOURCE_DIR) + "/" + page));
        EXPECT_FALSE(commands.empty());
        int status = 0;
        for (const Command& command : commands) {
            // The programs are those of this build, not built anew by the demonstration.
            const std::string script = "export FLASHMCU_BUILD=build; exec 2>&1; (exit " +
                                       std::to_string(status) + "); " + command.text;
            const Ended ended = RunProcess({"bash", "-c", script}, m_folder.PathOf("."));
            status = ended.status;
            EXPECT_TRUE(Matches(command.output, LinesOf(ended.output)))
                << page << " shows for\n$ " << command.text << "\n"
                << Joined(command.output) << "but it prints\n"
                << ended.output;
        }
    }

private:
    void Link(const std::string& name, const std::filesystem::path& target) {
        std::filesystem::create_symlink(target, m_folder.PathOf(name));
    }

    TempFolder m_folder;
};

TEST_F(Page, ReadmePrintsWhatItShows) {
    ExpectWhatItShows("README.md");
}

TEST_F(Page, HazardsPrintsWhatItShows) {
    ExpectWhatItShows("docs/HAZARDS.md");
}

TEST_F(Page, ContributingPrintsWhatItShows) {
    ExpectWhatItShows("CONTRIBUTING.md");
}

TEST(PageComparison, TakesThreeDotsForAnyLines) {
    const Lines shown{"a", "...", "d"};
    EXPECT_TRUE(Matches(shown, {"a", "b", "c", "d"}));
    EXPECT_TRUE(Matches(shown, {"a", "d"}));
    EXPECT_TRUE(Matches(shown, {"a", "d", "d"}));
    EXPECT_FALSE(Matches(shown, {"a", "b", "c"}));
    EXPECT_FALSE(Matches(shown, {"a", "d", "e"}));
    EXPECT_FALSE(Matches(shown, {"b", "d"}));
    EXPECT_FALSE(Matches(shown, {}));
}

}  // namespace
