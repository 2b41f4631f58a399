// SPDX-License-Identifier: MIT

// Boards of one's own: --model FILE.toml. What such a file may hold is tried with its reader.

#include <gtest/gtest.h>

#include "tests/commands/BoardFolder.h"
#include "tests/runs/Lines.h"

namespace commands {
namespace {

using runs::Has;

constexpr const char* kPump = R"(name = "PUMP2"
port = "/dev/ttyS7"
communication = "/dev/mcu"
chip = "msp430-56k-v110"
[lines]
reset = 17
rxd_nmi = 27
tck = 22
)";

/// Into the loader, as a program that knows these lines does it.
constexpr const char* kEnterLoader = R"(
import os
def write(name, text):
    file = os.open("/sys/class/gpio/" + name, os.O_WRONLY)
    os.write(file, text.encode())
    os.close(file)
for line in (17, 27, 22):
    write("export", str(line))
    write(f"gpio{line}/direction", "out")
for line, level in ((22, 1), (22, 0), (22, 1), (22, 0), (27, 1), (22, 1)):
    write(f"gpio{line}/value", str(level))
)";

std::vector<std::uint8_t> ToBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

void Write(const BoardFolder& folder, const std::string& text) {
    folder.Overwrite("pump.toml", ToBytes(text));
}

TEST(ModelFile, GivesABoardItsNamesItsPartAndItsLines) {
    const BoardFolder folder;
    Write(folder, kPump);
    folder.Does("new a.board --model pump.toml");
    const std::string page = folder.Does("show a.board");
    for (const char* part :
         {"model       PUMP2\nport        /dev/ttyS7, ", "\ncomm        /dev/mcu\n",
          "\nchip        msp430-56k-v110\n", "reset_gpio     gpio 17 ", "rxd_nmi_gpio   gpio 27 ",
          "msp_tck_gpio   gpio 22 "}) {
        EXPECT_TRUE(Has(page, part)) << part << "\n" << page;
    }
    EXPECT_TRUE(Has(folder.Does("show --json a.board"), "\"model\": \"PUMP2\""));
}

TEST(ModelFile, LeadsAProgramToTheChipOverItsOwnLinesAndDevices) {
    const BoardFolder folder;
    Write(folder, kPump);
    EXPECT_TRUE(Has(folder.Does("run --board a.board --model pump.toml -- flashmcu -v -c /dev/mcu"),
                    "Current MSP version is 256\n"));
    // The entry by hand, as a program that knows these lines would do it.
    folder.Overwrite("enter.py", ToBytes(kEnterLoader));
    const runs::Ended ended = folder.Vboard("run --quiet --board a.board -- python3 enter.py");
    EXPECT_EQ(ended.status, 0) << ended.error;
    EXPECT_TRUE(Has(folder.Does("show a.board"), "\nstate       loader\n"));
}

TEST(ModelFile, WithoutACommunicationDeviceGivesABoardWithoutOne) {
    const BoardFolder folder;
    std::string text = kPump;
    text.erase(text.find("communication"), text.find("chip") - text.find("communication"));
    Write(folder, text);
    folder.Does("new a.board --model pump.toml");
    EXPECT_TRUE(Has(folder.Does("show a.board"), "\ncomm        none\n"));
    EXPECT_TRUE(Has(folder.Does("show --json a.board"), "\"comm\": null"));
    const runs::Ended ended = folder.Vboard("run --quiet --board a.board -- flashmcu -v");
    EXPECT_EQ(ended.status, 255);
    EXPECT_TRUE(Has(ended.output, "error Error opening MSP for reading version\n"));
}

TEST(ModelFile, ThatIsWrongIsRefusedWithItsLinesAndWhatIsAccepted) {
    const BoardFolder folder;
    std::string text = kPump;
    text.replace(text.find("-v110"), 5, "-v111");
    text.replace(text.find("tck"), 3, "tkc");
    Write(folder, text);
    const runs::Ended ended = folder.Vboard("new a.board --model pump.toml");
    EXPECT_EQ(ended.status, 125);
    EXPECT_EQ(
        ended.error,
        "vboard: pump.toml:4: there is no chip 'msp430-56k-v111'; it can be msp430-56k, "
        "msp430-56k-v110, msp430-56k-v202 or msp430-56k-key\n"
        "vboard: pump.toml:5: the key 'lines.tck' is missing\n"
        "vboard: pump.toml:8: there is no key 'lines.tkc'; it can be reset, rxd_nmi or tck\n");
}

TEST(ModelFile, WithWhatTheVirtualBoardDoesNotHaveIsRefused) {
    const BoardFolder folder;
    std::string text = kPump;
    text.replace(text.find("17"), 2, "512");
    Write(folder, text);
    EXPECT_EQ(folder.Refuses("run --model pump.toml -- true"),
              "vboard: pump.toml: 'lines' takes three different numbers from 0 to 255 for reset, "
              "RxD/NMI and TCK, as 90,86,91, not '512,27,22'\n");
}

TEST(OwnLines, AreThreeDifferentNumbers) {
    const BoardFolder folder;
    for (const char* lines : {"", "1", "1,2", "1,2,", "1,2,3,4", "1,2,2", "1,2,256", "a,b,c"}) {
        EXPECT_TRUE(Has(folder.Refuses(std::string("new a.board --option lines=") + lines),
                        "'lines' takes three different numbers"))
            << lines;
    }
    EXPECT_TRUE(Has(folder.Refuses("new a.board --option name=a/b"), "'name' takes letters"));
}

}  // namespace
}  // namespace commands
