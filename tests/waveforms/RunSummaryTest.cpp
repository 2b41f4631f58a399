// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Process.h"
#include "tests/support/TempFolder.h"

namespace waveforms {
namespace {

using Json = nlohmann::ordered_json;

/// The folder of one run, and the run.
class Summarized {
public:
    explicit Summarized(std::vector<std::string> options,
                        const std::vector<std::string>& program = {"flashmcu", "-f",
                                                                   runs::BlinkyPath()}) {
        std::vector<std::string> words = {"vboard", "run"};
        words.insert(words.end(), options.begin(), options.end());
        words.emplace_back("--");
        words.insert(words.end(), program.begin(), program.end());
        m_ended = runs::RunProcess(words, m_folder.PathOf(""));
    }

    [[nodiscard]] int Status() const { return m_ended.status; }
    [[nodiscard]] const std::string& Error() const { return m_ended.error; }
    [[nodiscard]] Json OnStandardError() const { return Json::parse(m_ended.error); }
    [[nodiscard]] Json InFile() const {
        return Json::parse(runs::ReadFile(m_folder.PathOf("summary.json")));
    }

private:
    TempFolder m_folder;
    runs::Ended m_ended;
};

const std::vector<std::string> kTimes = {"line_ns", "chip_busy_ns", "pause_ns", "waiting_ns"};

TEST(TheSummaryForPrograms, OfAGoodRunIsOnStandardErrorAloneAndTellsWhatWasDone) {
    const Json summary =
        Summarized({"--summary", "json", "--image", runs::BlinkyPath()}).OnStandardError();
    EXPECT_EQ(summary["end"].dump(), R"({"status":0,"signal":null,"verdict":null})");
    EXPECT_EQ(summary["programs"], 1);
    // Detection, mass erase and update pause 1.25 s each; twice the version is asked for: two
    // pauses each of half a second, less one.
    EXPECT_EQ(summary["pause_ns"], 3 * 1'250'000'000LL + 3 * 500'000'000LL);
    EXPECT_EQ(summary["operations"]["detect"]["count"], 1);
    EXPECT_EQ(summary["operations"]["erase"]["count"], 1);
    EXPECT_EQ(summary["operations"]["program"]["count"], 1);
    EXPECT_EQ(summary["operations"]["reset"]["count"], 0);
    EXPECT_EQ(summary["operations"]["other"]["count"], 0);
    EXPECT_EQ(summary["acknowledged_bytes"], 194);
    EXPECT_EQ(summary["acknowledged_blocks"], 14);
    EXPECT_EQ(summary["retries"], 0);
    EXPECT_EQ(summary["chip"].dump(),
              R"({"mode":"application","version":4660,"weakly_erased_bytes":0,)"
              R"("weakly_programmed_bytes":0})");
    EXPECT_EQ(summary["flash"]["equal"], true);
    EXPECT_EQ(summary["flash"]["image_bytes"], 194);
    EXPECT_EQ(summary["flash"]["leftover_bytes"], 0);
}

TEST(TheSummaryForPrograms, HasTimesThatAddUp) {
    const Json summary =
        Summarized({"--summary", "json", "--fault", "answer:write#3=nak"}).OnStandardError();
    long long total = 0;
    for (const auto& [name, operation] : summary["operations"].items()) {
        long long parts = 0;
        for (const std::string& time : kTimes) {
            parts += operation[time].get<long long>();
        }
        EXPECT_EQ(parts, operation["virtual_time_ns"]) << name;
        total += parts;
    }
    EXPECT_EQ(total, summary["virtual_time_ns"]);
    EXPECT_EQ(summary["least_ns"],
              summary["line_ns"].get<long long>() + summary["chip_busy_ns"].get<long long>())
        << "a half-duplex conversation never has both lanes or line and flash at work at once";
    EXPECT_EQ(summary["retries"], 1);
    EXPECT_EQ(summary["refusals"], 1);
}

TEST(TheSummaryForPrograms, ComparesTheFlashWithTheImage) {
    const Summarized run({"--quiet", "--summary-file", "summary.json", "--image",
                          runs::BlinkyPath(), "--fault", "cell:0x2104=stuck-erased", "--fault",
                          "answer:write#*=ack"});
    EXPECT_EQ(run.Error(), "");
    const Json flash = run.InFile()["flash"];
    EXPECT_EQ(flash["equal"], false);
    EXPECT_EQ(flash["different_bytes"], 1);
    EXPECT_EQ(flash["first_difference"], "0x2104");
}

TEST(TheSummaryForPrograms, CountsWhatTheImageDoesNotCoverAndIsNotErased) {
    const Summarized run(
        {"--quiet", "--summary-file", "summary.json", "--image", runs::BlinkyPath()},
        {"flashmcu", "-r"});
    const Json flash = run.InFile()["flash"];
    EXPECT_EQ(flash["equal"], false);
    // Of a delivered board's firmware, one byte that is not 0xFF lies where the image has a gap.
    EXPECT_EQ(flash["leftover_bytes"], 1);
    EXPECT_EQ(run.InFile()["operations"]["reset"]["count"], 1);
}

TEST(TheSummaryForPrograms, IsCompleteAfterAKillOrAWaitForEver) {
    const Json killed =
        Summarized({"--quiet", "--summary-file", "summary.json", "--fault", "write:port#60=kill"})
            .InFile();
    EXPECT_EQ(killed["end"]["signal"], 9);
    EXPECT_EQ(killed["end"]["status"], nullptr);
    EXPECT_EQ(killed["operations"]["program"]["count"], 1);
    const Json stuck = Summarized({"--quiet", "--summary-file", "summary.json", "--fault",
                                   "answer:write#3=silence"})
                           .InFile();
    EXPECT_EQ(stuck["end"]["status"], 124);
    EXPECT_EQ(stuck["end"]["verdict"], "would wait for ever in read of /dev/ttyS1 for a byte");
}

TEST(TheSummaryForPrograms, IsTheSameToTheByteASecondTime) {
    const std::vector<std::string> options = {"--summary", "json", "--image", runs::BlinkyPath()};
    EXPECT_EQ(Summarized(options).Error(), Summarized(options).Error());
}

TEST(TheSummaryForPrograms, AddsUpSeveralProgramsOfOneRun) {
    const std::string twice = "flashmcu -r && flashmcu -r";
    const Json summary = Summarized({"--summary", "json"}, {"sh", "-c", twice}).OnStandardError();
    EXPECT_EQ(summary["programs"], 2);
    EXPECT_EQ(summary["operations"]["reset"]["count"], 2);
}

TEST(TheRunner, RefusesAnImageThatHasNoSummaryToStandIn) {
    const Summarized run({"--image", runs::BlinkyPath()});
    EXPECT_EQ(run.Status(), 125);
    EXPECT_EQ(run.Error(),
              "vboard: --image has no summary to stand in: add --summary json or --summary-file\n");
}

TEST(TheRunner, RefusesAnImageThatIsNoneBeforeTheProgramStarts) {
    const Summarized missing({"--summary", "json", "--image", "none.hex"});
    EXPECT_EQ(missing.Status(), 125);
    EXPECT_EQ(missing.Error(),
              "vboard: image 'none.hex' can't be read: No such file or directory\n");
    const Summarized foreign({"--summary", "json", "--image", "/dev/null"});
    EXPECT_EQ(foreign.Status(), 125);
    EXPECT_EQ(foreign.Error(), "vboard: image '/dev/null': line 1: the end record is missing\n");
}

TEST(TheRunner, RefusesAnUnknownFormOfTheSummary) {
    EXPECT_EQ(Summarized({"--summary", "xml"}).Status(), 125);
}

}  // namespace
}  // namespace waveforms
