// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "TestFlows.h"
#include "tests/support/HexText.h"
#include "tests/support/TempFolder.h"

using expected::Direction;
using expected::Log;
using flows::QueryAnswered;
using flows::RunTool;
using flows::Say;

namespace {

std::string Usage(const std::string& name = "flashmcu") {
    return "print " + name +
           " -f <hexfile> [-m <ip-module>] [-d <update-device>] [-c <comm-device>] "
           "[-l <version-location>] [-F] [-r]\n"
           "print     -m: Specifies the IP module settings to be used. Default=BRDA. Other values: "
           "BRDB, BRDC\n"
           "print     -f: Specifies the HEX file to program into the MSP\n"
           "print     -d: Specifies the RS232 device connected to the MSP programming port. "
           "Default=/dev/ttyS1\n"
           "print     -c: Specifies the device connected to the MSP communication port. Used for "
           "checking the firmware version. Default=/dev/knxspi\n"
           "print     -l: Specifies the location of the 16bit version in the HEX file. "
           "Default=0x2100\n"
           "print     -F: If specified, forces programing without checking the version first\n"
           "print     -r: If specified, the MSP is just resetted\n"
           "print     -v: If specified, the current MSP version is just read\n";
}

class CommandLine : public testing::Test {
protected:
    // These arguments are refused with the usage text after these words, and nothing is touched.
    void ExpectRefused(const std::vector<std::string>& arguments, const std::string& words = "") {
        m_host.Forget();
        EXPECT_EQ(RunTool(arguments), -1);
        EXPECT_EQ(m_host.Conversation(), words + Usage());
    }

    // The lines and the port that a reset with these arguments reaches for. The port can't be
    // opened, so that the run ends there.
    struct Board {
        std::string conversationOfExport;
        std::string port;
        std::string tristateDevice;
    };
    Board BoardOf(std::vector<std::string> arguments) {
        for (const char* port : {"/dev/ttyS1", "/dev/ttymxc1", "/dev/mine"}) {
            m_host.Device(port).CannotBeOpened(EBUSY);
        }
        m_host.Device("/dev/comm");
        m_host.Forget();
        arguments.emplace_back("-r");
        EXPECT_EQ(RunTool(arguments), -1);
        const std::string said = m_host.Conversation();
        const auto word = [&said](std::size_t from) {
            return said.substr(from, said.find(' ', from) - from);
        };
        const std::size_t tristate = said.find("\nopen ") + 6;
        const std::size_t port = said.rfind("\nopen ", said.find("|O_NOCTTY")) + 6;
        return {said.substr(0, said.find("log ")), word(port), word(tristate)};
    }

    static std::string Exports(const std::string& tck, const std::string& rxdNmi,
                               const std::string& reset) {
        const std::string file = "/sys/class/gpio/export";
        return "fopen " + file + " ab\nflush " + file + " \"" + tck + "\"\nflush " + file + " \"" +
               rxdNmi + "\"\nflush " + file + " \"" + reset + "\"\nfclose " + file + "\n" +
               Direction(reset, "out");
    }

    void ExpectBoard(const std::vector<std::string>& arguments, const std::string& port,
                     const std::string& reset, const std::string& rxdNmi, const std::string& tck,
                     const std::string& tristateDevice = "/dev/knxspi") {
        const Board board = BoardOf(arguments);
        EXPECT_EQ(board.port, port);
        EXPECT_EQ(board.conversationOfExport, Exports(tck, rxdNmi, reset));
        EXPECT_EQ(board.tristateDevice, tristateDevice);
    }

