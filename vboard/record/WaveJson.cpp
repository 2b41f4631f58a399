// SPDX-License-Identifier: MIT
#include "vboard/record/WaveJson.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <numeric>
#include <utility>

#include "vboard/record/WaveWindow.h"
#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace vboard {
namespace {

// A column of WaveDrom is 40 units wide; a letter of its labels takes up to 8 of them, by the font
// at hand, and the slopes of a box take 10.
constexpr std::size_t kColumnUnits = 40;
constexpr std::size_t kLetterUnits = 8;
constexpr std::size_t kBoxUnits = 10;

/// Of a longer box, the first and the last bytes are shown.
constexpr std::size_t kMostBytes = 12;
constexpr std::size_t kFirstBytes = 8;
constexpr std::size_t kLastBytes = 2;

struct LaneInfo {
    std::string_view name;
    std::optional<Signal> names;  ///< Whose values have names; other lanes are levels or boxes.
    char box;                     ///< WaveDrom's letter for a box: its colour.
};

constexpr std::array<LaneInfo, kWaveLaneCount> kLanes{{
    {"reset_gpio", {}, 0},
    {"rxd_nmi_gpio", {}, 0},
    {"msp_tck_gpio", {}, 0},
    {"tristate", {}, 0},
    {"chip_mode", Signal::kChipMode, '4'},
    {"host_tx", {}, '3'},
    {"loader takes", {}, '2'},
    {"host_rx", {}, '5'},
    {"loader_state", Signal::kLoaderState, '4'},
    {"chip_busy", {}, 0},
}};

/// One lane as WaveDrom has it: a letter for each column, and the labels of its boxes.
struct Lane {
    std::string wave;
    std::vector<std::string> labels;
};

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\') {
            quoted += '\\';
        }
        quoted += letter;
    }
    return quoted + "\"";
}

std::string BytesText(const std::vector<std::uint8_t>& bytes) {
    if (bytes.size() <= kMostBytes) {
        return HexText(bytes);
    }
    const std::span<const std::uint8_t> all = bytes;
    return HexText(all.first(kFirstBytes)) + " … " + HexText(all.last(kLastBytes));
}

