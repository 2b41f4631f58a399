// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <type_traits>
#include <vector>

#include "TestBoard.h"
#include "tests/support/Expected.h"
#include "tests/support/TempFolder.h"
#include "tests/unit/ClassLayout.h"

using expected::Destruction;
using expected::Direction;
using expected::Directions;
using expected::Exported;
using expected::Log;
using expected::NoGpioFile;
using expected::NoRxdNmiDirection;
using expected::NoTckDirection;
using expected::NoTriState;
using expected::NoValue;
using expected::Pause;
using expected::TriState;
using expected::Unexported;
using expected::Value;

namespace {

class TargetLines : public TargetTest {};

const std::string kExportFailed = Log("error", "MSP Test: Error opening GPIO export!");
const std::string kTckPathFailed =
    Log("error", "MSP Test: Failed to combine the direction file for MSP_TCK_GPIO.");
const std::string kRxdNmiPathFailed =
    Log("error", "MSP Test: Failed to combine the direction file for RxD_NMI_GPIO.");

// All that is said while a controller of this profile is made.
std::string ConversationOfConstruction(ScriptedHost& host, const MspBoardProfile& profile) {
    const CFWUMsp target(&profile);
    return host.Conversation();
}

}  // namespace

TEST(TargetConstruction, ExportsTheThreeLinesOneByOneAndMakesResetAnOutput) {
    ScriptedHost host;
    EXPECT_EQ(ConversationOfConstruction(host, kBoard),
              "fopen /sys/class/gpio/export ab\n"
              "flush /sys/class/gpio/export \"91\"\n"
              "flush /sys/class/gpio/export \"86\"\n"
              "flush /sys/class/gpio/export \"90\"\n"
              "fclose /sys/class/gpio/export\n"
              "fopen /sys/class/gpio/gpio90/direction rb+\n"
              "flush /sys/class/gpio/gpio90/direction \"out\"\n"
              "fclose /sys/class/gpio/gpio90/direction\n");
}

TEST(TargetConstruction, TakesTheLinesOfItsProfile) {
    ScriptedHost host;
    const MspBoardProfile profile{"/dev/ttymxc1", "/dev/other", "104", "6", "5"};
    EXPECT_EQ(ConversationOfConstruction(host, profile),
              "fopen /sys/class/gpio/export ab\n"
              "flush /sys/class/gpio/export \"5\"\n"
              "flush /sys/class/gpio/export \"6\"\n"
              "flush /sys/class/gpio/export \"104\"\n"
              "fclose /sys/class/gpio/export\n" +
                  Direction("104", "out"));
}

TEST(TargetConstruction, LeavesAClosedPortClearBuffersAndTheProfileInPlace) {
    ScriptedHost host;
    const CFWUMsp target(&kBoard);
    EXPECT_EQ(target.m_profile, &kBoard);
    EXPECT_EQ(target.m_serialFd, -1);
    EXPECT_EQ(Bytes(target.m_frameBuffer, target.m_frameBuffer + 300), Repeat(0, 300));
    EXPECT_EQ(Bytes(target.m_dataBuffer, target.m_dataBuffer + 300), Repeat(0, 300));
    EXPECT_EQ(sizeof(target.m_frameBuffer), 300U);
    EXPECT_EQ(sizeof(target.m_dataBuffer), 300U);
    EXPECT_EQ(target.m_hexReader.m_fileName, "");
}

TEST(TargetConstruction, KeepsItsFieldsInOrderAndItsDestructorVirtual) {
    ScriptedHost host;
    const CFWUMsp target(&kBoard);
    EXPECT_TRUE(std::has_virtual_destructor_v<CFWUMsp>);
    const std::vector<const void*> fields{&target.m_profile, &target.m_serialFd,
                                          &target.m_hexReader, target.m_frameBuffer,
                                          target.m_dataBuffer};
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
}

TEST(TargetConstruction, MakesAnObjectWithTheFieldsThatItsUsersWereCompiledWith) {
    EXPECT_TRUE(layout::HasNoBase<CFWUMsp>());
    EXPECT_EQ(layout::VirtualEntries<CFWUMsp>(), 2U);
    static_assert(std::is_same_v<decltype(CFWUMsp::m_profile), const MspBoardProfile*>);
    static_assert(std::is_same_v<decltype(CFWUMsp::m_serialFd), int>);
    static_assert(std::is_same_v<decltype(CFWUMsp::m_hexReader), CIntelHexWrapper>);
    static_assert(std::is_same_v<decltype(CFWUMsp::m_frameBuffer), unsigned char[300]>);
    static_assert(std::is_same_v<decltype(CFWUMsp::m_dataBuffer), unsigned char[300]>);
}