    // The version that a run with this value of "-l" reads from a file in which the words at 0,
    // 12, 0x2100 and 0xFFFF differ; the MSP reports the same, so that nothing is programmed.
    void ExpectLocation(const std::string& value, int version) {
        m_host.Forget();
        const std::string image = m_folder.WriteFile(
            "image.hex", hex::Data(0x0000, {0x01, 0x00}) + hex::Data(0x000C, {0x02, 0x00}) +
                             hex::Data(0x2100, {0x03, 0x00}) + hex::Data(0xFFFF, {0x04}) +
                             hex::EndOfFile());
        const Bytes reply{0xB5, static_cast<std::uint8_t>(version >> 8U),
                          static_cast<std::uint8_t>(version & 0xFF)};
        m_host.Device("/dev/knxspi").SendsMessage(reply);
        EXPECT_EQ(RunTool({"-l", value, "-f", image}), 0) << value;
        EXPECT_EQ(
            m_host.Conversation(),
            Say("info", "HEX file version is " + std::to_string(version)) + QueryAnswered(reply) +
                Say("info", "Current MSP version is " + std::to_string(version)) +
                Say("info", "Not programming MSP because it's firmware version is already current"))
            << value;
    }

    TempFolder m_folder;
    ScriptedHost m_host;
};

}  // namespace

TEST_F(CommandLine, OfTheProgramsNameAloneIsRefusedBeforeAnythingIsLookedAt) {
    std::string name = "flashmcu";
    char* words[] = {name.data(), nullptr};
    ProgramOptions options;
    EXPECT_FALSE(ParseOptions(1, words, options));
    EXPECT_EQ(m_host.Conversation(), Usage());
}

TEST_F(CommandLine, WithoutArgumentsPrintsTheUsageText) {
    ExpectRefused({});
}

TEST_F(CommandLine, UsageNamesTheProgramAsItWasStarted) {
    PrintUsage("/opt/bin/other");
    EXPECT_EQ(m_host.Conversation(), Usage("/opt/bin/other"));
    m_host.Forget();
    EXPECT_EQ(RunTool({"-x"}, "./flashmcu"), -1);
    EXPECT_EQ(m_host.Conversation(), Usage("./flashmcu"));
}

TEST_F(CommandLine, AnUnknownArgumentIsRefusedBeforeAnythingIsDone) {
    for (const char* argument :
         {"-x", "--help", "-R", "-V", "-M", "-D", "-C", "-L", "image.hex", "", "-", "-rv"}) {
        ExpectRefused({argument});
        ExpectRefused({"-r", argument});
        ExpectRefused({"-d", "/dev/mine", "-v", argument});
    }
}

TEST_F(CommandLine, AnOptionJoinedWithItsValueIsUnknown) {
    for (const char* argument :
         {"-fimage.hex", "-mBRDA", "-d/dev/mine", "-c/dev/comm", "-l0x2100", "-f=image.hex"}) {
        ExpectRefused({argument});
    }
}

TEST_F(CommandLine, AnOptionWithoutItsValueIsUnknown) {
    for (const char* argument : {"-m", "-d", "-f", "-c", "-l"}) {
        ExpectRefused({argument});
        ExpectRefused({"-r", argument});
    }
}

TEST_F(CommandLine, AnUnknownModelIsRefusedOnStandardErrorToo) {
    for (const char* model : {"BRDD", "brda", "", "BRDAA", "-r"}) {
        ExpectRefused({"-m", model}, "perror IP module not supported.\n");
        ExpectRefused({"-r", "-m", model, "-v"}, "perror IP module not supported.\n");
    }
}

TEST_F(CommandLine, ALocationOutOfRangeIsRefusedOnStandardErrorToo) {
    for (const char* value :
         {"0x10000000000000000", "99999999999999999999999", "-0x10000000000000000"}) {
        ExpectRefused({"-l", value}, "perror Parsing version location\n");
        ExpectRefused({"-v", "-l", value, "-r"}, "perror Parsing version location\n");
    }
}

TEST_F(CommandLine, ProgrammingWithoutAFileIsRefused) {
    ExpectRefused({"-F"});
    ExpectRefused({"-m", "BRDC"});
    ExpectRefused({"-l", "0x2100", "-d", "/dev/mine", "-c", "/dev/comm"});
}

