// SPDX-License-Identifier: MIT
#include "vboard/process/LineFile.h"

namespace vboard {

void LineFile::Add(std::string_view line) {
    m_text.append(line).push_back('\n');
    if (m_text.size() > kHeldBytes) {
        HandOn();
    }
}

void LineFile::HandOn() {
    m_sink(m_text);
    m_text.clear();
}

}  // namespace vboard
