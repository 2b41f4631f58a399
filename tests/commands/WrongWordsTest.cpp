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
         "--pace: '0' is not a number above 0 (see vboard run --help)"},
        {"run --pace inf -- flashmcu -v",
         "--pace: 'inf' is not a number above 0 (see vboard run --help)"},
        {"run --time-limit 3s -- flashmcu -v",
         "--time-limit: '3s' is not a number above 0 (see vboard run --help)"},
        {"run --noise 1.5 -- flashmcu -v",
         "--noise: '1.5' is not a number from 0 to 1 (see vboard run --help)"},
        {"run --noise nan -- flashmcu -v",
         "--noise: 'nan' is not a number from 0 to 1 (see vboard run --help)"},
    });
}

}  // namespace commands
