// SPDX-License-Identifier: MIT
#include "vboard/board/Board.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <chrono>
#include <initializer_list>
#include <utility>
#include <vector>

#include "tests/host/HostBench.h"
#include "vboard/text/Format.h"

namespace host {
namespace {

using vboard::ChipMode;
using vboard::Instant;
using vboard::PinLevel;
using std::chrono_literals::operator""s;
using std::chrono_literals::operator""ms;

/// Faults that write down when they are begun and ended.
class ToldFaults : public vboard::Faults {
public:
    void Begin(vboard::VirtualClock& clock, vboard::Probe& /*probe*/,
               vboard::FaultControl& control) override {
        m_control = &control;
        text += vboard::Formatted("begins at {} s; ", clock.Now().time_since_epoch() / 1s);
    }
    void End() override { text += "ends; "; }
    void Kill() const { m_control->Kill(); }
    std::string text;

private:
    vboard::FaultControl* m_control = nullptr;
};

/// All rooms of a board of these settings, with the older firmware in its chip.
class WholeBoard : private vboard::ProgramControl {
public:
    explicit WholeBoard(std::initializer_list<std::pair<const char*, const char*>> settings = {})
        : m_memory(vboard::kMemorySizeBytes) {
        for (const auto& [key, value] : settings) {
            std::string problem;
            EXPECT_TRUE(setup.Set(key, value, problem)) << problem;
        }
        vboard::FillWithOldFirmware(Memory(), setup.Options());
        board.emplace(setup, Memory(), m_eraseWords, faults,
                      static_cast<vboard::ProgramControl&>(*this), Instant{1s});
        board->AddListener(scribe);
    }
    vboard::Memory Memory() { return vboard::Memory(m_memory.data(), vboard::kMemorySizeBytes); }
    /// A state in which the chip is like that.
    static vboard::BoardState In(ChipMode mode) {
        vboard::BoardState state;
        state.chip.mode = mode;
        return state;
    }
    std::unique_ptr<vboard::OpenFile> Open(std::string_view path) {
        int error = 0;
        return board->TheHost().Open(vboard::CallKind::kOpen, path, O_RDWR, {}, error);
    }
    /// The number that a request of the port asks for.
    int Asked(vboard::OpenFile& port, unsigned long request) {
        int number = -1;
        EXPECT_EQ(board->TheHost().Ioctl(port, request, &number), 0);
        return number;
    }

    vboard::BoardSetup setup;
    ToldFaults faults;
    Scribe scribe;
    std::optional<vboard::Board> board;
    bool killed = false;

private:
    void Kill() override { killed = true; }
    void WaitsForEver(std::string_view /*call*/, std::string_view /*path*/,
                      std::string_view /*awaited*/) override {}