TEST(TargetConstruction, WithoutTheExportFileDoesNothingElse) {
    ScriptedHost host;
    host.Without("/sys/class/gpio/export");
    EXPECT_EQ(ConversationOfConstruction(host, kBoard), NoGpioFile("export", "ab") + kExportFailed);
}

TEST(TargetConstruction, WithAResetPathThatCannotBeFormattedLogsItAndGoesOn) {
    ScriptedHost host;
    host.FailsSnprintf();
    EXPECT_EQ(ConversationOfConstruction(host, kBoard),
              Exported() +
                  Log("error", "MSP Test: Failed to combine the direction file for RESET_GPIO."));
}

TEST(TargetConstruction, WithoutTheResetDirectionFileLogsItAndGoesOn) {
    ScriptedHost host;
    host.Without("/sys/class/gpio/gpio90/direction");
    EXPECT_EQ(ConversationOfConstruction(host, kBoard),
              Exported() + NoGpioFile("gpio90/direction", "rb+") +
                  Log("error", "MSP Test: Error opening the direction file of RESET_GPIO!"));
}

TEST(TargetConstruction, OfLinesAlreadyExportedNoticesNothingAndTheLinesWork) {
    ScriptedHost host;
    host.RefusesWritesTo("/sys/class/gpio/export");
    const std::string refusedExport =
        "fopen /sys/class/gpio/export ab\n"
        "flush /sys/class/gpio/export \"91\" refused\n"
        "flush /sys/class/gpio/export \"86\" refused\n"
        "flush /sys/class/gpio/export \"90\" refused\n"
        "fclose /sys/class/gpio/export\n";
    CFWUMsp target(&kBoard);
    EXPECT_TRUE(target.SetGPIOValue("90", true));
    EXPECT_EQ(host.Conversation(), refusedExport + Direction("90", "out") + Value("90", '1'));
}

TEST(TargetConstruction, CutsALineNumberOfMoreThan31CharactersAt31) {
    ScriptedHost host;
    const std::string digits31 = "1234567890123456789012345678901";
    const std::string digits40 = digits31 + "999999999";
    const MspBoardProfile profile{"/dev/ttyS1", "/dev/knxspi", digits31.c_str(), digits40.c_str(),
                                  digits40.c_str()};
    { const CFWUMsp target(&profile); }
    const std::string numbers = " \"" + digits31 + "\"\n";
    const std::string file = "/sys/class/gpio/export";
    const std::string unfile = "/sys/class/gpio/unexport";
    EXPECT_EQ(host.Conversation(),
              "fopen " + file + " ab\n" + "flush " + file + numbers + "flush " + file + numbers +
                  "flush " + file + numbers + "fclose " + file + "\n" +
                  // That path has 61 characters, and its buffer holds 63.
                  Direction(digits31, "out") + TriState(0) + "fopen " + unfile + " ab\n" +
                  "flush " + unfile + numbers + "flush " + unfile + numbers + "flush " + unfile +
                  numbers + "fclose " + unfile + "\n");
}

TEST(TargetConstruction, ExportsNothingForALineWithoutANumberAndGoesOn) {
    ScriptedHost host;
    const MspBoardProfile profile{"/dev/ttyS1", "/dev/knxspi", "90", "", "91"};
    EXPECT_EQ(ConversationOfConstruction(host, profile),
              "fopen /sys/class/gpio/export ab\n"
              "flush /sys/class/gpio/export \"91\"\n"
              "flush /sys/class/gpio/export \"90\"\n"
              "fclose /sys/class/gpio/export\n" +
                  Direction("90", "out"));
}

