// SPDX-License-Identifier: MIT
#include "vboard/host/SysfsGpio.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <utility>

namespace vboard {
namespace {

enum class GpioFileKind : std::uint8_t { kExport, kUnexport, kDirection, kValue };

struct GpioPath {
    GpioFileKind kind;
    unsigned gpio;
};

std::optional<unsigned> ParseNumber(std::string_view text) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

/// sysfs takes a text with or without a newline at its end.
std::string_view WithoutNewline(std::string_view text) {
    return !text.empty() && text.back() == '\n' ? text.substr(0, text.size() - 1) : text;
}

std::optional<GpioPath> ParsePath(std::string_view path) {
    if (!path.starts_with(SysfsGpio::kFolder)) {
        return std::nullopt;
    }
    path.remove_prefix(SysfsGpio::kFolder.size());
    if (path == "/export") {
        return GpioPath{GpioFileKind::kExport, 0};
    }
    if (path == "/unexport") {
        return GpioPath{GpioFileKind::kUnexport, 0};
    }
    constexpr std::string_view kPrefix = "/gpio";
    const std::size_t slash = path.find('/', 1);
    if (!path.starts_with(kPrefix) || slash == std::string_view::npos) {
        return std::nullopt;
    }
    const auto gpio = ParseNumber(path.substr(kPrefix.size(), slash - kPrefix.size()));
    const std::string_view file = path.substr(slash);
    if (!gpio || *gpio >= kGpioCount) {
        return std::nullopt;
    }
    if (file == "/direction") {
        return GpioPath{GpioFileKind::kDirection, *gpio};
    }
    if (file == "/value") {
        return GpioPath{GpioFileKind::kValue, *gpio};
    }
    return std::nullopt;
}

bool IsPerLine(const GpioPath& path) {
    return path.kind == GpioFileKind::kDirection || path.kind == GpioFileKind::kValue;
}

}  // namespace

/// One opening of one of the files. A read starts again at the beginning of the text after it has
/// reported its end, as after a seek to 0.
class GpioFile : public DeviceFile {
public:
    GpioFile(SysfsGpio& gpios, GpioPath path, int flags)
        : m_gpios(gpios), m_path(path), m_access(flags & O_ACCMODE) {}

    IoResult Read(std::span<std::uint8_t> buffer, bool /*nonBlocking*/) override {
        if (m_access == O_WRONLY) {
            return -EBADF;
        }
        // The line was unexported under the open file.
        if (!m_gpios.StateOf(m_path.gpio).exported) {
            return -ENODEV;
        }
        const std::string text = m_path.kind == GpioFileKind::kValue
                                     ? m_gpios.Value(m_path.gpio)
                                     : m_gpios.Direction(m_path.gpio);
        const std::size_t count = std::min(buffer.size(), text.size() - m_offset);
        std::copy_n(text.begin() + static_cast<std::ptrdiff_t>(m_offset), count, buffer.begin());
        m_offset = count == 0 ? 0 : m_offset + count;
        return static_cast<IoResult>(count);
    }

    IoResult Write(std::span<const std::uint8_t> data, bool /*nonBlocking*/) override {
        if (m_access == O_RDONLY) {
            return -EBADF;
        }
        const std::string text(data.begin(), data.end());
        const IoResult result = Store(WithoutNewline(text));
        return result < 0 ? result : static_cast<IoResult>(data.size());
    }

private:
    IoResult Store(std::string_view text) {
        switch (m_path.kind) {
            case GpioFileKind::kExport:
                return m_gpios.Export(text, true);
            case GpioFileKind::kUnexport:
                return m_gpios.Export(text, false);
            case GpioFileKind::kDirection:
                return m_gpios.SetDirection(m_path.gpio, text);
            case GpioFileKind::kValue:
                return m_gpios.SetValue(m_path.gpio, text);
        }
        return -EIO;
    }

