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

/// The picture that a run leaves.
std::string PictureOf(const std::vector<std::string>& options,
                      const std::string& program = "flashmcu -f " + runs::BlinkyPath()) {
    const TempFolder folder;
    std::vector<std::string> words = {"vboard", "run", "--wavejson", "run.json"};
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), {"--", "sh", "-c", program});
    runs::RunProcess(words, folder.PathOf(""));
    return runs::ReadFile(folder.PathOf("run.json"));
}

std::string TitleOf(const std::string& picture) {
    return nlohmann::json::parse(picture)["head"]["text"];
}

TEST(ThePictureOfARun, IsWholeForEveryPartAndTheSameToTheByteASecondTime) {
    for (const char* part : {"run", "entry", "reset", "block", "retry"}) {
        const std::vector<std::string> options = {"--wave-part", part, "--fault",
                                                  "answer:write#2=nak"};
        const std::string picture = PictureOf(options);
        EXPECT_GT(nlohmann::json::parse(picture)["signal"].size(), 2U) << part;
        EXPECT_EQ(PictureOf(options), picture) << part;
    }
}

TEST(ThePictureOfARun, IsCompleteAfterAKillAndAfterAWaitForEver) {
    for (const char* fault : {"write:port#60=kill", "answer:write#3=silence"}) {
        // A sanitizer's own look at the clock takes the last microsecond.
        const std::string title = TitleOf(PictureOf({"--fault", fault}));
        EXPECT_EQ(title.substr(0, 26), "the whole run, from 0.5010") << title;
    }
}

TEST(ThePictureOfARun, GoesToAPipeToo) {
    const TempFolder folder;
    const std::string command =
        "vboard run --quiet --wavejson /dev/stderr -- sh -c 'flashmcu -r' 2>&1 >/dev/null | cat";
    const runs::Ended piped = runs::RunProcess({"sh", "-c", command}, folder.PathOf(""));
    EXPECT_EQ(piped.output, PictureOf({"--quiet"}, "flashmcu -r"));
}

TEST(ThePictureOfARun, IsThatOfTheLastOfSeveralPrograms) {
    const std::string picture = PictureOf({"--wave-part", "reset"}, "flashmcu -r && flashmcu -r");
    const std::string single = PictureOf({"--wave-part", "reset"}, "flashmcu -r");
    EXPECT_NE(TitleOf(picture), TitleOf(single));
    EXPECT_EQ(nlohmann::json::parse(picture)["signal"], nlohmann::json::parse(single)["signal"]);
}

TEST(ThePictureOfARun, SaysSoWhereThePartIsNotInTheRun) {
    EXPECT_EQ(TitleOf(PictureOf({"--wave-part", "retry"})),
              "not in this run: a frame that was not accepted, and the next try");
}

}  // namespace
}  // namespace waveforms