TEST(TargetDestruction, WithThePortNeverOpenedSwitchesTristateOffAndUnexports) {
    ScriptedHost host;
    {
        const CFWUMsp target(&kBoard);
        host.Forget();
    }
    EXPECT_EQ(host.Conversation(),
              "open /dev/knxspi O_RDWR\n"
              "ioctl /dev/knxspi 0x40046b01 0\n"
              "close /dev/knxspi\n"
              "fopen /sys/class/gpio/unexport ab\n"
              "flush /sys/class/gpio/unexport \"91\"\n"
              "flush /sys/class/gpio/unexport \"86\"\n"
              "flush /sys/class/gpio/unexport \"90\"\n"
              "fclose /sys/class/gpio/unexport\n");
}

TEST(TargetDestruction, ClosesTheFileThenThePortThenTheSwitchThenTheLines) {
    ScriptedHost host;
    const TempFolder folder;
    const std::string image = folder.WriteFile("image.hex", ":00000001FF\n");
    host.WatchesImage(image);
    {
        CFWUMsp target(&kBoard);
        ASSERT_TRUE(target.m_hexReader.Open(image));
        ASSERT_TRUE(target.OpenSerial("/dev/ttyS1", 9600, 8, true, false, false, false));
        host.Forget();
    }
    EXPECT_EQ(host.Conversation(), "image closed\nclose /dev/ttyS1\n" + Destruction());
}

TEST(TargetDestruction, WithoutTheDeviceAndTheUnexportFileLogsBoth) {
    ScriptedHost host;
    host.Without("/dev/knxspi").Without("/sys/class/gpio/unexport");
    {
        const CFWUMsp target(&kBoard);
        host.Forget();
    }
    EXPECT_EQ(host.Conversation(), NoTriState() + NoGpioFile("unexport", "ab") + kExportFailed);
}

TEST(TargetDestruction, DoesNotNoticeARefusedUnexport) {
    ScriptedHost host;
    host.RefusesWritesTo("/sys/class/gpio/unexport");
    {
        const CFWUMsp target(&kBoard);
        host.Forget();
    }
    EXPECT_EQ(host.Conversation(), TriState(0) +
                                       "fopen /sys/class/gpio/unexport ab\n"
                                       "flush /sys/class/gpio/unexport \"91\" refused\n"
                                       "flush /sys/class/gpio/unexport \"86\" refused\n"
                                       "flush /sys/class/gpio/unexport \"90\" refused\n"
                                       "fclose /sys/class/gpio/unexport\n");
}

TEST_F(TargetLines, ExportAndUnexportCanBeAskedForAgain) {
    m_target.UnexportGPIOs();
    m_target.ExportGPIOs();
    EXPECT_EQ(Conversation(), Unexported() + Exported() + Direction("90", "out"));
}

TEST_F(TargetLines, ALevelIsOneByteInTheValueFile) {
    EXPECT_TRUE(m_target.SetGPIOValue("90", true));
    EXPECT_TRUE(m_target.SetGPIOValue("86", false));
    EXPECT_EQ(Conversation(),
              "fopen /sys/class/gpio/gpio90/value w+\n"
              "flush /sys/class/gpio/gpio90/value \"1\"\n"
              "fclose /sys/class/gpio/gpio90/value\n"
              "fopen /sys/class/gpio/gpio86/value w+\n"
              "flush /sys/class/gpio/gpio86/value \"0\"\n"
              "fclose /sys/class/gpio/gpio86/value\n");
}

TEST_F(TargetLines, AValuePathHasNoLengthLimit) {
    const std::string number(300, '7');
    EXPECT_TRUE(m_target.SetGPIOValue(number, true));
    m_host.Without("/sys/class/gpio/gpio" + number + "/value");
    EXPECT_FALSE(m_target.SetGPIOValue(number, true));
    EXPECT_EQ(Conversation(), Value(number, '1') + NoValue(number));
}

TEST_F(TargetLines, ALevelOfALineThatIsNotThereFailsWithItsNumber) {
    m_host.Without("/sys/class/gpio/gpio90/value");
    EXPECT_FALSE(m_target.SetGPIOValue("90", true));
    EXPECT_EQ(Conversation(),
              "fopen /sys/class/gpio/gpio90/value w+ fails\n" +
                  Log("error", "CFWUMsp::SetGPIOValue ->Error opening gpio90/value!"));
}

