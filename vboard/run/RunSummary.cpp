// SPDX-License-Identifier: MIT
#include "vboard/run/RunSummary.h"

#include <sys/wait.h>

#include <nlohmann/json.hpp>

#include "vboard/text/Format.h"

namespace vboard {
namespace {

using Json = nlohmann::ordered_json;

std::uint64_t LengthOf(const Activity& activity) {
    return activity.lineNs + activity.busyNs + activity.pauseNs + activity.waitingNs;
}

/// `count` is not among them: there is no sum of it.
void AddFields(Json& object, const Activity& activity) {
    object["virtual_time_ns"] = LengthOf(activity);
    for (const ActivityField& field : AllActivityFields().subspan(1)) {
        object[std::string(field.name)] = activity.*field.value;
    }
}

Activity Total(const SummaryCounts& counts) {
    Activity total{};
    for (const Activity& activity : counts) {
        Add(total, activity);
    }
    return total;
}

Json EndOf(const RunResult& result) {
    Json end;
    end["status"] = WIFEXITED(result.status) ? Json(WEXITSTATUS(result.status)) : Json(nullptr);
    end["signal"] = WIFSIGNALED(result.status) ? Json(WTERMSIG(result.status)) : Json(nullptr);
    const bool judged = result.report.verdict != static_cast<std::uint32_t>(Verdict::kNone);
    end["verdict"] = judged ? Json(result.report.verdictText.data()) : Json(nullptr);
    return end;
}

Json ChipOf(const BoardFile& board) {
    Json chip;
    chip["mode"] =
        ValueName(Signal::kChipMode, static_cast<std::uint32_t>(board.State().chip.mode));
    std::uint16_t version = 0;
    const bool runs =
        RunningVersion(board.State(), board.ChipMemory(), board.Setup().Options(), version);
    chip["version"] = runs ? Json(version) : Json(nullptr);
    const WeakBytes weak = WeakBytesOf(board);
    chip["weakly_erased_bytes"] = weak.erased;
    chip["weakly_programmed_bytes"] = weak.programmed;
    return chip;
}

Json FlashOf(const RunResult& result) {
    if (result.image == nullptr) {
        return nullptr;
    }
    const FlashComparison found = CompareFlash(*result.image, result.board);
    Json flash;
    flash["image"] = result.imagePath;
    flash["image_bytes"] = result.image->CoveredBytes();
    flash["equal"] = found.differentBytes == 0;
    flash["different_bytes"] = found.differentBytes;
    flash["first_difference"] = found.firstDifference < 0
                                    ? Json(nullptr)
                                    : Json(Formatted("0x{:04x}", found.firstDifference));
    flash["leftover_bytes"] = found.leftoverBytes;
    return flash;
}

}  // namespace

FlashComparison CompareFlash(const image::MemoryImage& image, const BoardFile& board) {
    const auto& main = board.Setup().Part().mainMemory;
    const Memory memory = board.ChipMemory();
    FlashComparison found;
    for (std::size_t place = 0; place < kMemorySizeBytes; ++place) {
        const auto address = static_cast<std::uint16_t>(place);
        if (!image.Covers(address)) {
            found.leftoverBytes += main.Contains(address) && memory[place] != kErasedByte ? 1 : 0;
        } else if (image.At(address) != memory[place]) {
            found.firstDifference = found.differentBytes++ == 0 ? address : found.firstDifference;
        }
    }
    return found;
}

std::string SummaryJson(const RunResult& result) {
    Json summary;
    summary["end"] = EndOf(result);
    summary["programs"] = result.report.worlds;
    AddFields(summary, Total(result.counts));
    Json& operations = summary["operations"];
    for (std::size_t index = 0; index < kOperationCount; ++index) {
        Json& operation = operations[std::string(NameOf(static_cast<Operation>(index)))];
        operation["count"] = result.counts.at(index).count;
        AddFields(operation, result.counts.at(index));
    }
    summary["chip"] = ChipOf(result.board);
    summary["flash"] = FlashOf(result);
    return summary.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace vboard
