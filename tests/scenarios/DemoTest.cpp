// SPDX-License-Identifier: MIT

// The demonstration: its command line, and images of one's own. What it shows when all is well
// stands in the README, which a test runs.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Lines.h"
#include "tests/runs/Process.h"
#include "tests/support/HexText.h"
#include "tests/support/TempFolder.h"

using runs::Ended;
using runs::Has;
using runs::RunProcess;

namespace {

constexpr const char* kDemo = FLASHMCU_SOURCE_DIR "/demo";

/// Words of bash, with the programs of this build and time that passes quickly.
Ended InShell(const TempFolder& folder, const std::string& words) {
    return RunProcess(
        {"bash", "-c",
         "export FLASHMCU_PACE=50 FLASHMCU_BUILD=" FLASHMCU_PROGRAM_DIR "/..; " + words},
        folder.PathOf("."));
}

Ended WithImage(const std::string& image) {
    const TempFolder folder;
    static_cast<void>(folder.WriteFile("own.hex", image));
    return InShell(folder, std::string(kDemo) + " own.hex");
}

void ExpectRefused(std::vector<std::string> arguments, const std::string& problem) {
    const TempFolder folder;
    arguments.insert(arguments.begin(), kDemo);
    const Ended ended = RunProcess(arguments, folder.PathOf("."));
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.error, "./demo: " + problem + "\n");
}

void ExpectImageRefused(const std::string& image, const std::string& problem) {
    const Ended ended = WithImage(image);
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.error, "./demo: the image has " + problem + "\n");
}

std::string Vectors() {
    Bytes vectors(32, 0xFF);
    vectors[30] = 0x04;
    vectors[31] = 0x21;
    return hex::Data(0xFFE0, vectors);
}

/// An image that reports this version, with this record in it.
std::string ImageOf(std::uint16_t version, const std::string& record = "") {
    return hex::Data(0x2100, {static_cast<std::uint8_t>(version & 0xFFU),
                              static_cast<std::uint8_t>(version >> 8U)}) +
           record + Vectors() + hex::EndOfFile();
}

TEST(Demo, WithABadArgumentSaysSoInOneLineAndDoesNothing) {
    ExpectRefused({"--helpp"}, "there is no option '--helpp': ./demo [IMAGE.hex]");
    ExpectRefused({"a.hex", "b.hex"}, "takes one image at most: ./demo [IMAGE.hex]");
    ExpectRefused({"missing.hex"}, "there is no image 'missing.hex'");
    ExpectRefused({""}, "there is no image ''");
    ExpectRefused({"."}, "the image '.' is not a file that can be read");
}

TEST(Demo, AskedForHelpSaysWhatItDoesAndHowLongThatTakes) {
    for (const char* option : {"--help", "-h"}) {
        const TempFolder folder;
        const Ended ended = RunProcess({kDemo, option}, folder.PathOf("."));
        EXPECT_EQ(ended.status, 0);
        EXPECT_TRUE(ended.output.starts_with("usage: ./demo [--guard] [IMAGE.hex]\n"));
        EXPECT_TRUE(Has(ended.output, "which needs 7 seconds"));
        EXPECT_EQ(ended.error, "");
    }
}

TEST(Demo, ProgramsAnImageOfTheVersionThatTheNewChipReportsToo) {
    const Ended ended = WithImage(ImageOf(256));
    EXPECT_EQ(ended.status, 0) << ended.output << ended.error;
    EXPECT_TRUE(Has(ended.output,
                    "the chip now holds all 34 bytes of the image.\n"
                    "Its firmware runs and reports version 256.\n"))
        << ended.output;
}

TEST(Demo, ExplainsAnImageThatFlashmcuWouldMisread) {
    std::string lower = ImageOf(0xABCD);
    for (char& digit : lower) {
        digit = static_cast<char>(tolower(digit));
    }
    const std::string remedy = ": scripts/repack-image own.hex OUT.hex, then ./demo OUT.hex";
    ExpectImageRefused(lower, "lower-case digits, which flashmcu reads as other numbers" + remedy);
    ExpectImageRefused(ImageOf(1, hex::Data(0x2203, {1, 2})),
                       "a record at the odd address 0x2203, which the loader refuses" + remedy);
    ExpectImageRefused(hex::Data(0x2200, {1, 2}) + Vectors() + hex::EndOfFile(),
                       "no word at 0x2100, where flashmcu looks for its version: put one there, as "
                       "examples/blinky does, or start flashmcu yourself with -l ADDRESS");
}

