// SPDX-License-Identifier: MIT
#include "vboard/chip/LoaderCommands.h"

#include <algorithm>
#include <array>

#include "vboard/record/LoaderCodes.h"

namespace vboard {
namespace {

constexpr std::uint16_t kLoaderKeyAddress = 0xFFDE;
constexpr std::size_t kPasswordBytes = 32;
constexpr std::array<std::uint32_t, 3> kSpeeds{9600, 19200, 38400};

constexpr std::size_t kVersionIdAt = 0;       // D1, D2
constexpr std::size_t kVersionLoaderAt = 10;  // D11, D12

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

void PutWord(std::span<std::uint8_t> bytes, std::size_t at, std::uint16_t word) {
    bytes[at] = static_cast<std::uint8_t>(word >> 8);
    bytes[at + 1] = static_cast<std::uint8_t>(word & 0xFF);
}

}  // namespace

struct LoaderCommands::Row {
    std::uint8_t command;
    bool needsPassword;
    bool touchesMemory;  // At the frame's address, which the memory offset may move away.
    int dataBytes;       // -1: as many as the length field says.
    Result (LoaderCommands::*carryOut)();
};

std::span<const LoaderCommands::Row> LoaderCommands::Rows() {
    static constexpr std::array<Row, 10> kRows{{
        {kReceivePassword, false, false, kPasswordBytes, &LoaderCommands::ReceivePassword},
        {kReceiveBlock, true, true, -1, &LoaderCommands::ReceiveBlock},
        {kTransmitBlock, true, true, 0, &LoaderCommands::TransmitBlock},
        {kErase, true, true, 0, &LoaderCommands::EraseArea},
        {kMassErase, false, false, 0, &LoaderCommands::MassErase},
        {kLoadProgramCounter, true, false, 0, &LoaderCommands::LoadProgramCounter},
        {kEraseCheck, true, true, 0, &LoaderCommands::EraseCheck},
        {kTransmitVersion, false, false, 0, &LoaderCommands::TransmitVersion},
        {kChangeSpeed, false, false, 0, &LoaderCommands::ChangeSpeed},
        {kSetMemoryOffset, true, false, 0, &LoaderCommands::SetMemoryOffset},
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
      m_wrongPassword(options.wrongPasswordSet ? options.wrongPassword : model.wrongPassword),
      m_flash(flash) {
    PutWord(m_version, kVersionIdAt, model.chipId);
    PutWord(m_version, kVersionLoaderAt, model.loaderVersion);
}

void LoaderCommands::Enter(bool unlocked) {
    m_unlocked = unlocked;
    m_memoryOffset = 0;
    m_bitsPerSecond = SerialFormat{}.bitsPerSecond;
}

LoaderCommands::Result LoaderCommands::Execute(const Frame& frame) {
    m_frame = frame;
    const Row* const row = Find(frame.command);
    if (row == nullptr) {
        return Refused("not a command of this loader");
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
    if (m_frame.command == kErase && m_frame.lengthField == kEraseSegmentWord &&
        m_model.checksAfterSegmentErase) {
        const AddressRange segment = m_flash.SegmentOf(m_frame.address);
        const std::size_t sizeBytes = std::size_t{segment.last} - segment.first + 1;
        return m_flash.IsErased(segment.first, sizeBytes) ? result : Refused("not erased");
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
    constexpr std::string_view kWrong = "wrong";
    if (m_wrongPassword == WrongPassword::kAckLocked) {
        Result result;
        result.refusal = kWrong;
        return result;
    }
    Result result = Refused(kWrong);
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
    const Region region = m_flash.RegionAt(m_frame.address);
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
    return m_memoryOffset == 0 && m_flash.RegionAt(m_frame.address) == Region::kMain &&
           m_flash.WordAt(m_frame.address) != 0xFFFF;
}

LoaderCommands::Result LoaderCommands::EraseCheck() {
    return m_flash.IsErased(m_frame.address, m_frame.lengthField) ? Result{}
                                                                  : Refused("not erased");
}

LoaderCommands::Result LoaderCommands::TransmitVersion() {
    if (!m_model.hasVersionCommand) {
        return Refused("not a command of this loader");
    }
    return Answering(m_version);
}

LoaderCommands::Result LoaderCommands::ChangeSpeed() {
    const std::size_t index = m_frame.lengthField & 0xFF;
    if (index >= kSpeeds.size()) {
        return Refused("no such speed");
    }
    m_bitsPerSecond = kSpeeds[index];
    Result result;
    result.after = After::kNewSpeed;
    return result;
}

LoaderCommands::Result LoaderCommands::SetMemoryOffset() {
    m_memoryOffset = m_frame.lengthField;
    return {};
}

}  // namespace vboard
