// SPDX-License-Identifier: MIT
#include "boardfile/BoardFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <utility>

#include "boardfile/Findings.h"

namespace boardfile {
namespace {

/// No board needs more; what is longer is another file.
constexpr std::size_t kLongestFileBytes = 64 * 1024UL;
constexpr std::int64_t kLongestEraseMs = 10'000;
/// A GPIO number is an int of the kernel's.
constexpr std::int64_t kHighestGpio = std::numeric_limits<int>::max();
constexpr std::uint16_t kMemoryEnd = 0xFFFF;

bool IsNameCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '-' || character == '_' ||
           character == '.';
}

/// Takes the keys of one file, and notes what is wrong with them.
class Keys {
public:
    Keys(Description& description, Findings& findings)
        : m_description(description), m_findings(findings) {}

    void TakeAll(const toml::table& file, std::span<const std::string_view> chips) {
        OnlyKnown(file, "",
                  {"name", "port", "communication", "chip", "lines", "memory", "erase", "speeds"});
        TakeName(file);
        TakePort(file);
        TakeCommunication(file);
        TakeChip(file, chips);
        TakeLines(file);
        TakeMemory(file);
        TakeErase(file);
        TakeSpeeds(file);
    }

private:
    void OnlyKnown(const toml::table& table, std::string_view prefix,
                   const std::vector<std::string_view>& known) {
        for (const auto& [key, node] : table) {
            if (std::find(known.begin(), known.end(), key.str()) == known.end()) {
                m_findings.Add(key.source().begin, "there is no key '" + std::string(prefix) +
                                                       std::string(key.str()) + "'; it can be " +
                                                       Choice(known));
            }
        }
    }

    /// The value at `key`, nullptr when there is none, which is a finding if it is `needed`.
    const toml::node* Find(const toml::table& table, std::string_view key, std::string_view named,
                           bool needed) {
        const toml::node* node = table.get(key);
        if (node == nullptr && needed) {
            m_findings.Add(table, "the key '" + std::string(named) + "' is missing");
        }
        return node;
    }

    std::optional<std::string> TextAt(const toml::table& table, std::string_view key, bool needed) {
        const toml::node* node = Find(table, key, key, needed);
        if (node == nullptr) {
            return std::nullopt;
        }
        const auto text = node->value_exact<std::string>();
        if (!text) {
            m_findings.Add(*node, "'" + std::string(key) + "' takes a text in quotes");
        }
        return text;
    }

    std::optional<std::int64_t> Number(const toml::node& node, const std::string& named,
                                       std::int64_t lowest, std::int64_t highest) {
        const auto number = node.value_exact<std::int64_t>();
        if (!number || *number < lowest || *number > highest) {
            m_findings.Add(node, "'" + named + "' takes a whole number from " +
                                     std::to_string(lowest) + " to " + std::to_string(highest));
            return std::nullopt;
        }
        return number;
    }

    /// A table below the file's, nullptr when there is none or it is something else.
    const toml::table* TableAt(const toml::table& table, std::string_view key, bool needed) {
        const toml::node* node = Find(table, key, key, needed);
        if (node != nullptr && !node->is_table()) {
            m_findings.Add(*node, "'" + std::string(key) + "' is a table, [" + std::string(key) +
                                      "] in a line of its own");
        }
        return node == nullptr ? nullptr : node->as_table();
    }

    void TakeName(const toml::table& file) {
        if (auto name = TextAt(file, "name", true)) {
            if (name->empty() || !std::all_of(name->begin(), name->end(), IsNameCharacter)) {
                m_findings.Add(*file.get("name"),
                               "'name' takes letters, digits, '-', '_' and '.', at least one");
            }
            m_description.name = std::move(*name);
        }
    }

