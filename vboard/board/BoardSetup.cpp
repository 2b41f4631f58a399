// SPDX-License-Identifier: MIT
#include "vboard/board/BoardSetup.h"

#include <algorithm>
#include <array>
#include <utility>

#include "vboard/host/SysfsGpio.h"
#include "vboard/text/Format.h"
#include "vboard/text/Numbers.h"

namespace vboard {
namespace {

constexpr unsigned kLargestTrigger = 16;

constexpr std::size_t kLongestPath = 200;
constexpr std::size_t kLongestName = 60;
constexpr std::string_view kNoDevice = "none";

constexpr std::array<StartStateInfo, 5> kStartStates{{
    {StartState::kRunning, "running", "the application runs, if the memory holds one"},
    {StartState::kErased, "erased", "the whole memory is erased and nothing runs"},
    {StartState::kLoader, "loader", "the chip is in its loader, locked, with all lines released"},
    {StartState::kReset, "reset", "RESET_GPIO is an output at 1 and holds the chip in reset"},
    {StartState::kSilent, "silent", "the chip never says anything, whatever it does"},
}};

constexpr std::array<ChipOptionInfo, 8> kBoardOptions{{
    {"model", "a name of `vboard list models`", "the first of them",
     "wiring of the board: GPIO numbers and device names", ""},
    {"name", "letters, digits, '-', '_' and '.'", "the model's", "name of a board that is no model",
     ""},
    {"lines", "three numbers from 0 to 255, with commas", "the model's",
     "GPIO numbers of RESET_GPIO, RxD_NMI_GPIO and MSP_TCK_GPIO", ""},
    {"chip", "a name of `vboard list chips`", "the first of them", "the part on the board", ""},
    {"port", "a path below /dev/", "the model's", "name of the programming port", ""},
    {"comm", "a path below /dev/, or none", "the model's", "name of the communication device", ""},
    {"receive-trigger", "1..16", "1",
     "characters that the port's receive FIFO gathers before it hands them on", "16550-type UARTs"},
    {"start", "a name of `vboard list states`", kStartStates.front().name,
     "what a new board does at first", ""},
}};

/// The rows' names with commas between them, and `last` before the last one.
template <class Rows>
std::string Names(const Rows& rows, std::string_view last = ", ") {
    std::string names;
    for (const auto& row : rows) {
        if (!names.empty()) {
            names += &row == &rows.back() ? last : ", ";
        }
        names += row.name;
    }
    return names;
}

bool ParseTrigger(std::string_view value, unsigned& trigger) {
    return ParseWhole(value, 10, trigger) && trigger >= 1 && trigger <= kLargestTrigger;
}

bool ParseLines(std::string_view value, std::array<unsigned, kHostLineCount>& gpios) {
    for (unsigned& gpio : gpios) {
        const bool isLast = &gpio == &gpios.back();
        const std::size_t end = isLast ? value.size() : value.find(',');
        if (end == std::string_view::npos || !ParseWhole(value.substr(0, end), 10, gpio) ||
            gpio >= kGpioCount) {
            return false;
        }
        value.remove_prefix(isLast ? end : end + 1);
    }
    return gpios[0] != gpios[1] && gpios[0] != gpios[2] && gpios[1] != gpios[2];
}

bool IsName(std::string_view value) {
    return !value.empty() && value.size() <= kLongestName &&
           value.find_first_not_of(
               "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
               "0123456789-_.") == std::string_view::npos;
}

/// Whether the value fits a key that names the board's lines or devices.
bool IsWiring(std::string_view key, std::string_view value, std::string& problem) {
    std::array<unsigned, kHostLineCount> gpios{};
    if (key == "name" && !IsName(value)) {
        problem = Formatted(
            "'name' takes letters, digits, '-', '_' and '.', at most {} of them, not '{}'",
            kLongestName, value);
        return false;
    }
    if (key == "lines" && !ParseLines(value, gpios)) {
        problem = Formatted(
            "'lines' takes three different numbers from 0 to {} for reset, RxD/NMI and TCK, as "
            "90,86,91, not '{}'",
            kGpioCount - 1, value);
        return false;
    }
    const bool isPath = key == "port" || (key == "comm" && value != kNoDevice);
    if (isPath && (!value.starts_with("/dev/") || value.size() > kLongestPath)) {
        problem = Formatted("'{}' takes a path below /dev/ of at most {} characters, not '{}'", key,
                            kLongestPath, value);
        return false;
    }
    return true;
}

}  // namespace

std::span<const StartStateInfo> AllStartStates() {
    return kStartStates;
}

std::span<const ChipOptionInfo> BoardSetup::BoardOptions() {
    return kBoardOptions;
}

BoardSetup::BoardSetup() : m_model(&AllBoardModels().front()), m_part(&DefaultChipModel()) {
    Apply();
}

void BoardSetup::Apply() {
    const auto lines = m_set.find("lines");
    if (lines == m_set.end() || !ParseLines(lines->second, m_gpios)) {
        m_gpios = m_model->gpios;
    }
    const auto port = m_set.find("port");
    m_portPath = port == m_set.end() ? std::string(m_model->portPath) : port->second;
    const auto comm = m_set.find("comm");
    m_effectiveOptions = m_options;
    m_effectiveOptions.silent = m_options.silent || m_start == StartState::kSilent;
    m_commPath = comm == m_set.end() ? std::string(m_model->commPath) : comm->second;
    if (m_commPath == kNoDevice) {
        m_commPath.clear();
    }
}

std::string_view BoardSetup::Name() const {
    const auto name = m_set.find("name");
    return name == m_set.end() ? m_model->name : std::string_view(name->second);
}

bool BoardSetup::Set(std::string_view key, std::string_view value, std::string& problem) {
    if (!Take(key, value, problem)) {
        return false;
    }
    m_set[std::string(key)] = value;
    Apply();
    return true;
}

bool BoardSetup::Take(std::string_view key, std::string_view value, std::string& problem) {
    if (value.find('\n') != std::string_view::npos) {
        problem = Formatted("the value of '{}' must be one line", key);
        return false;
    }
    if (key == "model") {
        const BoardModel* model = FindBoardModel(value);
        if (model == nullptr) {
            problem = Formatted("unknown board model '{}': take one of {}", value,
                                Names(AllBoardModels()));
            return false;
        }
        m_model = model;
    } else if (key == "chip") {
        const ChipModel* part = FindChipModel(value);
        if (part == nullptr) {
            problem = Formatted("unknown chip '{}': take one of {}", value, Names(AllChipModels()));
            return false;
        }
        m_part = part;
    } else if (key == "name" || key == "lines" || key == "port" || key == "comm") {
        return IsWiring(key, value, problem);
    } else if (key == "receive-trigger") {
        unsigned trigger = 0;
        if (!ParseTrigger(value, trigger)) {
            problem = Formatted("'receive-trigger' takes a number from 1 to 16, not '{}'", value);
            return false;
        }
        m_receiveTrigger = trigger;
    } else if (key == "start") {
        const auto* found = std::find_if(kStartStates.begin(), kStartStates.end(),
                                         [value](const auto& row) { return row.name == value; });
        if (found == kStartStates.end()) {
            problem = Formatted("'start' takes {}, not '{}'", Names(kStartStates, " or "), value);
            return false;
        }
        m_start = found->state;
    } else {
        return SetChipOption(m_options, key, value, problem);
    }
    return true;
}

std::string BoardSetup::Text() const {
    std::string text;
    for (const auto& [key, value] : m_set) {
        text += Formatted("{}={}\n", key, value);
    }
    return text;
}

bool BoardSetup::Parse(std::string_view text, BoardSetup& setup, std::string& problem) {
    BoardSetup parsed;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            problem = Formatted("'{}' is not KEY=VALUE", line);
            return false;
        }
        if (!parsed.Set(line.substr(0, equals), line.substr(equals + 1), problem)) {
            return false;
        }
    }
    setup = std::move(parsed);
    return true;
}

}  // namespace vboard