TEST(Demo, ExplainsWhyAnImageWithoutAResetVectorFails) {
    const Ended ended = WithImage(hex::Data(0x2100, {1, 1}) + hex::EndOfFile());
    EXPECT_EQ(ended.status, 255);
    EXPECT_TRUE(Has(ended.output, "The image has no reset vector at 0xFFFE")) << ended.output;
}

TEST(Demo, ShowsNoRawByteOfTheLog) {
    std::string image = ImageOf(1, hex::DataWithChecksum(0x2200, {1, 2}, 0x1B));
    const Ended ended = WithImage(image);
    EXPECT_FALSE(Has(ended.output, "\x1B"));
}

TEST(Demo, DrawsABarWhileItDownloadsToATerminalAlone) {
    const TempFolder folder;
    static_cast<void>(folder.WriteFile("own.hex", ImageOf(1)));
    const std::string demo = std::string(kDemo) + " own.hex";
    const Ended shown = InShell(folder, "script -qec '" + demo + "' /dev/null");
    EXPECT_EQ(shown.status, 0) << shown.output;
    EXPECT_TRUE(Has(shown.output, "\r  [")) << shown.output;
    EXPECT_TRUE(Has(shown.output, " %\r\x1B[K")) << shown.output;
    EXPECT_FALSE(Has(InShell(folder, demo).output, "["));
}

TEST(Demo, WithGuardLetsFlashguardDoItWithABarOfItsOwn) {
    const TempFolder folder;
    static_cast<void>(folder.WriteFile("own.hex", ImageOf(7, hex::Data(0x2104, {0x30, 0x41}))));
    static_cast<void>(folder.WriteFile("bad.hex", ":00\n"));
    const std::string demo = std::string(kDemo) + " --guard own.hex";
    const Ended shown = InShell(folder, "script -qec '" + demo + "' /dev/null");
    EXPECT_EQ(shown.status, 0) << shown.output;
    EXPECT_TRUE(Has(shown.output, "\r\x1B[K[##########")) << shown.output;
    EXPECT_TRUE(Has(shown.output, "installed version 7: 36 bytes in 4 blocks")) << shown.output;
    EXPECT_TRUE(Has(shown.output, "the chip now holds all 36 bytes of the image.")) << shown.output;
    const Ended refused = InShell(folder, std::string(kDemo) + " --guard bad.hex");
    EXPECT_EQ(refused.status, 10);
    EXPECT_TRUE(Has(refused.error, "bad.hex is refused, in line 1")) << refused.error;
}

// The folder's own demo, as root without the right to write everywhere, or as anybody.
TEST(Demo, SaysAtOnceWhatItDoesAndThatABuildOfAnotherUserIsInItsWay) {
    const TempFolder folder;
    const Ended ended =
        RunProcess({"bash", "-c",
                    "mkdir -m 555 build; mkdir -p examples/blinky; cp " FLASHMCU_SOURCE_DIR
                    "/examples/blinky/blinky.hex examples/blinky; cp " +
                        std::string(kDemo) +
                        " .; unset FLASHMCU_BUILD; ((EUID)) || "
                        "without='setpriv --bounding-set=-dac_override,-dac_read_search'; exec "
                        "$without ./demo"},
                   folder.PathOf("."));
    EXPECT_EQ(ended.status, 2);
    EXPECT_TRUE(
        ended.output.starts_with("This builds flashmcu and a virtual board, then programs a "
                                 "simulated chip in real time.\nThe first time takes about "))
        << ended.output;
    EXPECT_TRUE(ended.error.starts_with("./demo: the folder build belongs to ")) << ended.error;
}

}  // namespace
