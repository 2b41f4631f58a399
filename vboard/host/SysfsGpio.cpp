// SPDX-License-Identifier: MIT
#include "vboard/host/SysfsGpio.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <utility>

#include "vboard/text/Numbers.h"

namespace vboard {
namespace {

enum class GpioFileKind : std::uint8_t {
    kExport,
    kUnexport,
    kDirection,
    kValue,
    kActiveLow,
    kEdge,
    kFolder
};

/// The files of a line, in the order in which a folder lists them.
constexpr std::array<std::pair<std::string_view, GpioFileKind>, 4> kLineFiles{{
    {"active_low", GpioFileKind::kActiveLow},
    {"direction", GpioFileKind::kDirection},
    {"edge", GpioFileKind::kEdge},
    {"value", GpioFileKind::kValue},
}};

/// The words of the file "edge".
constexpr std::array<std::string_view, 4> kEdges{"none", "rising", "falling", "both"};

struct GpioPath {
    GpioFileKind kind;
    unsigned gpio;
};

/// A name's number: decimal digits alone, as the kernel names the folders.
std::optional<unsigned> ParseFolderNumber(std::string_view text) {
    unsigned number = 0;
    const bool padded = text.size() > 1 && text.front() == '0';
    return !padded && ParseWhole(text, 10, number) ? std::optional(number) : std::nullopt;
}

/// A number as the kernel's kstrtol takes it: a sign, then decimal, 0x or 0 for octal; nothing else
/// beside it.
std::optional<long> ParseNumber(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    int base = 10;
    if (TakeHexPrefix(text)) {
        base = 16;
    } else if (text.size() > 1 && text.front() == '0') {
        base = 8;
    }
    // A second sign is not a number.
    if (text.empty() || text.front() == '-') {
        return std::nullopt;
    }
    long number = 0;
    if (!ParseWhole(text, base, number)) {
        return std::nullopt;
    }
    return negative ? -number : number;
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
    const auto gpio = ParseFolderNumber(path.substr(kPrefix.size(), slash - kPrefix.size()));
    const std::string_view file = path.substr(slash);
    if (!gpio || *gpio >= kGpioCount) {
        return std::nullopt;
    }
    const auto* found =
        std::find_if(kLineFiles.begin(), kLineFiles.end(),
                     [file](const auto& each) { return each.first == file.substr(1); });
    return found == kLineFiles.end() ? std::nullopt : std::optional(GpioPath{found->second, *gpio});
}

bool IsPerLine(const GpioPath& path) {
    return path.kind != GpioFileKind::kExport && path.kind != GpioFileKind::kUnexport &&
           path.kind != GpioFileKind::kFolder;
}

}  // namespace

/// One opening of one of the files. What has been read to its end is read again after a seek to 0.
class GpioFile : public DeviceFile {
public:
    GpioFile(SysfsGpio& gpios, GpioPath path, int flags)
        : m_gpios(gpios), m_path(path), m_access(flags & O_ACCMODE) {}

    IoResult Read(std::span<std::uint8_t> buffer, bool /*nonBlocking*/) override {
        if (m_access == O_WRONLY) {
            return -EBADF;
        }
        if (m_path.kind == GpioFileKind::kFolder) {
            return -EISDIR;
        }
        m_seen = true;
        // The line was unexported under the open file.
        if (!m_gpios.States().at(m_path.gpio).exported) {
            return -ENODEV;
        }
        const std::string text = Text();
        const std::size_t offset = std::min(m_offset, text.size());
        const std::size_t count = std::min(buffer.size(), text.size() - offset);
        std::copy_n(text.begin() + static_cast<std::ptrdiff_t>(offset), count, buffer.begin());
        m_offset += count;
        return static_cast<IoResult>(count);
    }

    IoResult Write(std::span<const std::uint8_t> data, bool /*nonBlocking*/) override {
        if (m_access == O_RDONLY) {
            return -EBADF;
        }
        // The kernel drops an empty write before the attribute hears of it.
        if (data.empty()) {
            return 0;
        }
        const std::string text(data.begin(), data.end());
        const IoResult result = Store(WithoutNewline(text));
        if (result < 0) {
            return result;
        }
        m_offset += data.size();
        return static_cast<IoResult>(data.size());
    }

    /// kernfs: a file of sysfs is always ready, and it is news until it has been read.
    [[nodiscard]] Readiness Ready() const override {
        return {true, true, IsPerLine(m_path) && !m_seen};
    }

    IoResult Seek(std::int64_t offset, int whence) override {
        if (whence == SEEK_CUR) {
            offset += static_cast<std::int64_t>(m_offset);
        }
        if (offset < 0 || (whence != SEEK_SET && whence != SEEK_CUR)) {
            return -EINVAL;
        }
        m_offset = static_cast<std::size_t>(offset);
        return offset;
    }

private:
    [[nodiscard]] std::string Text() const {
        switch (m_path.kind) {
            case GpioFileKind::kValue:
                return m_gpios.Value(m_path.gpio);
            case GpioFileKind::kActiveLow:
                return m_gpios.ActiveLow(m_path.gpio);
            case GpioFileKind::kEdge:
                return m_gpios.Edge(m_path.gpio);
            default:
                return m_gpios.Direction(m_path.gpio);
        }
    }

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
            case GpioFileKind::kActiveLow:
                return m_gpios.SetActiveLow(m_path.gpio, text);
            case GpioFileKind::kEdge:
                return m_gpios.SetEdge(m_path.gpio, text);
            case GpioFileKind::kFolder:
                break;
        }
        return -EIO;
    }

    SysfsGpio& m_gpios;
    GpioPath m_path;
    int m_access;
    std::size_t m_offset = 0;
    bool m_seen = false;
};

