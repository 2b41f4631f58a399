// SPDX-License-Identifier: MIT

// vboard show, dump and list.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "image/IntelHex.h"
#include "tests/commands/BoardFolder.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Lines.h"
#include "vboard/board/BoardSetup.h"

namespace commands {
namespace {

using runs::Has;

TEST(ShowBoard, SaysAllThereIsToSee) {
    BoardFolder folder;
    folder.Does("new a.board --option flash-clock-hz=300000 --image " + BoardFolder::Blinky());
    EXPECT_EQ(folder.Does("show a.board"),
              "model       BRDA\n"
              "port        /dev/ttyS1, 9600 8N1 iflag=02400 oflag=05 lflag=0105073 cread clocal "
              "hupcl vmin=1 vtime=0\n"
              "comm        /dev/knxspi\n"
              "chip        msp430-56k\n"
              "state       application\n"
              "version     4660 (0x1234)\n"
              "loader      1.61, chip id f249, not entered\n"
              "option      flash-clock-hz=300000\n"
              "lines\n"
              "  reset_gpio     gpio 90   level 0  input, not exported\n"
              "  rxd_nmi_gpio   gpio 86   level 1  input, not exported\n"
              "  msp_tck_gpio   gpio 91   level 1  input, not exported\n"
              "  tristate       off\n"
              "memory\n"
              "  0x1000-0x10FF  information, segments of 64 bytes\n"
              "    0x1000-0x10FF  erased\n"
              "  0x2100-0xFFFF  main, segments of 512 bytes\n"
              "    0x2100-0x21FF  programmed, 160 of 256 bytes\n"
              "    0x2200-0xFDFF  erased\n"
              "    0xFE00-0xFFFF  programmed, 32 of 512 bytes\n");
}

TEST(ShowBoard, CountsTheBytesThatWereUnderEraseForTooShortATime) {
    BoardFolder folder;
    folder.Does("new a.board --chip msp430-56k-v110 --image " + BoardFolder::Blinky());
    // Three erases of 13 ms each, and then one that is refused.
    const runs::Ended ended = folder.Vboard(
        "run --board a.board --summary-file s --fault answer:erase#4=nak -- "
        "flashmcu -F -f " +
        BoardFolder::Blinky());
    EXPECT_EQ(ended.status, 255);
    EXPECT_TRUE(Has(ended.error,
                    "vboard: 768 bytes of flash are weakly erased and 0 weakly programmed: they "
                    "were under erase for less than 200 ms in all\n"))
        << ended.error;
    EXPECT_TRUE(Has(folder.Does("show a.board"),
                    "\n  erased for too short a time: 768 erased bytes, 0 programmed\n"));
    folder.Does("run --quiet --board a.board -- flashmcu -F -f " + BoardFolder::Blinky());
    const auto object = nlohmann::json::parse(folder.Does("show --json a.board"));
    EXPECT_EQ(object.at("weak_bytes").dump(), R"({"erased":0,"programmed":0})");
}

TEST(ShowBoard, SaysTheSameToPrograms) {
    BoardFolder folder;
    folder.Does("new a.board --start loader --model BRDC");
    const auto object = nlohmann::json::parse(folder.Does("show --json a.board"));
    EXPECT_EQ(object.at("model"), "BRDC");
    EXPECT_EQ(object.at("state"), "loader");
    EXPECT_TRUE(object.at("version").is_null());
    EXPECT_EQ(object.at("loader").at("entered"), true);
    EXPECT_EQ(object.at("loader").at("unlocked"), false);
    EXPECT_EQ(object.at("options").at("start"), "loader");
    EXPECT_EQ(object.at("lines").at("rxd_nmi_gpio").at("gpio"), 6);
    EXPECT_EQ(object.at("memory").at(1).at("stretches").at(0).at("programmed_bytes"), 3);
}

TEST(ShowBoard, SeesWhatARunLeftBehind) {
    BoardFolder folder;
    folder.Does("new a.board");
    const runs::Ended ended =
        folder.Vboard("run --quiet --board a.board --fault answer:write#2=silence -- flashmcu -f " +
                      BoardFolder::Blinky());
    EXPECT_EQ(ended.status, 124);
    const std::string page = folder.Does("show a.board");
    EXPECT_TRUE(Has(page, "\nstate       loader\n")) << page;
    EXPECT_TRUE(Has(page, "entered, unlocked\n")) << page;
    EXPECT_TRUE(Has(page, "9600 8E1 raw")) << page;
}

TEST(DumpBoard, GivesBackTheImageThatTheBoardWasMadeFrom) {
    for (const std::string& image : {BoardFolder::Blinky(), BoardFolder::Big()}) {
        BoardFolder folder;
        folder.Does("new a.board --image " + image);
        folder.Does("dump a.board -o a.hex");
        folder.Does("new b.board --image a.hex");
        folder.Does("dump b.board --output b.hex");
        EXPECT_EQ(folder.Bytes("a.hex"), folder.Bytes("b.hex")) << image;
        image::MemoryImage dumped;
        image::MemoryImage given;
        std::string problem;
        ASSERT_TRUE(image::ReadIntelHex(folder.Does("dump a.board"), dumped, problem)) << problem;
        ASSERT_TRUE(image::ReadIntelHex(runs::ReadFile(image), given, problem)) << problem;
        for (unsigned address = 0; address < image::MemoryImage::kSizeBytes; ++address) {
            const auto at = static_cast<std::uint16_t>(address);
            ASSERT_EQ(dumped.At(at), given.At(at)) << std::hex << address;
        }
    }
}

TEST(DumpBoard, IsReadByOtherTools) {
    if (std::system("command -v srec_cmp >/dev/null") != 0) {
        GTEST_SKIP() << "srec_cmp is missing (scripts/install-packages test)";
    }
    BoardFolder folder;
    folder.Does("new a.board");
    const std::string programming =
        "run --quiet --board a.board -- flashmcu -f " + BoardFolder::Big();
    EXPECT_EQ(folder.Vboard(programming).status, 0);
    folder.Does("dump a.board -o a.hex");
    const std::string fill = " -Intel -fill 0xFF 0x1000 0x10000";
    const std::string compare =
        "srec_cmp " + folder.PathOf("a.hex") + fill + " " + BoardFolder::Big() + fill;
    EXPECT_EQ(std::system(compare.c_str()), 0) << compare;
}

/// The bytes from the first one of an Intel HEX file to 0xFFFF, as objcopy of the binutils has
/// them.
std::string BytesByObjcopy(const std::string& hexPath, const BoardFolder& folder) {
    const runs::Ended ended =
        runs::RunProcess({"objcopy", "-I", "ihex", "-O", "binary", "--gap-fill", "0xFF", "--pad-to",
                          "0x10000", hexPath, "flash.bin"},
                         folder.PathOf("."));
    EXPECT_EQ(ended.status, 0) << ended.error;
    return runs::ReadFile(folder.PathOf("flash.bin"));
}

TEST(DumpBoard, HasTheBytesThatObjcopyMakesOfTheImageThatWasProgrammed) {
    for (const vboard::ChipModel& chip : vboard::AllChipModels()) {
        for (const std::string& image : {BoardFolder::Blinky(), BoardFolder::Big()}) {
            const BoardFolder folder;
            folder.Does("new a.board --chip " + std::string(chip.name));
            folder.Does("run --quiet --board a.board -- flashmcu -f " + image);
            folder.Does("dump a.board -o a.hex");
            const std::string dumped = BytesByObjcopy("a.hex", folder);
            EXPECT_GT(dumped.size(), 0x10000U - 0x2200U) << chip.name;
            EXPECT_TRUE(dumped == BytesByObjcopy(image, folder)) << chip.name << ", " << image;
        }
    }
}

TEST(DumpBoard, SaysWhyItCantBeWritten) {
    BoardFolder folder;
    folder.Does("new a.board");
    EXPECT_EQ(folder.Refuses("dump a.board -o nowhere/a.hex"),
              "vboard: image 'nowhere/a.hex' can't be written: No such file or directory\n");
    EXPECT_EQ(folder.Refuses("dump a.board -o /dev/full"),
              "vboard: image '/dev/full' can't be written: No space left on device\n");
}

TEST(List, OfEveryTableIsAsItWasReviewed) {
    const BoardFolder folder;
    for (const std::string table : {"chips", "models", "options", "states", "faults"}) {
        const std::string path =
            FLASHMCU_SOURCE_DIR "/tests/commands/golden/list-" + table + ".txt";
        const std::string list = folder.Does("list " + table);
        if (std::getenv("UPDATE_GOLDEN") != nullptr) {
            std::ofstream(path) << list;
        }
        runs::ExpectSame(list, runs::ReadFile(path));
    }
}

}  // namespace
}  // namespace commands