TEST_F(CommandLine, TheFirstTwoModelsAndNoModelAreTheSameBoard) {
    ExpectBoard({}, "/dev/ttyS1", "90", "86", "91");
    ExpectBoard({"-m", "BRDA"}, "/dev/ttyS1", "90", "86", "91");
    ExpectBoard({"-m", "BRDB"}, "/dev/ttyS1", "90", "86", "91");
}

TEST_F(CommandLine, TheThirdModelHasItsOwnPortAndLines) {
    ExpectBoard({"-m", "BRDC"}, "/dev/ttymxc1", "104", "6", "5");
}

TEST_F(CommandLine, TheLastModelCounts) {
    ExpectBoard({"-m", "BRDC", "-m", "BRDB"}, "/dev/ttyS1", "90", "86", "91");
    ExpectBoard({"-m", "BRDA", "-m", "BRDC"}, "/dev/ttymxc1", "104", "6", "5");
}

TEST_F(CommandLine, TheLaterOfModelAndDeviceChoosesThePort) {
    ExpectBoard({"-d", "/dev/mine"}, "/dev/mine", "90", "86", "91");
    ExpectBoard({"-d", "/dev/mine", "-m", "BRDC"}, "/dev/ttymxc1", "104", "6", "5");
    ExpectBoard({"-m", "BRDC", "-d", "/dev/mine"}, "/dev/mine", "104", "6", "5");
    ExpectBoard({"-d", "/dev/mine", "-m", "BRDB"}, "/dev/ttyS1", "90", "86", "91");
}

TEST_F(CommandLine, AModelNeverChangesTheCommunicationDevice) {
    ExpectBoard({"-c", "/dev/comm", "-m", "BRDC"}, "/dev/ttymxc1", "104", "6", "5", "/dev/comm");
    ExpectBoard({"-m", "BRDA", "-c", "/dev/comm"}, "/dev/ttyS1", "90", "86", "91", "/dev/comm");
}

TEST_F(CommandLine, TheVersionIsAskedOfTheCommunicationDeviceGiven) {
    m_host.Device("/dev/comm").SendsMessage({0xB5, 0x00, 0x09});
    EXPECT_EQ(RunTool({"-c", "/dev/comm", "-v"}), 0);
    EXPECT_EQ(m_host.Conversation(), QueryAnswered({0xB5, 0x00, 0x09}, "/dev/comm") +
                                         Say("info", "Current MSP version is 9"));
}

TEST_F(CommandLine, ADeviceMayBeNamedLikeAnOption) {
    EXPECT_EQ(RunTool({"-v", "-c", "-r"}), -1);
    EXPECT_EQ(m_host.Conversation(),
              "open -r O_RDWR fails\n" + Say("error", "Error opening MSP for reading version"));
}

TEST_F(CommandLine, AFileMayBeNamedLikeAnOption) {
    EXPECT_EQ(RunTool({"-f", "-F"}), -1);
    EXPECT_EQ(m_host.Conversation(), expected::LogOf("IntelHexFileWrapper", "error",
                                                     "CIntelHexWrapper::Open failed to open -F") +
                                         Say("error", "Error reading version from HEX file"));
}

TEST_F(CommandLine, AnEmptyFileNameIsAFileThatCannotBeRead) {
    EXPECT_EQ(RunTool({"-f", ""}), -1);
    EXPECT_EQ(m_host.Conversation(), expected::LogOf("IntelHexFileWrapper", "error",
                                                     "CIntelHexWrapper::Open Error empty "
                                                     "filename ") +
                                         Say("error", "Error reading version from HEX file"));
}

TEST_F(CommandLine, TheLastFileCounts) {
    EXPECT_EQ(RunTool({"-f", "first.hex", "-f", "-last.hex"}), -1);
    EXPECT_EQ(m_host.Conversation(),
              expected::LogOf("IntelHexFileWrapper", "error",
                              "CIntelHexWrapper::Open failed to open -last.hex") +
                  Say("error", "Error reading version from HEX file"));
}

