// SPDX-License-Identifier: MIT
#include "tests/host/HostBench.h"

#include <fcntl.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace host {
namespace {

using std::chrono_literals::operator""s;

vboard::Memory OldFirmware(std::vector<std::uint8_t>& memory, const vboard::ChipOptions& options) {
    memory.resize(vboard::kMemorySizeBytes);
    const vboard::Memory view(memory.data(), vboard::kMemorySizeBytes);
    vboard::FillWithOldFirmware(view, options);
    return view;
}

const char* Arrow(vboard::Direction direction) {
    return direction == vboard::Direction::kHostToChip ? ">" : "<";
}

}  // namespace

std::string NameOf(vboard::IoResult result) {
    return result < 0 ? strerrorname_np(static_cast<int>(-result)) : std::to_string(result);
}

void Scribe::Add(const std::string& entry) {
    m_text += (m_text.empty() ? "" : "; ") + entry;
}

void Scribe::OnSignal(vboard::Signal signal, std::uint32_t value) {
    const std::string_view name = vboard::ValueName(signal, value);
    Add(vboard::Formatted("{}={}", vboard::InfoOf(signal).name,
                          name.empty() ? std::to_string(value) : std::string(name)));
}

void Scribe::OnCharacter(const vboard::WireCharacter& character) {
    Add(vboard::Formatted("{}{:02x}", Arrow(character.direction), character.value));
}

void Scribe::OnBreak(vboard::Direction direction, bool low) {
    Add(vboard::Formatted("{} {}", Arrow(direction), low ? "low" : "high"));
}

void Scribe::OnMessage(vboard::Direction direction, std::span<const std::uint8_t> bytes) {
    Add(vboard::Formatted("message {}{}", Arrow(direction), vboard::HexText(bytes)));
}

void Scribe::OnNote(std::string_view room, std::string_view text) {
    Add(vboard::Formatted("{}: {}", room, text));
}

std::string Scribe::Take() {
    return std::exchange(m_text, {});
}

HostBench::HostBench(vboard::ChipMode mode, unsigned receiveTrigger)
    : chip(clock, scribe, faults, vboard::DefaultChipModel(), m_options,
           OldFirmware(m_memory, m_options), m_eraseWords),
      serialWire(clock, scribe, faults, chip),
      messageWire(scribe, chip),
      harness(scribe, faults, chip, messageWire),
      gpios(harness, {90, 86, 91}),
      port(clock, scribe, serialWire, receiveTrigger),
      comm(clock, harness, messageWire) {
    chip.ConnectSerial(&serialWire);
    chip.ConnectMessages(&messageWire);
    vboard::ChipState state;
    state.mode = mode;
    chip.Restore(state);
    static_cast<void>(scribe.Take());
}

vboard::IoResult HostBench::WriteGpio(std::string_view path, std::string_view text) {
    const auto opened = gpios.Open(path, O_WRONLY);
    if (opened.file == nullptr) {
        return -opened.error;
    }
    const Bytes bytes(text.begin(), text.end());
    return opened.file->Write(bytes, false);
}

std::string HostBench::ReadGpio(std::string_view path) {
    const auto opened = gpios.Open(path, O_RDONLY);
    if (opened.file == nullptr) {
        return strerrorname_np(opened.error);
    }
    std::array<std::uint8_t, 16> bytes{};
    const vboard::IoResult count = opened.file->Read(bytes, false);
    return count < 0 ? NameOf(count) : std::string(bytes.begin(), bytes.begin() + count);
}

std::string HostBench::OpenError(std::string_view path, int flags) {
    const auto opened = gpios.Open(path, flags);
    return opened.file == nullptr ? strerrorname_np(opened.error) : "";
}

Bytes HostBench::ReadPort(vboard::DeviceFile& file) {
    clock.Pass(1s);
    Bytes bytes(4096);
    const vboard::IoResult count = file.Read(bytes, true);
    bytes.resize(static_cast<std::size_t>(std::max<vboard::IoResult>(count, 0)));
    return bytes;
}

}  // namespace host