TEST_F(TargetLines, ALevelThatTheKernelRefusesIsNotNoticed) {
    m_host.RefusesWritesTo("/sys/class/gpio/gpio86/value");
    EXPECT_TRUE(m_target.SetGPIOValue("86", true));
    EXPECT_EQ(Conversation(),
              "fopen /sys/class/gpio/gpio86/value w+\n"
              "flush /sys/class/gpio/gpio86/value \"1\" refused\n"
              "fclose /sys/class/gpio/gpio86/value\n");
}

TEST_F(TargetLines, DirectionsAreSetForTckAndThenForRxdNmi) {
    EXPECT_TRUE(m_target.SetGPIODirections(false));
    EXPECT_TRUE(m_target.SetGPIODirections(true));
    EXPECT_EQ(Conversation(), Direction("91", "out") + Direction("86", "out") +
                                  Direction("91", "in") + Direction("86", "in"));
}

TEST_F(TargetLines, DirectionsStopAtATckFileThatIsNotThere) {
    m_host.Without("/sys/class/gpio/gpio91/direction");
    EXPECT_FALSE(m_target.SetGPIODirections(false));
    EXPECT_EQ(Conversation(),
              "fopen /sys/class/gpio/gpio91/direction rb+ fails\n" +
                  Log("error", "MSP Test: Error opening the direction file of the MSP_TCK_GPIO!"));
}

TEST_F(TargetLines, DirectionsStopAtARxdNmiFileThatIsNotThere) {
    m_host.Without("/sys/class/gpio/gpio86/direction");
    EXPECT_FALSE(m_target.SetGPIODirections(true));
    EXPECT_EQ(Conversation(),
              Direction("91", "in") + "fopen /sys/class/gpio/gpio86/direction rb+ fails\n" +
                  Log("error", "MSP Test: Error opening the direction file of the RxD_NMI_GPIO!"));
}

TEST_F(TargetLines, DirectionsStopAtATckPathThatCannotBeFormatted) {
    m_host.FailsSnprintf();
    EXPECT_FALSE(m_target.SetGPIODirections(false));
    EXPECT_EQ(Conversation(), kTckPathFailed);
}

TEST_F(TargetLines, DirectionsStopAtARxdNmiPathThatCannotBeFormatted) {
    m_host.FailsSnprintf(1);
    EXPECT_FALSE(m_target.SetGPIODirections(false));
    EXPECT_EQ(Conversation(), Direction("91", "out") + kRxdNmiPathFailed);
}

TEST_F(TargetLines, DirectionsThatTheKernelRefusesAreNotNoticed) {
    m_host.RefusesWritesTo("/sys/class/gpio/gpio91/direction");
    EXPECT_TRUE(m_target.SetGPIODirections(false));
    EXPECT_EQ(Conversation(),
              "fopen /sys/class/gpio/gpio91/direction rb+\n"
              "flush /sys/class/gpio/gpio91/direction \"out\" refused\n"
              "fclose /sys/class/gpio/gpio91/direction\n" +
                  Direction("86", "out"));
}

TEST_F(TargetLines, TheTristateSwitchIsOpenedSetAndClosedEachTime) {
    EXPECT_TRUE(m_target.SetGPIOTriState(1));
    EXPECT_TRUE(m_target.SetGPIOTriState(0));
    EXPECT_EQ(Conversation(),
              "open /dev/knxspi O_RDWR\n"
              "ioctl /dev/knxspi 0x40046b01 1\n"
              "close /dev/knxspi\n"
              "open /dev/knxspi O_RDWR\n"
              "ioctl /dev/knxspi 0x40046b01 0\n"
              "close /dev/knxspi\n");
}

TEST_F(TargetLines, TheTristateSwitchPassesOnTheStateAsItIs) {
    EXPECT_TRUE(m_target.SetGPIOTriState(-5));
    EXPECT_EQ(Conversation(), TriState(-5));
}

TEST_F(TargetLines, ATristateIoctlThatFailsIsNotNoticed) {
    m_host.Device("/dev/knxspi").RefusesIoctl();
    EXPECT_TRUE(m_target.SetGPIOTriState(1));
    EXPECT_EQ(Conversation(),
              "open /dev/knxspi O_RDWR\n"
              "ioctl /dev/knxspi 0x40046b01 1 fails\n"
              "close /dev/knxspi\n");
}