    bool IsPath(const toml::table& file, const std::string& key, const std::string& path) {
        // A zero byte would end the path for the kernel and not for us.
        const bool good =
            path.size() > 1 && path.front() == '/' && path.find('\0') == std::string::npos;
        if (!good) {
            m_findings.Add(*file.get(key), "'" + key + "' takes a whole path, as \"/dev/ttyS1\"");
        }
        return good;
    }

    void TakePort(const toml::table& file) {
        if (auto port = TextAt(file, "port", true); port && IsPath(file, "port", *port)) {
            m_description.port = std::move(*port);
        }
    }

    void TakeCommunication(const toml::table& file) {
        if (auto path = TextAt(file, "communication", false);
            path && IsPath(file, "communication", *path)) {
            m_description.communication = std::move(*path);
        }
    }

    void TakeChip(const toml::table& file, std::span<const std::string_view> chips) {
        auto chip = TextAt(file, "chip", true);
        if (!chip) {
            return;
        }
        if (std::find(chips.begin(), chips.end(), *chip) == chips.end()) {
            m_findings.Add(*file.get("chip"), "there is no chip '" + *chip + "'; it can be " +
                                                  Choice({chips.begin(), chips.end()}));
        }
        m_description.chip = std::move(*chip);
    }

    void TakeLine(const toml::table& lines, std::string_view key, unsigned& line) {
        const std::string named = "lines." + std::string(key);
        if (const toml::node* node = Find(lines, key, named, true)) {
            line = static_cast<unsigned>(Number(*node, named, 0, kHighestGpio).value_or(0));
        }
    }

    void TakeLines(const toml::table& file) {
        const toml::table* lines = TableAt(file, "lines", true);
        if (lines == nullptr) {
            return;
        }
        OnlyKnown(*lines, "lines.", {"reset", "rxd_nmi", "tck"});
        const bool goodBefore = m_findings.Empty();
        TakeLine(*lines, "reset", m_description.reset);
        TakeLine(*lines, "rxd_nmi", m_description.rxdNmi);
        TakeLine(*lines, "tck", m_description.tck);
        const Description& board = m_description;
        if (goodBefore && m_findings.Empty() &&
            (board.reset == board.rxdNmi || board.reset == board.tck ||
             board.rxdNmi == board.tck)) {
            m_findings.Add(*lines, "two of the three lines have the same number");
        }
    }

    void TakeArea(const toml::table& memory, std::string_view key, std::optional<Area>& area) {
        const toml::node* node = memory.get(key);
        if (node == nullptr) {
            return;
        }
        const std::string named = "memory." + std::string(key);
        const toml::array* values = node->as_array();
        if (values == nullptr || values->size() != 3) {
            m_findings.Add(*node, "'" + named +
                                      "' takes three numbers, [first address, last address, bytes "
                                      "of a segment], as [0x2100, 0xFFFF, 512]");
            return;
        }
        const auto first = Number(*values->get(0), named, 0, kMemoryEnd);
        const auto last = Number(*values->get(1), named, 0, kMemoryEnd);
        const auto segment = Number(*values->get(2), named, 1, kMemoryEnd);
        if (!first || !last || !segment) {
            return;
        }
        if (*first >= *last || *first % 2 != 0 || *last % 2 != 1) {
            m_findings.Add(
                *node, "'" + named + "' begins at an even address and ends at a higher, odd one");
            return;
        }
        area = Area{static_cast<std::uint16_t>(*first), static_cast<std::uint16_t>(*last),
                    static_cast<std::uint16_t>(*segment)};
    }

    void TakeMemory(const toml::table& file) {
        const toml::table* memory = TableAt(file, "memory", false);
        if (memory == nullptr) {
            return;
        }
        OnlyKnown(*memory, "memory.", {"main", "information", "calibration", "version"});
        TakeArea(*memory, "main", m_description.main);
        TakeArea(*memory, "information", m_description.information);
        CheckAreas(*memory);
        if (const toml::node* node = memory->get("calibration")) {
            m_description.calibration = node->value_exact<bool>();
            if (!m_description.calibration) {
                m_findings.Add(*node, "'memory.calibration' takes true or false");
            }
        }
        if (const toml::node* node = memory->get("version")) {
            if (const auto address = Number(*node, "memory.version", 0, kMemoryEnd - 1)) {
                m_description.version = static_cast<std::uint16_t>(*address);
            }
        }
    }

