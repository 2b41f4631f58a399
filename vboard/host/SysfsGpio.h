// SPDX-License-Identifier: MIT
#pragma once

// The kernel's sysfs GPIO files (Documentation/ABI/obsolete/sysfs-gpio): export and unexport, and
// for each exported line a folder with direction, value, active_low and edge. What the kernel
// refuses is refused here with the same errno. Only the host itself moves the board's lines, and a
// line with an edge can't be an output: so an edge can be asked for and waited for, and none ever
// comes.

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "vboard/host/DeviceFile.h"
#include "vboard/wires/BoardModel.h"
#include "vboard/wires/Harness.h"

namespace vboard {

/// Numbers that the host's GPIO controllers have: 0 to 255. Other numbers are refused with EINVAL.
inline constexpr unsigned kGpioCount = 256;

/// What the host remembers of one line. It outlives the export, as the hardware's registers do. One
/// byte, since all lines are copied and compared whenever one of them may have changed.
struct GpioState {
    bool exported : 1 = false;
    bool output : 1 = false;
    bool high : 1 = false;         ///< The output latch.
    bool activeLow : 1 = false;    ///< "value" is the other way round.
    std::uint8_t edge : 2 = 0;     ///< Which edges are told: none, rising, falling, both.
    std::uint8_t nothing : 2 = 0;  ///< So that all bits are something: lines compare as memory.
};
static_assert(sizeof(GpioState) == 1 && std::has_unique_object_representations_v<GpioState>);

/// All of them, by number.
using GpioStates = std::array<GpioState, kGpioCount>;

/// The GPIO files of one host. A line that is not wired to the chip keeps what it is set to, and is
/// low while it is an input.
class SysfsGpio {
public:
    /// The folder of all of them, as on a machine.
    static constexpr std::string_view kFolder = "/sys/class/gpio";

    /// `gpios` are the numbers of the three wired lines, in the order of HostLine. `harness` must
    /// outlive this.
    SysfsGpio(Harness& harness, const std::array<unsigned, kHostLineCount>& gpios);

    /// Opens one of the files below the folder with the flags of open(2).
    Device::Opened Open(std::string_view path, int flags);
    /// What the path names; kNone when it is not there.
    [[nodiscard]] PathKind Find(std::string_view path) const;
    /// The names in one of the folders; empty for what is none.
    [[nodiscard]] std::vector<std::string> NamesIn(std::string_view path) const;

    /// Takes over a kept state; no level of a wired line moves by that.
    void Restore(unsigned gpio, const GpioState& state) { m_gpios.at(gpio) = state; }
    /// By number.
    [[nodiscard]] const GpioStates& States() const { return m_gpios; }
    /// What the wired line is driven to when its GPIO is in `state`.
    [[nodiscard]] static Drive DriveOf(const GpioState& state);

private:
    friend class GpioFile;

    IoResult Export(std::string_view text, bool exported);
    IoResult SetDirection(unsigned gpio, std::string_view text);
    IoResult SetValue(unsigned gpio, std::string_view text);
    IoResult SetActiveLow(unsigned gpio, std::string_view text);
    IoResult SetEdge(unsigned gpio, std::string_view text);
    [[nodiscard]] std::string Direction(unsigned gpio) const;
    [[nodiscard]] std::string Value(unsigned gpio) const;
    [[nodiscard]] std::string ActiveLow(unsigned gpio) const;
    [[nodiscard]] std::string Edge(unsigned gpio) const;
    void Apply(unsigned gpio);

    Harness& m_harness;
    std::array<unsigned, kHostLineCount> m_wired;
    GpioStates m_gpios{};
};

}  // namespace vboard