TEST_F(TargetLines, ATristateDeviceThatIsNotThereFailsEachTimeWithItsDescriptor) {
    m_host.Without("/dev/knxspi");
    EXPECT_FALSE(m_target.SetGPIOTriState(1));
    EXPECT_FALSE(m_target.SetGPIOTriState(0));
    const std::string failure =
        "open /dev/knxspi O_RDWR fails\n" +
        Log("error", "CFWUMsp::SetGPIOTriState open /dev/knxspi failed fd:-1");
    EXPECT_EQ(Conversation(), failure + failure);
}

TEST(TargetTristate, NamesTheDefaultDeviceWhateverTheProfileHolds) {
    ScriptedHost host;
    host.Device("/dev/other");
    const MspBoardProfile profile{"/dev/ttyS1", "/dev/other", "90", "86", "91"};
    CFWUMsp target(&profile);
    host.Forget();
    EXPECT_TRUE(target.SetGPIOTriState(1));
    EXPECT_EQ(host.Conversation(),
              "open /dev/other O_RDWR\n"
              "ioctl /dev/other 0x40046b01 1\n"
              "close /dev/other\n");
    host.Forget();
    host.Without("/dev/other");
    EXPECT_FALSE(target.SetGPIOTriState(1));
    EXPECT_EQ(host.Conversation(),
              "open /dev/other O_RDWR fails\n" +
                  Log("error", "CFWUMsp::SetGPIOTriState open /dev/knxspi failed fd:-1"));
}

TEST_F(TargetLines, AReleaseIsRxdNmiLowAPauseAndBothLinesToInput) {
    EXPECT_TRUE(m_target.ReleaseGPIOs());
    EXPECT_EQ(Conversation(), Value("86", '0') + Pause(100000) + Directions("in"));
}

TEST_F(TargetLines, AReleaseWithoutAnyFileIsStillTrue) {
    m_host.WithoutGpioFiles();
    EXPECT_TRUE(m_target.ReleaseGPIOs());
    EXPECT_EQ(Conversation(), NoValue("86") + Pause(100000) + NoTckDirection());
}

TEST_F(TargetLines, AReleaseWithoutTheRxdNmiDirectionIsStillTrue) {
    m_host.Without("/sys/class/gpio/gpio86/direction");
    EXPECT_TRUE(m_target.ReleaseGPIOs());
    EXPECT_EQ(Conversation(),
              Value("86", '0') + Pause(100000) + Direction("91", "in") + NoRxdNmiDirection());
}

TEST_F(TargetLines, AReleaseLogsThePathsThatCannotBeFormatted) {
    m_host.FailsSnprintf(0).FailsSnprintf(2);
    EXPECT_TRUE(m_target.ReleaseGPIOs());
    EXPECT_TRUE(m_target.ReleaseGPIOs());
    EXPECT_EQ(Conversation(), Value("86", '0') + Pause(100000) + kTckPathFailed + Value("86", '0') +
                                  Pause(100000) + Direction("91", "in") + kRxdNmiPathFailed);
}

TEST(TargetDirections, OfALineNumberTooLongForThePathStayInsideTheirBuffer) {
    ScriptedHost host;
    const std::string digits(200, '7');
    const MspBoardProfile profile{"/dev/ttyS1", "/dev/knxspi", "90", digits.c_str(),
                                  digits.c_str()};
    CFWUMsp target(&profile);
    host.Forget();
    EXPECT_TRUE(target.SetGPIODirections(false));
    const std::string path = ("/sys/class/gpio/gpio" + digits).substr(0, 63);
    const std::string line =
        "fopen " + path + " rb+\nflush " + path + " \"out\"\nfclose " + path + "\n";
    EXPECT_EQ(host.Conversation(), line + line);
}

TEST_F(TargetLines, AFileExistsWhenItCanBeOpenedForReading) {
    const TempFolder folder;
    EXPECT_TRUE(m_target.FileExists(folder.WriteFile("there", "").c_str()));
    EXPECT_FALSE(m_target.FileExists(folder.PathOf("missing").c_str()));
    EXPECT_FALSE(m_target.FileExists(""));
    // It is there, and nobody can open it.
    const std::string path = folder.PathOf("socket");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(path.size(), sizeof(address.sun_path));
    path.copy(address.sun_path, path.size());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_FALSE(m_target.FileExists(path.c_str()));
    close(descriptor);
    EXPECT_EQ(Conversation(), "");
}
