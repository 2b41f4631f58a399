// SPDX-License-Identifier: MIT
#include "vboard/host/SysfsGpio.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/host/HostBench.h"

namespace host {
namespace {

constexpr const char* kExport = "/sys/class/gpio/export";
constexpr const char* kUnexport = "/sys/class/gpio/unexport";
constexpr const char* kDirection = "/sys/class/gpio/gpio86/direction";
constexpr const char* kValue = "/sys/class/gpio/gpio86/value";
constexpr const char* kActiveLow = "/sys/class/gpio/gpio86/active_low";

/// GPIO 86 drives RST/NMI and is pulled up.
class ExportedGpio : public testing::Test {
protected:
    ExportedGpio() { EXPECT_EQ(bench.WriteGpio(kExport, "86"), 2); }
    HostBench bench;
};

TEST(SysfsGpio, ALineHasNoFilesBeforeItIsExported) {
    HostBench bench;
    EXPECT_EQ(bench.OpenError(kValue, O_RDONLY), "ENOENT");
    EXPECT_EQ(bench.OpenError(kDirection, O_WRONLY | O_CREAT), "ENOENT");
    EXPECT_EQ(bench.gpios.Find("/sys/class/gpio/gpio86"), vboard::PathKind::kNone);
    EXPECT_EQ(bench.gpios.Find(kValue), vboard::PathKind::kNone);
    EXPECT_EQ(bench.gpios.Find(kExport), vboard::PathKind::kFile);
    EXPECT_EQ(bench.gpios.Find("/sys/class/gpio"), vboard::PathKind::kFolder);
}

TEST(SysfsGpio, ExportingTwiceIsBusy) {
    HostBench bench;
    EXPECT_EQ(bench.WriteGpio(kExport, "86\n"), 3);
    EXPECT_EQ(bench.WriteGpio(kExport, "86"), -EBUSY);
}

TEST(SysfsGpio, AnUnknownNumberIsInvalid) {
    HostBench bench;
    for (const char* text :
         {"256", "-1", "--5", "08", "", "x", "8 6", "86x", "99999999999999999999", "\n"}) {
        const bool empty = *text == '\0';
        EXPECT_EQ(bench.WriteGpio(kExport, text), empty ? 0 : -EINVAL) << text;
    }
    EXPECT_EQ(bench.WriteGpio(kExport, "255"), 3);
}

TEST(SysfsGpio, NumbersAreReadAsTheKernelReadsThem) {
    HostBench bench;
    EXPECT_EQ(bench.WriteGpio(kExport, "0x56"), 4);
    EXPECT_EQ(bench.gpios.Find("/sys/class/gpio/gpio86"), vboard::PathKind::kFolder);
    EXPECT_EQ(bench.WriteGpio(kExport, "+91\n"), 4);
    EXPECT_EQ(bench.gpios.Find("/sys/class/gpio/gpio91"), vboard::PathKind::kFolder);
    EXPECT_EQ(bench.WriteGpio(kExport, "0"), 1);
    EXPECT_EQ(bench.gpios.Find("/sys/class/gpio/gpio0"), vboard::PathKind::kFolder);
    EXPECT_EQ(bench.gpios.Find("/sys/class/gpio/gpio00"), vboard::PathKind::kNone);
    EXPECT_EQ(bench.WriteGpio(kExport, "012"), 3);
    EXPECT_EQ(bench.gpios.Find("/sys/class/gpio/gpio10"), vboard::PathKind::kFolder);
    EXPECT_EQ(bench.gpios.Find("/sys/class/gpio/gpio010"), vboard::PathKind::kNone);
}

TEST(SysfsGpio, UnexportingWhatIsNotExportedIsInvalid) {
    HostBench bench;
    EXPECT_EQ(bench.WriteGpio(kUnexport, "86"), -EINVAL);
    EXPECT_EQ(bench.WriteGpio(kExport, "86"), 2);
    EXPECT_EQ(bench.WriteGpio(kUnexport, "86"), 2);
    EXPECT_EQ(bench.WriteGpio(kUnexport, "86"), -EINVAL);
    EXPECT_EQ(bench.OpenError(kValue, O_RDONLY), "ENOENT");
}

TEST(SysfsGpio, ExportCanOnlyBeWritten) {
    HostBench bench;
    for (const char* file : {kExport, kUnexport}) {
        EXPECT_EQ(bench.OpenError(file, O_RDONLY), "EACCES") << file;
        EXPECT_EQ(bench.OpenError(file, O_RDWR), "EACCES") << file;
        EXPECT_EQ(bench.OpenError(file, O_WRONLY), "") << file;
    }
}

TEST(SysfsGpio, NoFileCanBeMadeThere) {
    HostBench bench;
    EXPECT_EQ(bench.OpenError("/sys/class/gpio/new", O_WRONLY | O_CREAT), "EACCES");
    for (const char* name : {"new", "gpio256/value", "gpio86", "gpio86/", "gpio/value",
                             "gpi86/value", "gpio086/value", "gpio86/values"}) {
        EXPECT_EQ(bench.OpenError(std::string("/sys/class/gpio/") + name, O_WRONLY), "ENOENT")
            << name;
    }
}

TEST_F(ExportedGpio, StartsAsAnInputWithTheLevelOfTheLine) {
    EXPECT_EQ(bench.ReadGpio(kDirection), "in\n");
    EXPECT_EQ(bench.ReadGpio(kValue), "1\n");
    EXPECT_EQ(bench.ReadGpio(kActiveLow), "0\n");
}

TEST_F(ExportedGpio, AnInputTakesNoLevel) {
    EXPECT_EQ(bench.WriteGpio(kValue, "1"), -EPERM);
    // The kernel looks at the direction before it looks at the text.
    EXPECT_EQ(bench.WriteGpio(kValue, "x"), -EPERM);
}

TEST_F(ExportedGpio, OutStartsLowAndReachesTheChip) {
    EXPECT_EQ(bench.WriteGpio(kDirection, "out"), 3);
    EXPECT_EQ(bench.ReadGpio(kDirection), "out\n");
    EXPECT_EQ(bench.ReadGpio(kValue), "0\n");
    EXPECT_EQ(bench.scribe.Take(), "rxd_nmi_gpio=0; chip_rst_nmi=0; chip_mode=reset");
}

TEST_F(ExportedGpio, HighAndLowAreDirectionsToo) {
    EXPECT_EQ(bench.WriteGpio(kDirection, "high\n"), 5);
    EXPECT_EQ(bench.ReadGpio(kDirection), "out\n");
    EXPECT_EQ(bench.ReadGpio(kValue), "1\n");
    EXPECT_EQ(bench.WriteGpio(kDirection, "low"), 3);
    EXPECT_EQ(bench.ReadGpio(kValue), "0\n");
    for (const char* text : {"up", "OUT", "out ", "outs", "\n"}) {
        EXPECT_EQ(bench.WriteGpio(kDirection, text), -EINVAL) << text;
    }
}

TEST_F(ExportedGpio, AnyNumberButZeroIsHigh) {
    EXPECT_EQ(bench.WriteGpio(kDirection, "out"), 3);
    for (const char* text : {"1", "7\n", "-1", "0x10"}) {
        EXPECT_EQ(bench.WriteGpio(kValue, "0"), 1);
        EXPECT_GT(bench.WriteGpio(kValue, text), 0) << text;
        EXPECT_EQ(bench.ReadGpio(kValue), "1\n") << text;
    }
    for (const char* text : {"x", "1 ", "", "high", "0x"}) {
        EXPECT_EQ(bench.WriteGpio(kValue, text), *text == '\0' ? 0 : -EINVAL) << text;
    }
}

TEST_F(ExportedGpio, AnInputLetsTheLineGo) {
    EXPECT_EQ(bench.WriteGpio(kDirection, "out"), 3);
    static_cast<void>(bench.scribe.Take());
    EXPECT_EQ(bench.WriteGpio(kDirection, "in"), 2);
    EXPECT_EQ(bench.scribe.Take(), "rxd_nmi_gpio=1; chip_rst_nmi=1; chip_mode=application");
    EXPECT_EQ(bench.ReadGpio(kValue), "1\n");
}

TEST_F(ExportedGpio, ActiveLowTurnsTheValueRoundAndNotTheDirection) {
    EXPECT_EQ(bench.WriteGpio(kActiveLow, "1"), 1);
    EXPECT_EQ(bench.ReadGpio(kActiveLow), "1\n");
    EXPECT_EQ(bench.ReadGpio(kValue), "0\n");
    EXPECT_EQ(bench.WriteGpio(kDirection, "high"), 4);
    EXPECT_EQ(bench.ReadGpio(kValue), "0\n");
    EXPECT_EQ(bench.WriteGpio(kValue, "1"), 1);
    EXPECT_FALSE(bench.harness.IsHigh(vboard::HostLine::kRxdNmi));
    EXPECT_EQ(bench.ReadGpio(kValue), "1\n");
    EXPECT_EQ(bench.WriteGpio(kActiveLow, "maybe"), -EINVAL);
}

TEST_F(ExportedGpio, UnexportingLeavesTheLevelAndForgetsActiveLow) {
    EXPECT_EQ(bench.WriteGpio(kDirection, "out"), 3);
    EXPECT_EQ(bench.WriteGpio(kActiveLow, "1"), 1);
    EXPECT_EQ(bench.WriteGpio(kUnexport, "86"), 2);
    EXPECT_FALSE(bench.harness.IsHigh(vboard::HostLine::kRxdNmi));
    EXPECT_EQ(bench.WriteGpio(kExport, "86"), 2);
    EXPECT_EQ(bench.ReadGpio(kActiveLow), "0\n");
    EXPECT_EQ(bench.ReadGpio(kDirection), "out\n");
}

TEST_F(ExportedGpio, AFileThatLostItsLineIsGone) {
    const auto opened = bench.gpios.Open(kValue, O_RDWR);
    ASSERT_NE(opened.file, nullptr);
    EXPECT_TRUE(opened.file->Ready().readable && opened.file->Ready().writable);
    EXPECT_TRUE(opened.file->Ready().urgent) << "news until it has been read";
    EXPECT_EQ(bench.WriteGpio(kUnexport, "86"), 2);
    std::array<std::uint8_t, 4> bytes{};
    EXPECT_EQ(opened.file->Read(bytes, false), -ENODEV);
    EXPECT_FALSE(opened.file->Ready().urgent);
    EXPECT_EQ(opened.file->Write(Bytes{'1'}, false), -ENODEV);
    for (const char* name : {"direction", "active_low", "edge"}) {
        EXPECT_EQ(bench.WriteGpio(kExport, "86"), 2);
        const auto file =
            bench.gpios.Open(std::string("/sys/class/gpio/gpio86/") + name, O_WRONLY).file;
        EXPECT_EQ(bench.WriteGpio(kUnexport, "86"), 2);
        EXPECT_EQ(file->Write(Bytes{'1'}, false), -ENODEV) << name;
    }
}

TEST_F(ExportedGpio, AFileIsReadPieceByPieceAndFromAnyPlace) {
    const auto opened = bench.gpios.Open(kDirection, O_RDWR);
    ASSERT_NE(opened.file, nullptr);
    std::array<std::uint8_t, 2> two{};
    EXPECT_EQ(opened.file->Read(two, false), 2);
    EXPECT_EQ(two, (std::array<std::uint8_t, 2>{'i', 'n'}));
    EXPECT_EQ(opened.file->Read(two, false), 1);
    EXPECT_EQ(opened.file->Read(two, false), 0);
    EXPECT_EQ(opened.file->Seek(1, SEEK_SET), 1);
    EXPECT_EQ(opened.file->Read(two, false), 2);
    EXPECT_EQ(two, (std::array<std::uint8_t, 2>{'n', '\n'}));
    EXPECT_EQ(opened.file->Seek(-2, SEEK_CUR), 1);
    EXPECT_EQ(opened.file->Seek(100, SEEK_SET), 100);
    EXPECT_EQ(opened.file->Read(two, false), 0);
    EXPECT_EQ(opened.file->Seek(-1, SEEK_SET), -EINVAL);
    EXPECT_EQ(opened.file->Seek(0, SEEK_END), -EINVAL);
    EXPECT_EQ(opened.file->Seek(0, SEEK_SET), 0);
    EXPECT_EQ(opened.file->Write(Bytes{'i', 'n'}, false), 2);
    EXPECT_EQ(opened.file->Read(two, false), 1) << "what was written counts";
}

TEST_F(ExportedGpio, AFileDoesOnlyWhatItWasOpenedFor) {
    std::array<std::uint8_t, 4> bytes{};
    EXPECT_EQ(bench.gpios.Open(kValue, O_WRONLY).file->Read(bytes, false), -EBADF);
    EXPECT_EQ(bench.gpios.Open(kValue, O_RDONLY).file->Write(Bytes{'1'}, false), -EBADF);
    EXPECT_EQ(bench.gpios.Open(kValue, O_RDONLY).file->Ioctl(0x5401, bytes.data()), -ENOTTY);
}

TEST_F(ExportedGpio, ALineThatTellsEdgesIsNoOutputAndAnOutputTellsNone) {
    constexpr const char* kEdge = "/sys/class/gpio/gpio86/edge";
    EXPECT_EQ(bench.ReadGpio(kEdge), "none\n");
    for (const char* edge : {"rising", "falling", "both"}) {
        EXPECT_GT(bench.WriteGpio(kEdge, edge), 0);
        EXPECT_EQ(bench.ReadGpio(kEdge), std::string(edge) + "\n");
        for (const char* direction : {"out", "low", "high"}) {
            EXPECT_EQ(bench.WriteGpio(kDirection, direction), -EIO) << direction;
        }
        EXPECT_EQ(bench.WriteGpio(kDirection, "in"), 2);
    }
    EXPECT_EQ(bench.WriteGpio(kEdge, "some"), -EINVAL);
    EXPECT_EQ(bench.WriteGpio(kEdge, "none\n"), 5);
    EXPECT_EQ(bench.WriteGpio(kDirection, "high"), 4);
    EXPECT_EQ(bench.WriteGpio(kEdge, "rising"), -EIO);
    EXPECT_EQ(bench.WriteGpio(kEdge, "none"), 4);
}

TEST_F(ExportedGpio, FoldersListTheirFilesInOrder) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(bench.gpios.NamesIn("/sys/class/gpio"), (Names{"export", "unexport", "gpio86"}));
    EXPECT_EQ(bench.gpios.NamesIn("/sys/class/gpio/gpio86"),
              (Names{"active_low", "direction", "edge", "value"}));
    EXPECT_EQ(bench.gpios.NamesIn("/sys/class/gpio/gpio87"), Names{});
    EXPECT_EQ(bench.gpios.NamesIn(kValue), Names{});
}

TEST(SysfsGpio, ALineThatLeadsNowhereKeepsItsLatch) {
    HostBench bench;
    EXPECT_EQ(bench.WriteGpio(kExport, "7"), 1);
    EXPECT_EQ(bench.ReadGpio("/sys/class/gpio/gpio7/value"), "0\n");
    EXPECT_EQ(bench.WriteGpio("/sys/class/gpio/gpio7/direction", "high"), 4);
    EXPECT_EQ(bench.ReadGpio("/sys/class/gpio/gpio7/value"), "1\n");
    EXPECT_EQ(bench.WriteGpio("/sys/class/gpio/gpio7/direction", "in"), 2);
    EXPECT_EQ(bench.ReadGpio("/sys/class/gpio/gpio7/value"), "0\n");
    EXPECT_EQ(bench.scribe.Take(), "");
}

}  // namespace
}  // namespace host