    std::vector<std::uint8_t> m_memory;
    std::array<std::uint32_t, vboard::kMostSegments> m_eraseWords{};
};

TEST(OlderFirmware, IsAJumpToItselfWithItsVectorAndAVersion) {
    WholeBoard whole{{"version-address", "0xFFFC"}};
    std::string text;
    for (std::size_t at = 0x1000; at < vboard::kMemorySizeBytes; ++at) {
        if (const unsigned byte = whole.Memory()[at]; byte != 0xFF) {
            text += vboard::Formatted("{:04x}={:02x} ", at, byte);
        }
    }
    EXPECT_EQ(text, "2103=3f fffc=00 fffd=01 fffe=02 ffff=21 ");
    std::uint16_t version = 0;
    EXPECT_TRUE(vboard::RunningVersion(WholeBoard::In(ChipMode::kApplication), whole.Memory(),
                                       whole.setup.Options(), version));
    EXPECT_EQ(version, 0x0100);
    EXPECT_FALSE(vboard::RunningVersion(WholeBoard::In(ChipMode::kLoader), whole.Memory(),
                                        whole.setup.Options(), version));
}

TEST(ABoard, TellsTheStateItWasRestoredToAndAnnouncesItOnce) {
    WholeBoard whole;
    vboard::BoardState state;
    state.gpios.at(90) = {true, true, true, false, 0};
    state.gpios.at(86) = {false, true, false, false, 0};
    state.gpios.at(255) = {true, false, false, true, 3};
    state.tristate = true;
    state.portSettings.controlFlags ^= CSTOPB | PARENB;
    state.chip = {ChipMode::kReset, PinLevel::kHigh, PinLevel::kLow, PinLevel::kHigh, 0, false};
    whole.board->Restore(state);
    EXPECT_EQ(whole.board->State(), state);
    EXPECT_EQ(whole.scribe.Take(),
              "reset_gpio=1; rxd_nmi_gpio=0; msp_tck_gpio=1; tristate=1; chip_hold=1; "
              "chip_rst_nmi=0; chip_tck=1; chip_mode=reset; loader_state=off; loader_locked=1; "
              "chip_busy=0");
}

TEST(ABoard, ForgetsWhatWasUnderWayAndWhatHadArrivedWhereItShall) {
    for (const bool input : {true, false}) {
        WholeBoard whole;
        vboard::BoardState loader = WholeBoard::In(ChipMode::kLoader);
        loader.portSettings.controlFlags |= PARENB;
        whole.board->Restore(WholeBoard::In(ChipMode::kApplication));
        auto& host = whole.board->TheHost();
        const auto comm = whole.Open("/dev/knxspi");
        const auto port = whole.Open("/dev/ttyS1");
        EXPECT_EQ(host.Write(vboard::CallKind::kWrite, *comm, Bytes{2, 0xB4, 0x00}), 3);
        whole.board->Clock().Pass(5ms);
        whole.board->Restore(loader);
        EXPECT_EQ(host.Write(vboard::CallKind::kWrite, *port, Bytes{0x80}), 1);
        whole.board->Clock().Pass(5ms);
        EXPECT_EQ(host.Write(vboard::CallKind::kWrite, *port, Bytes{0x81, 0x82}), 2);
        whole.board->Forget(Instant{5s}, input);
        whole.board->Restore(loader);
        EXPECT_EQ(whole.Asked(*port, TIOCOUTQ), 0);
        EXPECT_EQ(whole.Asked(*port, FIONREAD), input ? 0 : 1);
        EXPECT_EQ(comm->device->Ready().readable, !input);
        static_cast<void>(whole.scribe.Take());
        whole.board->Clock().Pass(1s);
        EXPECT_EQ(whole.scribe.Take(), "");
        EXPECT_EQ(whole.faults.text, "begins at 1 s; ends; begins at 5 s; ");
    }
}

TEST(ABoard, SettlesForTenSecondsAtMostWithItsFaultsEnded) {
    WholeBoard whole{{"chatter-period-us", "300000"}};
    whole.board->Restore(WholeBoard::In(ChipMode::kApplication));
    whole.board->Settle();
    EXPECT_EQ(whole.board->Clock().Now(), Instant{1s + 33 * 300ms});
    EXPECT_EQ(whole.faults.text, "begins at 1 s; ends; ");
}

TEST(ABoard, HasTheDevicesOfItsSetupAndLetsFaultsHaveTheirWay) {
    WholeBoard whole{{"comm", "none"}, {"port", "/dev/ttyS7"}, {"lines", "1,2,3"}};
    EXPECT_EQ(whole.Open("/dev/knxspi"), nullptr);
    EXPECT_EQ(whole.Open("/dev/ttyS1"), nullptr);
    EXPECT_NE(whole.Open("/dev/ttyS7"), nullptr);
    whole.board->Restore(WholeBoard::In(ChipMode::kApplication));
    whole.board->SetPower(false);
    EXPECT_EQ(whole.board->State().chip.mode, ChipMode::kUnpowered);
    whole.faults.Kill();
    EXPECT_TRUE(whole.killed);
}

}  // namespace
}  // namespace host
