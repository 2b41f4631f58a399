// SPDX-License-Identifier: MIT
#include "vboard/front/LineFile.h"

#include <unistd.h>

#include "vboard/front/RealLibc.h"

namespace vboard {
namespace {

constexpr std::size_t kHeldBytes = 0x10000;

}  // namespace

void WriteAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = Real().write(descriptor, text.data(), text.size());
        if (written <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void LineFile::Add(std::string_view line) {
    m_text.append(line).push_back('\n');
    if (m_text.size() > kHeldBytes) {
        HandOn();
    }
}

void LineFile::HandOn() {
    WriteAll(m_descriptor, m_text);
    m_text.clear();
}

}  // namespace vboard
