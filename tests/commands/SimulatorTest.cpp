// SPDX-License-Identifier: MIT

// What a run leaves in the flash, judged by a simulator of the processor that nobody here wrote:
// Debian's mspdebug loads the dump and runs it from the reset vector.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/commands/BoardFolder.h"

namespace commands {
namespace {

TEST(ASimulatorOfTheProcessor, RunsTheDumpedFlashFromItsResetVectorUntilTheLightHasFlashed) {
    if (std::system("command -v mspdebug >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "mspdebug is missing (scripts/install-packages test)";
    }
    const BoardFolder folder;
    folder.Does("new a.board --chip msp430-56k-v110");
    folder.Does("run --quiet --board a.board -- flashmcu -f " + BoardFolder::Blinky());
    folder.Does("dump a.board -o dump.hex");
    // The loop between two flashes is cut to one turn once the start-up code has set its length.
    const runs::Ended ended = runs::RunProcess(
        {"mspdebug", "-q", "sim", "load dump.hex", "reset", "regs", "md 0xffe0 32", "step 100",
         "md 0x1100 4", "mw 0x1100 1 0", "mw 0x20f8 1 0", "step 400", "md 0x1100 4"},
        folder.PathOf("."));
    EXPECT_NE(ended.output.find("Done, 208 bytes total"), std::string::npos) << ended.output;
    EXPECT_NE(ended.output.find("( PC: 02104)"), std::string::npos) << ended.output;
    EXPECT_NE(ended.output.find("0fff0: 3c 21 3c 21 3c 21 3c 21 3c 21 3c 21 3c 21 04 21"),
              std::string::npos)
        << ended.output;
    // 20,000 turns and no flash yet; then 26 flashes of one turn each.
    EXPECT_NE(ended.output.find("01100: 20 4e 00 00"), std::string::npos) << ended.output;
    EXPECT_NE(ended.output.find("01100: 01 00 1a 00"), std::string::npos) << ended.output;
}

}  // namespace
}  // namespace commands