    void CheckAreas(const toml::table& memory) {
        const auto& main = m_description.main;
        const auto& information = m_description.information;
        if (main && main->last != kMemoryEnd) {
            m_findings.Add(*memory.get("main"),
                           "'memory.main' ends at 0xFFFF, where the interrupt vectors are");
        }
        if (main && information && information->last >= main->first) {
            m_findings.Add(*memory.get("information"),
                           "'memory.information' lies below 'memory.main'");
        }
    }

    void TakeErase(const toml::table& file) {
        const toml::table* erase = TableAt(file, "erase", false);
        if (erase == nullptr) {
            return;
        }
        OnlyKnown(*erase, "erase.", {"total_ms"});
        if (const toml::node* node = erase->get("total_ms")) {
            if (const auto length = Number(*node, "erase.total_ms", 1, kLongestEraseMs)) {
                m_description.eraseTotalMs = static_cast<unsigned>(*length);
            }
        }
    }

    void TakeSpeeds(const toml::table& file) {
        const toml::table* speeds = TableAt(file, "speeds", false);
        if (speeds == nullptr) {
            return;
        }
        OnlyKnown(*speeds, "speeds.", {"9600", "19200", "38400"});
        for (const unsigned baud : {9600U, 19200U, 38400U}) {
            if (const toml::node* node = speeds->get(std::to_string(baud))) {
                TakeClock(*node, baud);
            }
        }
    }

    void TakeClock(const toml::node& node, unsigned baud) {
        const std::string named = "speeds." + std::to_string(baud);
        const toml::table* speed = node.as_table();
        const toml::array* clock = speed == nullptr ? nullptr : (*speed)["clock"].as_array();
        if (speed != nullptr) {
            OnlyKnown(*speed, named + ".", {"clock"});
        }
        if (clock == nullptr || clock->size() != 2) {
            m_findings.Add(node, "'" + named +
                                     ".clock' takes the two bytes that set the chip's clock, as "
                                     "[0xE0, 0x86]");
            return;
        }
        const auto d1 = Number(*clock->get(0), named + ".clock", 0, 0xFF);
        const auto d2 = Number(*clock->get(1), named + ".clock", 0, 0xFF);
        if (d1 && d2) {
            m_description.speeds.push_back(
                {baud, static_cast<std::uint8_t>(*d1), static_cast<std::uint8_t>(*d2)});
        }
    }

    Description& m_description;
    Findings& m_findings;
};

}  // namespace

bool ReadText(const std::string& path, std::string_view text,
              std::span<const std::string_view> chips, Description& description,
              std::vector<std::string>& problems) {
    Findings findings;
    Description found;
    found.path = path;
    const toml::parse_result file = toml::parse(text, path);
    if (file) {
        Keys(found, findings).TakeAll(file.table(), chips);
    } else {
        findings.Add(file.error().source().begin,
                     "this is not TOML: " + std::string(file.error().description()));
    }
    if (!findings.Empty()) {
        problems = findings.Lines(path);
        return false;
    }
    description = std::move(found);
    return true;
}

bool Read(const std::string& path, std::span<const std::string_view> chips,
          Description& description, std::vector<std::string>& problems) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::string text(kLongestFileBytes + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (!file.eof() || file.bad()) {
        problems = {text.size() > kLongestFileBytes
                        ? path + ":1: this is longer than 64 KiB, and no board's file"
                        : path + ":1: this can't be read: " + strerrordesc_np(errno)};
        return false;
    }
    return ReadText(path, text, chips, description, problems);
}

}  // namespace boardfile
