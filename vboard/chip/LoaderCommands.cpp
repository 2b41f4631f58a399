// SPDX-License-Identifier: MIT
#include "vboard/chip/LoaderCommands.h"

#include <algorithm>
#include <array>

#include "vboard/probe/LoaderCodes.h"

namespace vboard {
namespace {

constexpr std::uint16_t kLoaderKeyAddress = 0xFFDE;
constexpr std::size_t kPasswordBytes = 32;
/// Where an erase check leaves the first address that is not erased, plus one.
constexpr std::uint16_t kEraseCheckResultAddress = 0x0200;

constexpr std::string_view kNoSuchCommand = "not a command of this loader";

LoaderCommands::Result Refused(std::string_view why) {
    LoaderCommands::Result result;
    result.answer = kNakByte;
    result.refusal = why;
    return result;
}

LoaderCommands::Result Working(Duration time) {
    LoaderCommands::Result result;
    result.works = true;
    result.workTime = time;
    return result;
}

LoaderCommands::Result Answering(std::span<const std::uint8_t> data) {
    LoaderCommands::Result result;
    result.data = data;
    return result;
}

}  // namespace

struct LoaderCommands::Row {
    std::uint8_t command;
    bool needsPassword;
    bool touchesMemory;        // At the frame's address, which the memory offset may move away.
    int dataBytes;             // -1: as many as the length field says.
    bool ChipModel::*isThere;  // nullptr: in every loader.
    Result (LoaderCommands::*carryOut)();
};

std::span<const LoaderCommands::Row> LoaderCommands::Rows() {
    static constexpr std::array<Row, 10> kRows{{
        {kReceivePassword, false, false, kPasswordBytes, nullptr, &LoaderCommands::ReceivePassword},
        {kReceiveBlock, true, true, -1, nullptr, &LoaderCommands::ReceiveBlock},
        {kTransmitBlock, true, true, 0, nullptr, &LoaderCommands::TransmitBlock},
        {kEraseFlash, true, true, 0, nullptr, &LoaderCommands::EraseArea},
        {kMassErase, false, false, 0, nullptr, &LoaderCommands::MassErase},
        {kLoadProgramCounter, true, false, 0, nullptr, &LoaderCommands::LoadProgramCounter},
        {kEraseCheck, true, true, 0, &ChipModel::hasEraseCheck, &LoaderCommands::EraseCheck},
        {kTransmitVersion, false, false, 0, &ChipModel::hasVersionCommand,
         &LoaderCommands::TransmitVersion},
        {kChangeSpeed, false, false, 0, nullptr, &LoaderCommands::ChangeSpeed},
        {kSetMemoryOffset, true, false, 0, nullptr, &LoaderCommands::SetMemoryOffset},
    }};
    return kRows;
}

const LoaderCommands::Row* LoaderCommands::Find(std::uint8_t command) {
    const auto rows = Rows();
    const auto row = std::find_if(rows.begin(), rows.end(), [command](const Row& candidate) {
        return candidate.command == command;
    });
    return row == rows.end() ? nullptr : &*row;
}

LoaderCommands::LoaderCommands(const ChipModel& model, const ChipOptions& options, Flash& flash)
    : m_model(model),
      m_wrongPassword(options.wrongPassword.value_or(model.wrongPassword)),
      m_flash(flash) {}

void LoaderCommands::Enter(bool unlocked) {
    m_unlocked = unlocked;
    m_memoryOffset = 0;
    m_bitsPerSecond = SerialFormat{}.bitsPerSecond;
}

LoaderCommands::Result LoaderCommands::Execute(const Frame& frame) {
    m_frame = frame;
    const Row* const row = Find(frame.command);
    if (row == nullptr || (row->isThere != nullptr && !(m_model.*row->isThere))) {
        return Refused(kNoSuchCommand);
    }
    if (row->needsPassword && !m_unlocked) {
        return Refused("locked");
    }
    const auto dataBytes =
        row->dataBytes < 0 ? frame.lengthField : static_cast<std::size_t>(row->dataBytes);
    if (frame.data.size() != dataBytes) {
        return Refused("wrong count of bytes");
    }
    if (row->touchesMemory && m_memoryOffset != 0) {
        return Refused("nothing at this memory offset");
    }
    return (this->*row->carryOut)();
}

LoaderCommands::Result LoaderCommands::Finish(Result result) {
    m_flash.Finish();
    if (m_frame.command == kReceiveBlock) {
        return FinishBlock(result);
    }
    if (m_frame.command == kEraseFlash && m_frame.lengthField == kEraseSegmentWord &&
        m_model.checksAfterSegmentErase) {
        const AddressRange segment = m_flash.Layout().SegmentOf(m_frame.address);
        return m_flash.IsErased(segment.first, segment.SizeBytes()) ? result
                                                                    : Refused("not erased");
    }
    return result;
}

bool LoaderCommands::PasswordFits() const {
    const auto password = m_flash.Block(kVectors.first, kPasswordBytes);
    return std::equal(password.begin(), password.end(), m_frame.data.begin(), m_frame.data.end());
}

LoaderCommands::Result LoaderCommands::ReceivePassword() {
    if (!PasswordFits()) {
        return WrongPasswordSent();
    }
    m_unlocked = true;
    return {};
}

LoaderCommands::Result LoaderCommands::WrongPasswordSent() {
    Result result;
    result.refusal = "wrong";
    if (m_wrongPassword == WrongPassword::kNak) {
        result.answer = kNakByte;
    }
    if (m_wrongPassword == WrongPassword::kErase && m_flash.WordAt(kLoaderKeyAddress) != 0) {
        result.works = true;
        result.workTime = m_flash.BeginMassErase();
        result.refusal = "wrong, flash erased";
    }
    return result;
}

LoaderCommands::Result LoaderCommands::ReceiveBlock() {
    if (m_frame.address % 2 != 0 || m_frame.lengthField % 2 != 0) {
        return Refused("odd address or length");
    }
    return Working(m_flash.BeginProgramming(m_frame.address, m_frame.data));
}

LoaderCommands::Result LoaderCommands::FinishBlock(Result result) const {
    if (!m_flash.Holds(m_frame.address, m_frame.data.size())) {
        return Refused("no memory to write there");
    }
    const auto now = m_flash.Block(m_frame.address, m_frame.data.size());
    if (m_model.comparesWhileWriting && !std::ranges::equal(now, m_frame.data)) {
        return Refused("does not read back");
    }
    return result;
}

LoaderCommands::Result LoaderCommands::TransmitBlock() {
    const std::size_t sizeBytes = m_frame.lengthField;
    if (sizeBytes == 0 || sizeBytes > kMaxBlockBytes) {
        return Refused("wrong count of bytes");
    }
    const auto block = m_flash.Block(m_frame.address, sizeBytes);
    return block.empty() ? Refused("beyond the end of memory") : Answering(block);
}

LoaderCommands::Result LoaderCommands::EraseArea() {
    const Region region = m_flash.Layout().RegionAt(m_frame.address);
    if (m_frame.address % 2 != 0) {
        return Refused("odd address");
    }
    if (region != Region::kMain && region != Region::kInfo) {
        return Refused("no flash there");
    }
    if (m_frame.lengthField == kEraseSegmentWord) {
        return Working(m_flash.BeginSegmentErase(m_frame.address));
    }
    if (m_frame.lengthField == kEraseAreaWord) {
        return Working(m_flash.BeginAreaErase(region));
    }
    return Refused("wrong control word");
}

LoaderCommands::Result LoaderCommands::MassErase() {
    if (m_frame.lengthField != kMassEraseWord) {
        return Refused("wrong control word");
    }
    return Working(m_flash.BeginMassErase());
}

LoaderCommands::Result LoaderCommands::LoadProgramCounter() {
    Result result;
    result.after = After::kJump;
    return result;
}

bool LoaderCommands::JumpsToFirmware() const {
    return m_memoryOffset == 0 && m_flash.Layout().RegionAt(m_frame.address) == Region::kMain &&
           m_flash.WordAt(m_frame.address) != 0xFFFF;
}

LoaderCommands::Result LoaderCommands::EraseCheck() {
    if (m_flash.IsErased(m_frame.address, m_frame.lengthField)) {
        return {};
    }
    const auto cells = m_flash.Block(m_frame.address, m_frame.lengthField);
    if (cells.empty()) {
        return Refused("beyond the end of memory");
    }
    const auto found =
        std::ranges::find_if(cells, [](std::uint8_t cell) { return cell != kErasedByte; });
    m_flash.KeepWord(kEraseCheckResultAddress,
                     static_cast<std::uint16_t>(m_frame.address + (found - cells.begin()) + 1));
    return Refused("not erased");
}

LoaderCommands::Result LoaderCommands::TransmitVersion() {
    return Answering(m_flash.Block(kRomFacts.first, kRomFacts.SizeBytes()));
}

LoaderCommands::Result LoaderCommands::ChangeSpeed() {
    const std::size_t index = m_frame.lengthField & 0xFF;
    if (index >= kLoaderSpeeds.size()) {
        return Refused("no such speed");
    }
    const ClockBytes asked{static_cast<std::uint8_t>(m_frame.address & 0xFF),
                           static_cast<std::uint8_t>(m_frame.address >> 8)};
    Result result;
    result.after = After::kNewSpeed;
    if (asked == m_model.clockBytes[index]) {
        m_bitsPerSecond = kLoaderSpeeds[index];
    } else {
        m_bitsPerSecond.reset();
        result.refusal = "with a clock that does not fit, deaf from now on";
    }
    return result;
}

LoaderCommands::Result LoaderCommands::SetMemoryOffset() {
    m_memoryOffset = m_frame.lengthField;
    return {};
}

}  // namespace vboard