SysfsGpio::SysfsGpio(Harness& harness, const std::array<unsigned, kHostLineCount>& gpios)
    : m_harness(harness), m_wired(gpios) {}

PathKind SysfsGpio::Find(std::string_view path) const {
    constexpr std::string_view kLinePrefix = "/sys/class/gpio/gpio";
    if (path == kFolder) {
        return PathKind::kFolder;
    }
    if (path.starts_with(kLinePrefix) &&
        path.find('/', kLinePrefix.size()) == std::string_view::npos) {
        const auto gpio = ParseFolderNumber(path.substr(kLinePrefix.size()));
        return gpio && *gpio < kGpioCount && m_gpios.at(*gpio).exported ? PathKind::kFolder
                                                                        : PathKind::kNone;
    }
    const auto parsed = ParsePath(path);
    return parsed && (!IsPerLine(*parsed) || m_gpios.at(parsed->gpio).exported) ? PathKind::kFile
                                                                                : PathKind::kNone;
}

std::vector<std::string> SysfsGpio::NamesIn(std::string_view path) const {
    std::vector<std::string> names;
    if (Find(path) != PathKind::kFolder) {
        return names;
    }
    if (path != kFolder) {
        for (const auto& file : kLineFiles) {
            names.emplace_back(file.first);
        }
        return names;
    }
    names = {"export", "unexport"};
    for (unsigned gpio = 0; gpio < kGpioCount; ++gpio) {
        if (m_gpios.at(gpio).exported) {
            names.push_back("gpio" + std::to_string(gpio));
        }
    }
    return names;
}

Device::Opened SysfsGpio::Open(std::string_view path, int flags) {
    if (Find(path) == PathKind::kFolder) {
        return {std::make_unique<GpioFile>(*this, GpioPath{GpioFileKind::kFolder, 0}, flags), 0};
    }
    const auto parsed = ParsePath(path);
    if (!parsed) {
        // Creating a file in sysfs is refused, looking for one that is not there finds nothing.
        return {nullptr, (flags & O_CREAT) != 0 ? EACCES : ENOENT};
    }
    if (IsPerLine(*parsed) && !m_gpios.at(parsed->gpio).exported) {
        return {nullptr, ENOENT};
    }
    // Their mode is write-only, and sysfs holds to it for root as well.
    if (!IsPerLine(*parsed) && (flags & O_ACCMODE) != O_WRONLY) {
        return {nullptr, EACCES};
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
    const auto number = ParseNumber(text);
    if (!number || *number < 0 || *number >= static_cast<long>(kGpioCount)) {
        return -EINVAL;
    }
    GpioState& state = m_gpios.at(static_cast<std::size_t>(*number));
    if (state.exported == exported) {
        return exported ? -EBUSY : -EINVAL;
    }
    // Neither changes what the pin does: the controller keeps its registers.
    state.exported = exported;
    state.activeLow = false;
    state.edge = 0;
    return 0;
}

IoResult SysfsGpio::SetDirection(unsigned gpio, std::string_view text) {
    GpioState& state = m_gpios.at(gpio);
    if (!state.exported) {
        return -ENODEV;
    }
    const bool tellsEdges = state.edge != 0;
    if (text == "in") {
        state.output = false;
    } else if (tellsEdges && (text == "out" || text == "low" || text == "high")) {
        return -EIO;  // The line is tied to an interrupt.
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
    state.high = (*value != 0) != state.activeLow;
    Apply(gpio);
    return 0;
}

IoResult SysfsGpio::SetActiveLow(unsigned gpio, std::string_view text) {
    GpioState& state = m_gpios.at(gpio);
    if (!state.exported) {
        return -ENODEV;
    }
    const auto value = ParseNumber(text);
    if (!value) {
        return -EINVAL;
    }
    state.activeLow = *value != 0;
    return 0;
}

IoResult SysfsGpio::SetEdge(unsigned gpio, std::string_view text) {
    if (!m_gpios.at(gpio).exported) {
        return -ENODEV;
    }
    const auto* found = std::find(kEdges.begin(), kEdges.end(), text);
    if (found == kEdges.end()) {
        return -EINVAL;
    }
    if (found != kEdges.begin() && m_gpios.at(gpio).output) {
        return -EIO;  // An output can't raise interrupts.
    }
    m_gpios.at(gpio).edge = static_cast<unsigned>(found - kEdges.begin()) & 3U;
    return 0;
}

std::string SysfsGpio::Edge(unsigned gpio) const {
    return std::string(kEdges.at(m_gpios.at(gpio).edge)) + "\n";
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
    return high != state.activeLow ? "1\n" : "0\n";
}

std::string SysfsGpio::ActiveLow(unsigned gpio) const {
    return m_gpios.at(gpio).activeLow ? "1\n" : "0\n";
}

void SysfsGpio::Apply(unsigned gpio) {
    const auto wired = std::find(m_wired.begin(), m_wired.end(), gpio);
    if (wired != m_wired.end()) {
        m_harness.Set(static_cast<HostLine>(wired - m_wired.begin()), DriveOf(m_gpios.at(gpio)));
    }
}

}  // namespace vboard
