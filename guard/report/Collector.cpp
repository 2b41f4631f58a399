// SPDX-License-Identifier: MIT
#include "guard/report/Collector.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string_view>
#include <utility>

namespace guard {
namespace {

constexpr mode_t kReadableByAll = 0644;
constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr std::size_t kFractionDigits = 9;

/// A label's value: backslash, quote and line feed are escaped.
std::string Label(std::string_view value) {
    std::string text;
    for (const char character : value) {
        if (character == '\\' || character == '"') {
            text += '\\';
        }
        text += character == '\n' ? std::string("\\n") : std::string(1, character);
    }
    return "\"" + text + "\"";
}

std::string Seconds(std::int64_t ns) {
    std::string fraction = std::to_string(ns % kNsPerSecond);
    fraction.insert(0, kFractionDigits - fraction.size(), '0');
    return std::to_string(ns / kNsPerSecond) + "." + fraction;
}

class Text {
public:
    explicit Text(std::string labels) : m_labels(std::move(labels)) {}

    void Head(std::string_view name, std::string_view help) {
        m_name = "flashguard_" + std::string(name);
        m_text += "# HELP " + m_name + " " + std::string(help) + "\n# TYPE " + m_name + " gauge\n";
    }
    void Value(const std::string& value, const std::string& label = "") {
        m_text += m_name + "{" + m_labels + label + "} " + value + "\n";
    }
    void Gauge(std::string_view name, std::string_view help, std::int64_t value) {
        Head(name, help);
        Value(std::to_string(value));
    }
    [[nodiscard]] std::string Take() { return std::move(m_text); }

private:
    std::string m_labels;
    std::string m_name;
    std::string m_text;
};

bool WriteAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written < 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

std::string CollectorText(const Verdict& verdict, std::int64_t unixSeconds) {
    Text text("board=" + Label(verdict.board) + ",command=" + Label(verdict.command));
    text.Gauge("status", "Exit status of the last run.", static_cast<int>(verdict.status));
    text.Gauge("end_timestamp_seconds", "When the last run ended.", unixSeconds);
    text.Head("duration_seconds", "Length of the last run.");
    text.Value(Seconds(verdict.totalNs));
    text.Head("phase_seconds", "Length of each phase of the last run.");
    for (std::size_t index = 0; index < kPhaseCount; ++index) {
        text.Value(Seconds(verdict.phaseNs.at(index)),
                   ",phase=" + Label(NameOf(static_cast<Phase>(index))));
    }
    text.Gauge("entries", "Ways into the loader that were tried.", verdict.entries);
    text.Gauge("reentries", "Sessions begun anew.", verdict.reentries);
    text.Gauge("retries", "Exchanges repeated.", verdict.retries);
    text.Gauge("line_errors", "Damaged characters and answers cut short.", verdict.lineErrors);
    text.Gauge("refusals", "Frames that the loader refused.", verdict.refusals);
    text.Gauge("image_bytes", "Bytes of the image.", verdict.imageBytes);
    const auto& version = verdict.versionAfter ? verdict.versionAfter : verdict.versionBefore;
    if (version) {
        text.Gauge("firmware_version", "What the firmware says of itself.", *version);
    }
    return text.Take();
}

int WriteWholeFile(const std::string& path, const std::string& text) {
    const std::string part = path + ".part";
    const int file =
        open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
             kReadableByAll);
    if (file < 0) {
        return errno;
    }
    int problem = WriteAll(file, text) && fsync(file) == 0 ? 0 : errno;
    if (close(file) != 0 && problem == 0) {
        problem = errno;
    }
    if (problem == 0 && std::rename(part.c_str(), path.c_str()) != 0) {
        problem = errno;
    }
    if (problem != 0) {
        (void)unlink(part.c_str());
    }
    return problem;
}

}  // namespace guard
