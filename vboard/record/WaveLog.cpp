// SPDX-License-Identifier: MIT
#include "vboard/record/WaveLog.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "vboard/probe/LoaderCodes.h"

namespace vboard {
namespace {

/// The lane that shows a signal; kCount for those that pictures leave out.
WaveLane LaneOf(Signal signal) {
    switch (signal) {
        case Signal::kResetGpio:
            return WaveLane::kResetGpio;
        case Signal::kRxdNmiGpio:
            return WaveLane::kRxdNmiGpio;
        case Signal::kMspTckGpio:
            return WaveLane::kMspTckGpio;
        case Signal::kTristate:
            return WaveLane::kTristate;
        case Signal::kChipMode:
            return WaveLane::kChipMode;
        case Signal::kLoaderState:
            return WaveLane::kLoaderState;
        case Signal::kChipBusy:
            return WaveLane::kChipBusy;
        default:
            return WaveLane::kCount;
    }
}

}  // namespace

WaveLog::WaveLog(const VirtualClock& clock) : m_clock(clock), m_first{} {
    for (const WaveLane lane : {WaveLane::kHostTx, WaveLane::kCommand, WaveLane::kHostRx}) {
        m_first.at(static_cast<std::size_t>(lane)) = kNoBox;
    }
    for (const SignalInfo& info : AllSignals()) {
        WaveLog::OnSignal(info.signal, info.idleValue);
    }
}

void WaveLog::Begin() {
    m_begun = true;
}

void WaveLog::Finish() {
    CloseBox(WaveLane::kHostTx);
    CloseBox(WaveLane::kHostRx);
    // At one instant, what comes by itself goes before what the program does next.
    std::stable_sort(
        m_changes.begin(), m_changes.end(), [](const WaveChange& one, const WaveChange& other) {
            return std::tie(one.when, one.callBegan) < std::tie(other.when, other.callBegan);
        });
}

void WaveLog::Change(Instant when, WaveLane lane, int value, Instant callBegan) {
    if (m_begun) {
        m_changes.push_back({when, lane, value, callBegan});
    } else {
        m_first.at(static_cast<std::size_t>(lane)) = value;
    }
}

void WaveLog::OnSignal(Signal signal, std::uint32_t value) {
    const WaveLane lane = LaneOf(signal);
    if (lane != WaveLane::kCount) {
        Change(m_clock.Now(), lane, static_cast<int>(value), m_callBegan);
    }
    if (signal == Signal::kChipMode) {
        SetMode(static_cast<ChipMode>(value));
    }
}

void WaveLog::SetMode(ChipMode mode) {
    const bool inside = IsWithinOperation(mode);
    const Instant now = m_clock.Now();
    if (inside && !m_inside) {
        m_operations.push_back({now, {}, {}, {}, {}});
    }
    if (m_inside || inside) {
        WaveOperation& operation = m_operations.back();
        if (mode == ChipMode::kLoader) {
            operation.loaderEntered = operation.loaderEntered.value_or(now);
        } else if (operation.loaderEntered) {
            operation.loaderLeft = operation.loaderLeft.value_or(now);
        }
        if (!inside) {
            operation.end = now;
        }
    }
    m_inside = inside;
    m_syncStart.reset();
    m_awaitsAnswer = false;
}

int& WaveLog::OpenBox(WaveLane lane) {
    return lane == WaveLane::kHostTx ? m_openTx : m_openRx;
}

void WaveLog::OnCharacter(const WireCharacter& character) {
    const WaveLane lane =
        character.direction == Direction::kHostToChip ? WaveLane::kHostTx : WaveLane::kHostRx;
    int& open = OpenBox(lane);
    if (open != kNoBox && m_boxes.at(static_cast<std::size_t>(open)).end != character.start) {
        CloseBox(lane);
    }
    if (open == kNoBox) {
        open = static_cast<int>(m_boxes.size());
        m_boxes.push_back({lane, character.start, character.start, m_callBegan, {}, {}});
        Change(character.start, lane, open, m_callBegan);
    }
    WaveBox& box = m_boxes.at(static_cast<std::size_t>(open));
    box.bytes.push_back(character.value);
    box.end = character.End();
    if (lane == WaveLane::kHostRx) {
        TakeAnswer(box);
    }
}

void WaveLog::CloseBox(WaveLane lane) {
    const int box = std::exchange(OpenBox(lane), kNoBox);
    if (box == kNoBox) {
        return;
    }
    const WaveBox& closed = m_boxes.at(static_cast<std::size_t>(box));
    Change(closed.end, lane, kNoBox, Instant::min());
    if (!closed.words.empty()) {
        Change(closed.start, WaveLane::kCommand, box, closed.callBegan);
        Change(closed.end, WaveLane::kCommand, kNoBox, Instant::min());
    }
}

void WaveLog::TakeAnswer(const WaveBox& box) {
    if (m_inside && m_operations.back().loaderEntered && !m_operations.back().loaderLeft) {
        WaveOperation& operation = m_operations.back();
        operation.firstAnswerEnd = operation.firstAnswerEnd.value_or(box.end);
    }
    if (std::exchange(m_awaitsAnswer, false)) {
        m_answerBox = m_openRx;
        m_exchanges.back().accepted =
            box.bytes.back() == kAckByte || box.bytes.back() == kFrameHeader;
    }
    if (m_answerBox == m_openRx) {
        m_exchanges.back().end = box.end;
    }
}

void WaveLog::OnLoaderCommand(const LoaderCommand& command) {
    Instant start = m_clock.Now();
    Instant end = start;
    if (m_openTx != kNoBox) {
        WaveBox& box = m_boxes.at(static_cast<std::size_t>(m_openTx));
        box.words += box.words.empty() ? "" : "; ";
        box.words += command.words;
        start = box.start;
        end = box.end;
    }
    if (command.command == kSyncByte) {
        m_syncStart = start;
        return;
    }
    m_exchanges.push_back({m_syncStart.value_or(start), end, m_operations.size() - 1,
                           command.command == kReceiveBlock, false});
    m_syncStart.reset();
    m_awaitsAnswer = true;
    m_answerBox = kNoBox;
}

}  // namespace vboard