    SysfsGpio& m_gpios;
    GpioPath m_path;
    int m_access;
    std::size_t m_offset = 0;
};

SysfsGpio::SysfsGpio(Harness& harness, const std::array<unsigned, kHostLineCount>& gpios)
    : m_harness(harness), m_wired(gpios) {}

int SysfsGpio::Find(std::string_view path) const {
    if (path == kFolder) {
        return 0;
    }
    if (path.starts_with("/sys/class/gpio/gpio") &&
        path.find('/', kFolder.size() + 1) == std::string_view::npos) {
        const auto gpio = ParseNumber(path.substr(std::string_view("/sys/class/gpio/gpio").size()));
        return gpio && *gpio < kGpioCount && m_gpios.at(*gpio).exported ? 0 : ENOENT;
    }
    const auto parsed = ParsePath(path);
    return parsed && (!IsPerLine(*parsed) || m_gpios.at(parsed->gpio).exported) ? 0 : ENOENT;
}

Device::Opened SysfsGpio::Open(std::string_view path, int flags) {
    const auto parsed = ParsePath(path);
    if (!parsed) {
        // Creating a file in sysfs is refused, looking for one that is not there finds nothing.
        return {nullptr, (flags & O_CREAT) != 0 ? EACCES : ENOENT};
    }
    if (IsPerLine(*parsed) && !m_gpios.at(parsed->gpio).exported) {
        return {nullptr, ENOENT};
    }
    return {std::make_unique<GpioFile>(*this, *parsed, flags), 0};
}

Drive SysfsGpio::DriveOf(const GpioState& state) {
    if (!state.output) {
        return Drive::kReleased;
    }
    return state.high ? Drive::kHigh : Drive::kLow;
}

IoResult SysfsGpio::Export(std::string_view text, bool exported) {
    const auto gpio = ParseNumber(text);
    if (!gpio || *gpio >= kGpioCount) {
        return -EINVAL;
    }
    GpioState& state = m_gpios.at(*gpio);
    if (state.exported == exported) {
        return exported ? -EBUSY : -EINVAL;
    }
    // Neither changes what the pin does: the controller keeps its registers.
    state.exported = exported;
    return 0;
}

IoResult SysfsGpio::SetDirection(unsigned gpio, std::string_view text) {
    GpioState& state = m_gpios.at(gpio);
    if (!state.exported) {
        return -ENODEV;
    }
    if (text == "in") {
        state.output = false;
    } else if (text == "out" || text == "low") {
        state.output = true;
        state.high = false;
    } else if (text == "high") {
        state.output = true;
        state.high = true;
    } else {
        return -EINVAL;
    }
    Apply(gpio);
    return 0;
}

IoResult SysfsGpio::SetValue(unsigned gpio, std::string_view text) {
    GpioState& state = m_gpios.at(gpio);
    if (!state.exported) {
        return -ENODEV;
    }
    if (!state.output) {
        return -EPERM;
    }
    const auto value = ParseNumber(text);
    if (!value) {
        return -EINVAL;
    }
    state.high = *value != 0;
    Apply(gpio);
    return 0;
}

std::string SysfsGpio::Direction(unsigned gpio) const {
    return m_gpios.at(gpio).output ? "out\n" : "in\n";
}

std::string SysfsGpio::Value(unsigned gpio) const {
    const GpioState& state = m_gpios.at(gpio);
    bool high = state.output && state.high;
    const auto wired = std::find(m_wired.begin(), m_wired.end(), gpio);
    if (wired != m_wired.end()) {
        high = m_harness.IsHigh(static_cast<HostLine>(wired - m_wired.begin()));
    }
    return high ? "1\n" : "0\n";
}

void SysfsGpio::Apply(unsigned gpio) {
    const auto wired = std::find(m_wired.begin(), m_wired.end(), gpio);
    if (wired != m_wired.end()) {
        m_harness.Set(static_cast<HostLine>(wired - m_wired.begin()), DriveOf(m_gpios.at(gpio)));
    }
}

}  // namespace vboard