TEST_F(CommandLine, AnEmptyPortIsTakenAndFoundMissingByTheTarget) {
    EXPECT_EQ(RunTool({"-d", "", "-r"}), -1);
    EXPECT_EQ(m_host.Conversation(),
              expected::Construction() + Say("verbose", "Detecting MSP...") +
                  Log("error", "CFWUMsp::RunSystemTest -> No comport specified!") +
                  Say("error", "MSP not found") + expected::Destruction());
}

TEST_F(CommandLine, ALocationMayBeHexadecimalDecimalOrOctal) {
    ExpectLocation("0x2100", 3);
    ExpectLocation("8448", 3);
    ExpectLocation("020400", 3);
    ExpectLocation("12", 2);
    ExpectLocation("0xC", 2);
}

TEST_F(CommandLine, ALocationIsCutToItsLow16Bits) {
    ExpectLocation("0x12100", 3);
    ExpectLocation("0x100002100", 3);
    ExpectLocation("-1", 0x0104);
}

TEST_F(CommandLine, ALocationOfOtherCharactersIsTheNumberItsDigitsMake) {
    ExpectLocation("abc", 1);
    ExpectLocation("", 1);
    ExpectLocation("12xyz", 2);
    ExpectLocation("0x2100 and more", 3);
}

TEST_F(CommandLine, ALocationIsNotRefusedForAnOlderError) {
    errno = ERANGE;
    ExpectLocation("0x2100", 3);
}

TEST_F(CommandLine, ALocationWithoutDigitsIsNotRefusedWhateverTheCLibraryReports) {
    m_host.ReportsMissingDigits();
    ExpectLocation("abc", 1);
    ExpectLocation("", 1);
}

TEST_F(CommandLine, OptionValuesAreTheArgumentsThemselves) {
    std::vector<std::string> texts{"flashmcu", "-f", "a.hex", "-d", "/dev/a", "-c", "/dev/b"};
    std::vector<char*> argv;
    for (std::string& text : texts) {
        argv.push_back(text.data());
    }
    ProgramOptions options;
    ASSERT_TRUE(ParseOptions(static_cast<int>(argv.size()), argv.data(), options));
    EXPECT_EQ(options.hexFile, argv[2]);
    EXPECT_EQ(options.profile.programmingPort, argv[4]);
    EXPECT_EQ(options.profile.communicationPort, argv[6]);
}

TEST_F(CommandLine, OptionsStartWithTheirDocumentedValues) {
    const ProgramOptions options;
    EXPECT_EQ(options.hexFile, nullptr);
    EXPECT_FALSE(options.forceProgramming);
    EXPECT_FALSE(options.readVersionOnly);
    EXPECT_FALSE(options.resetOnly);
    EXPECT_EQ(options.versionLocation, 8448U);
    EXPECT_EQ(options.hexVersion, 0);
    EXPECT_EQ(options.currentVersion, 0);
    EXPECT_STREQ(options.profile.programmingPort, "/dev/ttyS1");
    EXPECT_STREQ(options.profile.communicationPort, "/dev/knxspi");
    EXPECT_STREQ(options.profile.resetGpio, "90");
    EXPECT_STREQ(options.profile.rxdNmiGpio, "86");
    EXPECT_STREQ(options.profile.tckGpio, "91");
}

TEST_F(CommandLine, TheProfileHasItsFiveTextsInOrder) {
    const MspBoardProfile profile{"port", "comm", "reset", "rxd", "tck"};
    EXPECT_STREQ(profile.programmingPort, "port");
    EXPECT_STREQ(profile.communicationPort, "comm");
    EXPECT_STREQ(profile.resetGpio, "reset");
    EXPECT_STREQ(profile.rxdNmiGpio, "rxd");
    EXPECT_STREQ(profile.tckGpio, "tck");
}
