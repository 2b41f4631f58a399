// SPDX-License-Identifier: MIT

// docs/HAZARDS.md as flashguard meets it: each listed fault on the listed image, for which the tool
// reports success with another memory than the image's.

#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "tests/runs/Process.h"
#include "tests/support/TempFolder.h"

using runs::Ended;
using runs::RunProcess;

namespace {

const std::string kRoot = FLASHMCU_SOURCE_DIR;

struct Row {
    std::string name;
    std::string image;
    std::string rule;
    std::string does;  ///< The last column.
};

/// The rows that name a rule.
std::vector<Row> Rows() {
    const std::regex row("^\\| `([^`]+)` \\| `([^`]+)` \\| `([^`]+)` \\|.*\\| ([^|]+) \\|$");
    std::vector<Row> rows;
    std::ifstream file(kRoot + "/docs/HAZARDS.md");
    for (std::string line; std::getline(file, line);) {
        std::smatch match;
        if (std::regex_match(line, match, row)) {
            rows.push_back({match[1], match[2], match[3], match[4]});
        }
    }
    return rows;
}

/// flashguard on a kept board, which is compared with the image afterwards.
Ended Install(const TempFolder& folder, const std::string& image,
              const std::vector<std::string>& options) {
    std::vector<std::string> words{"vboard", "run", "--board", "kept", "--image", image};
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), {"--summary-file", "summary", "--", "flashguard", "install", image,
                               "--lock-folder", "."});
    return RunProcess(words, folder.PathOf("."));
}

bool HoldsTheImage(const TempFolder& folder) {
    return runs::ReadFile(folder.PathOf("summary")).find("\"equal\": true") != std::string::npos;
}

TEST(EveryListedHazard, EndsWithTheImageInTheChipAfterFlashguard) {
    const auto rows = Rows();
    ASSERT_EQ(rows.size(), 3U);
    for (const Row& row : rows) {
        const TempFolder folder;
        const Ended ended = Install(folder, kRoot + "/tests/sweeps/images/" + row.image + ".hex",
                                    {"--fault", row.rule});
        EXPECT_EQ(ended.status, 0) << row.name << "\n" << ended.output << ended.error;
        EXPECT_TRUE(HoldsTheImage(folder)) << row.name;
        EXPECT_FALSE(row.does.empty());
    }
}

TEST(ARunThatIsCutShort, LeavesAChipThatTheNextRunProgramsWithoutBeingTold) {
    const std::string image = kRoot + "/tests/sweeps/images/vectors-first.hex";
    for (const char* rule : {"call#120=kill", "call#240=kill", "call#360=kill"}) {
        const TempFolder folder;
        const Ended cut = Install(folder, image, {"--fault", rule});
        EXPECT_EQ(cut.status, 128 + 9) << rule << "\n" << cut.output << cut.error;
        const Ended next = Install(folder, image, {});
        EXPECT_EQ(next.status, 0) << rule << "\n" << next.output << next.error;
        EXPECT_TRUE(HoldsTheImage(folder)) << rule;
    }
}

TEST(AnImageThatWasDamaged, IsRefusedWhereTheToolReportsSuccess) {
    const std::string blinky = runs::ReadFile(kRoot + "/examples/blinky/blinky.hex");
    std::string lostRecord = blinky;
    lostRecord[lostRecord.find("\n:") + 1] = ';';
    for (const std::string& text : {lostRecord, ":02110000AAAA99\n" + blinky}) {
        const TempFolder folder;
        static_cast<void>(folder.WriteFile("a.hex", text));
        const Ended ended = RunProcess({"flashguard", "install", "a.hex"}, folder.PathOf("."));
        EXPECT_EQ(ended.status, 10) << ended.output << ended.error;
    }
}

}  // namespace
