// SPDX-License-Identifier: MIT

// The two forms of a look at a board.

#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "vboard/host/TermiosText.h"
#include "vboard/probe/Signals.h"
#include "vboard/run/BoardView.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

using Json = nlohmann::ordered_json;

std::string_view ModeName(const BoardFile& file) {
    return ValueName(Signal::kChipMode, static_cast<std::uint32_t>(file.State().chip.mode));
}

std::string LoaderVersionText(const ChipModel& part) {
    return Formatted("{:x}.{:02x}", part.loaderVersion >> 8U, part.loaderVersion & 0xFFU);
}

std::string LoaderStateText(const BoardFile& file) {
    if (file.State().chip.mode != ChipMode::kLoader) {
        return "not entered";
    }
    return file.State().chip.loaderUnlocked ? "entered, unlocked" : "entered, locked";
}

void AppendLines(std::string& text, const BoardView& view) {
    text += "lines\n";
    for (const LineView& line : view.lines) {
        AppendFormatted(text, "  {:<14} gpio {:<3}  level {}  {}, {}\n", line.name, line.gpio,
                        line.high ? 1 : 0, line.output ? "output" : "input",
                        line.exported ? "exported" : "not exported");
    }
    AppendFormatted(text, "  {:<14} {}\n", "tristate",
                    view.file.State().tristate ? "on: the second link is cut" : "off");
}

void AppendMemory(std::string& text, const BoardView& view) {
    text += "memory\n";
    for (const MemoryArea& area : view.areas) {
        AppendFormatted(text, "  0x{:04X}-0x{:04X}  {}, segments of {} bytes\n", area.range.first,
                        area.range.last, area.name, area.segmentBytes);
        for (const MemoryStretch& stretch : area.stretches) {
            AppendFormatted(text, "    0x{:04X}-0x{:04X}  ", stretch.range.first,
                            stretch.range.last);
            text += stretch.programmedBytes == 0
                        ? "erased\n"
                        : Formatted("programmed, {} of {} bytes\n", stretch.programmedBytes,
                                    stretch.range.SizeBytes());
        }
    }
}

Json LinesJson(const BoardView& view) {
    Json lines = Json::object();
    for (const LineView& line : view.lines) {
        lines[std::string(line.name)] = {{"gpio", line.gpio},
                                         {"exported", line.exported},
                                         {"direction", line.output ? "out" : "in"},
                                         {"level", line.high ? 1 : 0}};
    }
    return lines;
}

Json MemoryJson(const BoardView& view) {
    Json areas = Json::array();
    for (const MemoryArea& area : view.areas) {
        Json stretches = Json::array();
        for (const MemoryStretch& stretch : area.stretches) {
            stretches.push_back({{"first", stretch.range.first},
                                 {"last", stretch.range.last},
                                 {"programmed_bytes", stretch.programmedBytes}});
        }
        areas.push_back({{"name", area.name},
                         {"first", area.range.first},
                         {"last", area.range.last},
                         {"segment_bytes", area.segmentBytes},
                         {"stretches", std::move(stretches)}});
    }
    return areas;
}

}  // namespace

std::string TextOf(const BoardView& view) {
    const BoardSetup& setup = view.file.Setup();
    const ChipModel& part = setup.Part();
    std::string text;
    const auto row = [&text](std::string_view name, std::string_view value) {
        AppendFormatted(text, "{:<12}{}\n", name, value);
    };
    row("model", setup.Name());
    row("port", Formatted("{}, {}", setup.PortPath(),
                          TermiosText(FromKernel(view.file.State().portSettings))));
    row("comm", setup.CommPath().empty() ? "none" : setup.CommPath());
    row("chip", part.name);
    row("state", ModeName(view.file));
    row("version", view.runningVersion
                       ? Formatted("{} (0x{:04x})", *view.runningVersion, *view.runningVersion)
                       : "no application runs");
    row("loader", Formatted("{}, chip id {:04x}, {}", LoaderVersionText(part), part.chipId,
                            LoaderStateText(view.file)));
    for (const auto& [key, value] : setup.Settings()) {
        row("option", Formatted("{}={}", key, value));
    }
    AppendLines(text, view);
    AppendMemory(text, view);
    if (view.weak != WeakBytes{}) {
        AppendFormatted(text, "  erased for too short a time: {} erased bytes, {} programmed\n",
                        view.weak.erased, view.weak.programmed);
    }
    return text;
}

std::string JsonOf(const BoardView& view) {
    const BoardSetup& setup = view.file.Setup();
    const ChipModel& part = setup.Part();
    Json options = Json::object();
    for (const auto& [key, value] : setup.Settings()) {
        options[key] = value;
    }
    const Json object{
        {"model", setup.Name()},
        {"port", setup.PortPath()},
        {"port_settings", TermiosText(FromKernel(view.file.State().portSettings))},
        {"comm", setup.CommPath().empty() ? Json(nullptr) : Json(setup.CommPath())},
        {"chip", part.name},
        {"state", ModeName(view.file)},
        {"version", view.runningVersion ? Json(*view.runningVersion) : Json(nullptr)},
        {"loader",
         {{"version", LoaderVersionText(part)},
          {"chip_id", part.chipId},
          {"entered", view.file.State().chip.mode == ChipMode::kLoader},
          {"unlocked", view.file.State().chip.loaderUnlocked}}},
        {"options", std::move(options)},
        {"lines", LinesJson(view)},
        {"tristate", view.file.State().tristate},
        {"memory", MemoryJson(view)},
        {"weak_bytes", {{"erased", view.weak.erased}, {"programmed", view.weak.programmed}}},
    };
    return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace vboard
