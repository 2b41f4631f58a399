// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/commands/BoardFolder.h"

// A command line that was typed wrong: one line that names the word and says what to do.

namespace commands {
namespace {

using Lines = std::vector<std::pair<std::string, std::string>>;

void ExpectRefused(const Lines& lines) {
    const BoardFolder folder;
    for (const auto& [words, answer] : lines) {
        EXPECT_EQ(folder.Refuses(words), "vboard: " + answer + "\n") << "vboard " << words;
    }
}

}  // namespace

TEST(WrongWords, ThatAreNoCommandAreToldTheCommands) {
    ExpectRefused({
        {"", "do what? run, new, show, dump or list"},
        {"rnu -- flashmcu -v", "'rnu' is no command: take run, new, show, dump or list"},
        {"--nonsense", "'--nonsense' is no command: take run, new, show, dump or list"},
        {"list", "list what? chips, models, options, states or faults"},
        {"list chip", "'chip' is no list: take chips, models, options, states or faults"},
    });
}

TEST(WrongWords, ThatAreTooManyAreNamed) {
    ExpectRefused({
        {"show a.board b.board", "'b.board' is not known here (see vboard show --help)"},
        {"list chips models", "'models' is not known here (see vboard list --help)"},
        {"--nonsense list chips", "'--nonsense' is not known here (see vboard list --help)"},
        {"run --pase 1 -- flashmcu -v", "'--pase' is not known here (see vboard run --help)"},
    });
}

TEST(WrongWords, OfAProgramWithoutTheDashesAreToldWhereItStands) {
    ExpectRefused({
        {"run flashmcu -f a.hex",
         "'flashmcu' is not known here: the program stands behind -- (see vboard run --help)"},
        {"run", "no program: vboard run [OPTIONS] -- PROGRAM [ARGS...]"},
    });
}

TEST(WrongWords, InPlaceOfANumberAreToldWhichNumbersAreTaken) {
    ExpectRefused({
        {"run --pace 0 -- flashmcu -v",
         "--pace: '0' is not a number from 0.000001 to 1000000 (see vboard run --help)"},
        {"run --pace inf -- flashmcu -v",
         "--pace: 'inf' is not a number from 0.000001 to 1000000 (see vboard run --help)"},
        {"run --pace 1e-300 -- flashmcu -v",
         "--pace: '1e-300' is not a number from 0.000001 to 1000000 (see vboard run --help)"},
        {"run --time-limit 3s -- flashmcu -v",
         "--time-limit: '3s' is not a number of seconds from 0.000000001 to 7000000000 (see vboard "
         "run --help)"},
        {"run --time-limit 1e10 -- flashmcu -v",
         "--time-limit: '1e10' is not a number of seconds from 0.000000001 to 7000000000 (see "
         "vboard run --help)"},
        {"run --time-limit 1e-12 -- flashmcu -v",
         "--time-limit: '1e-12' is not a number of seconds from 0.000000001 to 7000000000 (see "
         "vboard run --help)"},
        {"run --noise 0.1 --seed 18446744073709551616 -- flashmcu -v",
         "--seed: '18446744073709551616' is not a whole number from 0 to 18446744073709551615 (see "
         "vboard run --help)"},
        {"run --noise 0.1 --seed -1 -- flashmcu -v",
         "--seed: '-1' is not a whole number from 0 to 18446744073709551615 (see vboard run "
         "--help)"},
        {"run --noise 1.5 -- flashmcu -v",
         "--noise: '1.5' is not a number from 0 to 1 (see vboard run --help)"},
        {"run --noise nan -- flashmcu -v",
         "--noise: 'nan' is not a number from 0 to 1 (see vboard run --help)"},
    });
}

TEST(WrongWords, ThatNameNoFileAreRefused) {
    const BoardFolder folder;
    for (const char* option : {"--board", "--transcript", "--vcd", "--wavejson", "--calls",
                               "--summary-file", "--image", "--fault-plan", "--library"}) {
        const runs::Ended ended =
            runs::RunProcess({"vboard", "run", option, "", "--", "true"}, folder.PathOf("."));
        EXPECT_EQ(ended.status, 125);
        EXPECT_EQ(ended.error, "vboard: " + std::string(option) +
                                   ": '' names no file (see vboard run --help)\n");
    }
}

TEST(WrongWords, OfABoardThatCanNotBeAreRefused) {
    ExpectRefused({
        {"run --port /dev/x --comm /dev/x -- true",
         "'/dev/x' can't be both port and comm: give one of them another name"},
        {"new a.board --comm /dev/ttyS1",
         "'/dev/ttyS1' can't be both port and comm: give one of them another name"},
    });
}

TEST(WrongWords, OfNoTimeWithoutSupplyAreRefused) {
    const BoardFolder folder;
    const runs::Ended ended = runs::RunProcess(
        {"vboard", "run", "--fault", "power@0s=off 0s", "--", "true"}, folder.PathOf("."));
    EXPECT_EQ(ended.status, 125);
    EXPECT_NE(ended.error.find("'0s' is no time to be without"), std::string::npos) << ended.error;
}

TEST(HelpOfRun, NamesTheProgramAndNoChoiceTwice) {
    const std::string help = BoardFolder().Does("run --help");
    EXPECT_NE(help.find("Usage: vboard run [OPTIONS] -- PROGRAM [ARGS...]\n"), std::string::npos)
        << help;
    EXPECT_EQ(help.find(":{"), std::string::npos) << help;
}

}  // namespace commands
