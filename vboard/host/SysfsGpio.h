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
#include <vector>

#include "vboard/host/DeviceFile.h"
#include "vboard/wires/BoardModel.h"
#include "vboard/wires/Harness.h"

namespace vboard {

/// Numbers that the host's GPIO controllers have: 0 to 255. Other numbers are refused with EINVAL.
inline constexpr unsigned kGpioCount = 256;

/// What the host remembers of one line. It outlives the export, as the hardware's registers do.
struct GpioState {
    bool exported = false;
    bool output = false;
    bool high = false;       ///< The output latch.
    bool activeLow = false;  ///< "value" is the other way round.
    std::uint8_t edge = 0;   ///< Which edges are told: none, rising, falling, both.
    bool operator==(const GpioState&) const = default;
};

/// All of them, by number.
using GpioStates = std::array<GpioState, kGpioCount>;

class SysfsGpio {
public:
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
