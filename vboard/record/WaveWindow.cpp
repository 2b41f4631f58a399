// SPDX-License-Identifier: MIT
#include "vboard/record/WaveWindow.h"

#include <algorithm>
#include <iterator>

#include "vboard/text/Format.h"

namespace vboard {
namespace {

/// Of the exchanges in a row that went well, those shown before and behind a fold.
constexpr std::size_t kShownBefore = 2;
constexpr std::size_t kShownBehind = 1;
constexpr std::size_t kLeastFolded = 2;

/// Where a picture ends, among all that happens at its last instant.
enum class End : std::uint8_t {
    kAll,             ///< Behind all of it.
    kBeforeNextCall,  ///< Before what the program does next.
    kAtModeChange,    ///< Where the chip gets to what it does next.
};

struct Fold {
    Instant from;
    Instant to;
    std::size_t count;
};

struct Window {
    Instant from;
    Instant to;
    End end = End::kAll;
    std::vector<Fold> folds;
};

struct Moment {
    Instant when;
    WaveState state;
};

int& At(WaveState& state, WaveLane lane) {
    return state.at(static_cast<std::size_t>(lane));
}

std::vector<Fold> FoldsOf(const std::vector<WaveExchange>& exchanges) {
    std::vector<Fold> folds;
    for (auto first = exchanges.begin(); first != exchanges.end();) {
        const auto goesOn = [&](const WaveExchange& exchange) {
            return exchange.accepted && exchange.operation == first->operation;
        };
        const auto end = std::find_if_not(first, exchanges.end(), goesOn);
        const auto count = static_cast<std::size_t>(end - first);
        if (count >= kShownBefore + kLeastFolded + kShownBehind) {
            folds.push_back({std::next(first, kShownBefore - 1)->end, std::prev(end)->start,
                             count - kShownBefore - kShownBehind});
        }
        first = end == first ? std::next(first) : end;
    }
    return folds;
}

std::optional<Window> EntryWindow(const WaveLog& log) {
    const auto& operations = log.Operations();
    const auto found =
        std::find_if(operations.begin(), operations.end(),
                     [](const WaveOperation& one) { return one.loaderEntered.has_value(); });
    if (found == operations.end()) {
        return std::nullopt;
    }
    return Window{found->start,
                  found->firstAnswerEnd.value_or(*found->loaderEntered),
                  End::kBeforeNextCall,
                  {}};
}

std::optional<Window> ResetWindow(const WaveLog& log) {
    const auto& operations = log.Operations();
    const auto found = std::find_if(operations.begin(), operations.end(),
                                    [](const WaveOperation& one) { return one.end.has_value(); });
    if (found == operations.end()) {
        return std::nullopt;
    }
    return Window{found->loaderLeft.value_or(found->start), *found->end, End::kAtModeChange, {}};
}

std::optional<Window> BlockWindow(const WaveLog& log) {
    const auto& exchanges = log.Exchanges();
    const auto found =
        std::find_if(exchanges.begin(), exchanges.end(),
                     [](const WaveExchange& one) { return one.isBlock && one.accepted; });
    if (found == exchanges.end()) {
        return std::nullopt;
    }
    return Window{found->start, found->end, End::kBeforeNextCall, {}};
}

std::optional<Window> RetryWindow(const WaveLog& log) {
    const auto& exchanges = log.Exchanges();
    const auto found = std::adjacent_find(
        exchanges.begin(), exchanges.end(), [](const WaveExchange& one, const WaveExchange& next) {
            return !one.accepted && one.operation == next.operation;
        });
    if (found == exchanges.end()) {
        return std::nullopt;
    }
    return Window{found->start, std::next(found)->end, End::kBeforeNextCall, {}};
}

std::optional<Window> WindowOf(const WaveLog& log, WavePart part) {
    switch (part) {
        case WavePart::kEntry:
            return EntryWindow(log);
        case WavePart::kReset:
            return ResetWindow(log);
        case WavePart::kBlock:
            return BlockWindow(log);
        case WavePart::kRetry:
            return RetryWindow(log);
        default:
            break;
    }
    if (log.Changes().empty()) {
        return std::nullopt;
    }
    return Window{log.Changes().front().when, log.Changes().back().when, End::kAll,
                  FoldsOf(log.Exchanges())};
}

bool EndsWindow(const WaveChange& change, const Window& window) {
    return change.when > window.to || (window.end == End::kBeforeNextCall &&
                                       change.when == window.to && change.callBegan == window.to);
}

/// What comes by itself at the first instant belongs to what was before, all but characters.
bool IsBefore(const WaveChange& change, const Window& window) {
    const bool startsBox =
        (change.lane == WaveLane::kHostTx || change.lane == WaveLane::kCommand) &&
        change.value != kNoBox;
    return change.when < window.from || (window.end != End::kAll && change.when == window.from &&
                                         change.callBegan < window.from && !startsBox);
}

/// The moments of a window; `before` becomes the state before it.
std::vector<Moment> MomentsOf(const WaveLog& log, const Window& window, WaveState& before) {
    std::vector<Moment> moments;
    before = log.StateAtBegin();
    WaveState state = before;
    std::array<bool, kWaveLaneCount> changed{};
    for (const WaveChange& change : log.Changes()) {
        if (EndsWindow(change, window)) {
            break;
        }
        At(state, change.lane) = change.value;
        if (IsBefore(change, window)) {
            before = state;
            continue;
        }
        bool& again = changed.at(static_cast<std::size_t>(change.lane));
        if (moments.empty() || moments.back().when != change.when || again) {
            moments.push_back({change.when, state});
            changed.fill(false);
        }
        again = true;
        moments.back().state = state;
        if (window.end == End::kAtModeChange && change.when == window.to &&
            change.lane == WaveLane::kChipMode) {
            break;
        }
    }
    return moments;
}

bool IsInFold(const Moment& moment, const Window& window) {
    return std::any_of(window.folds.begin(), window.folds.end(), [&](const Fold& fold) {
        return moment.when > fold.from && moment.when < fold.to;
    });
}

std::size_t FoldedFrom(Instant when, const Window& window) {
    for (const Fold& fold : window.folds) {
        if (fold.from == when) {
            return fold.count;
        }
    }
    return 0;
}

/// "100 ms", "1.15 ms", "0".
std::string LengthText(Duration length) {
    const auto hundredths = (length.count() + 5'000) / 10'000;
    if (hundredths == 0) {
        return "0";
    }
    if (hundredths % 100 == 0) {
        return Formatted("{} ms", hundredths / 100);
    }
    const std::string text = Formatted("{}.{:02}", hundredths / 100, hundredths % 100);
    return Formatted("{} ms", text.ends_with('0') ? text.substr(0, text.size() - 1) : text);
}

WaveState WithIdleLink(WaveState state) {
    for (const WaveLane lane : {WaveLane::kHostTx, WaveLane::kCommand, WaveLane::kHostRx}) {
        At(state, lane) = kNoBox;
    }
    return state;
}

}  // namespace

std::optional<Instant> StartOf(const WaveLog& log, WavePart part) {
    const auto window = WindowOf(log, part);
    return window ? std::optional(window->from) : std::nullopt;
}

std::vector<WaveStretch> StretchesOf(const WaveLog& log, WavePart part) {
    const auto window = WindowOf(log, part);
    if (!window) {
        return {};
    }
    WaveState before{};
    std::vector<Moment> moments = MomentsOf(log, *window, before);
    std::erase_if(moments, [&](const Moment& moment) { return IsInFold(moment, *window); });
    std::vector<WaveStretch> stretches;
    stretches.push_back({WithIdleLink(before), "", 0});
    for (std::size_t index = 0; index + 1 < moments.size(); ++index) {
        const Duration length = moments[index + 1].when - moments[index].when;
        const bool lasts = length > Duration::zero();
        const std::size_t folded = lasts ? FoldedFrom(moments[index].when, *window) : 0;
        const WaveState& state = moments[index].state;
        stretches.push_back({folded > 0 ? WithIdleLink(state) : state, LengthText(length), folded});
    }
    if (!moments.empty()) {
        stretches.push_back({moments.back().state, "", 0});
    }
    return stretches;
}

}  // namespace vboard