/// Letters, not bytes.
std::size_t LengthOf(std::string_view label) {
    return static_cast<std::size_t>(std::count_if(label.begin(), label.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

std::size_t ColumnsFor(std::string_view label) {
    return (LengthOf(label) * kLetterUnits + kBoxUnits + kColumnUnits - 1) / kColumnUnits;
}

class Picture {
public:
    /// At least as wide as `title`.
    Picture(const WaveLog& log, std::vector<WaveStretch> stretches, std::string_view title)
        : m_log(log), m_stretches(std::move(stretches)), m_columns(m_stretches.size(), 1) {
        Widen();
        WidenLast(ColumnsFor(title));
    }

    [[nodiscard]] std::string Text() const {
        std::string text;
        for (std::size_t lane = 0; lane < kWaveLaneCount; ++lane) {
            if (Moves(lane)) {
                text += Formatted("    {},\n", LaneText(kLanes.at(lane).name, Draw(lane)));
            }
        }
        return text + Formatted("    {}\n", LaneText("time", DrawTime()));
    }

private:
    [[nodiscard]] int Value(std::size_t stretch, std::size_t lane) const {
        return m_stretches[stretch].state.at(lane);
    }

    [[nodiscard]] bool Moves(std::size_t lane) const {
        const int first = Value(0, lane);
        return std::any_of(m_stretches.begin(), m_stretches.end(),
                           [&](const WaveStretch& one) { return one.state.at(lane) != first; });
    }

    /// Empty for a level.
    [[nodiscard]] std::string LabelOf(std::size_t lane, int value) const {
        const LaneInfo& info = kLanes.at(lane);
        if (info.box == 0) {
            return "";
        }
        if (info.names) {
            return std::string(ValueName(*info.names, static_cast<std::uint32_t>(value)));
        }
        if (value == kNoBox) {
            return "";
        }
        const WaveBox& box = m_log.Boxes().at(static_cast<std::size_t>(value));
        return static_cast<WaveLane>(lane) == WaveLane::kCommand ? box.words : BytesText(box.bytes);
    }

    static std::string TimeLabel(const WaveStretch& stretch) {
        return stretch.folded == 0
                   ? stretch.label
                   : Formatted("{} more exchanges, {}", stretch.folded, stretch.label);
    }

    /// Gives every stretch the columns that its label needs, then every box those that its own
    /// does: the missing ones go to its longest stretch, the first of equals.
    void Widen() {
        for (std::size_t index = 0; index < m_stretches.size(); ++index) {
            m_columns[index] = ColumnsFor(TimeLabel(m_stretches[index]));
        }
        for (std::size_t lane = 0; lane < kWaveLaneCount; ++lane) {
            for (std::size_t first = 0; Moves(lane) && first < m_stretches.size();) {
                const std::size_t end = EndOfValue(first, lane);
                WidenBox(first, end, ColumnsFor(LabelOf(lane, Value(first, lane))));
                first = end;
            }
        }
    }

    void WidenLast(std::size_t columns) {
        const std::size_t sum = std::accumulate(m_columns.begin(), m_columns.end(), std::size_t{0});
        m_columns.back() += sum < columns ? columns - sum : 0;
    }

    void WidenBox(std::size_t first, std::size_t end, std::size_t columns) {
        std::size_t sum = 0;
        std::size_t widest = first;
        for (std::size_t index = first; index < end; ++index) {
            sum += m_columns[index];
            widest = m_columns[index] > m_columns[widest] ? index : widest;
        }
        m_columns[widest] += sum < columns ? columns - sum : 0;
    }

    [[nodiscard]] std::size_t EndOfValue(std::size_t first, std::size_t lane) const {
        std::size_t end = first + 1;
        while (end < m_stretches.size() && Value(end, lane) == Value(first, lane)) {
            ++end;
        }
        return end;
    }

    /// The columns of a stretch behind its first.
    [[nodiscard]] std::string Rest(std::size_t stretch) const {
        std::string rest(m_columns[stretch] - 1, '.');
        if (m_stretches[stretch].folded > 0) {
            rest.at(rest.size() / 2) = '|';
        }
        return rest;
    }

    [[nodiscard]] Lane Draw(std::size_t lane) const {
        Lane drawn;
        for (std::size_t index = 0; index < m_stretches.size(); ++index) {
            const int value = Value(index, lane);
            const std::string label = LabelOf(lane, value);
            if (index > 0 && value == Value(index - 1, lane)) {
                drawn.wave += '.';
            } else if (!label.empty()) {
                drawn.wave += kLanes.at(lane).box;
                drawn.labels.push_back(label);
            } else {
                drawn.wave += Level(lane, value);
            }
            drawn.wave += Rest(index);
        }
        return drawn;
    }

    /// Serial lines are high while idle; a row without wires shows nothing.
    static char Level(std::size_t lane, int value) {
        if (static_cast<WaveLane>(lane) == WaveLane::kCommand) {
            return 'z';
        }
        return value == 0 ? '0' : '1';
    }

    [[nodiscard]] Lane DrawTime() const {
        Lane drawn;
        for (std::size_t index = 0; index < m_stretches.size(); ++index) {
            const std::string label = TimeLabel(m_stretches[index]);
            drawn.wave += label.empty() ? 'z' : '2';
            drawn.wave += std::string(m_columns[index] - 1, '.');
            if (!label.empty()) {
                drawn.labels.push_back(label);
            }
        }
        return drawn;
    }

    static std::string LaneText(std::string_view name, const Lane& lane) {
        std::string text =
            Formatted("{{\"name\": {}, \"wave\": {}", Quoted(name), Quoted(lane.wave));
        if (!lane.labels.empty()) {
            std::string quoted;
            for (const std::string& label : lane.labels) {
                quoted += (quoted.empty() ? "" : ", ") + Quoted(label);
            }
            text += ", \"data\": [" + quoted + "]";
        }
        return text + "}";
    }

    const WaveLog& m_log;
    std::vector<WaveStretch> m_stretches;
    std::vector<std::size_t> m_columns;  ///< Of each stretch.
};

std::string Title(const WavePartInfo& info, std::optional<Instant> start) {
    if (!start) {
        return Formatted("not in this run: {}", info.title);
    }
    const auto microseconds =
        std::chrono::floor<std::chrono::microseconds>(start->time_since_epoch()).count();
    return Formatted("{}, from {}.{:06} s", info.title, microseconds / 1'000'000,
                     microseconds % 1'000'000);
}

}  // namespace

std::string WaveJson(const WaveLog& log, WavePart part) {
    const WavePartInfo& info = AllWaveParts()[static_cast<std::size_t>(part)];
    const std::vector<WaveStretch> stretches = StretchesOf(log, part);
    const std::string title = Title(info, StartOf(log, part));
    const std::string lanes = stretches.empty() ? "" : Picture(log, stretches, title).Text();
    return Formatted(
        "{{\n  \"signal\": [\n{}  ],\n  \"head\": {{\"text\": {}}},\n  \"foot\": {{\"text\": {}}}\n"
        "}}\n",
        lanes, Quoted(title), Quoted("not to scale"));
}

}  // namespace vboard
