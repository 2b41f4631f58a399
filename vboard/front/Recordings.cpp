// SPDX-License-Identifier: MIT
#include "vboard/front/Recordings.h"

#include "vboard/front/LineFile.h"

namespace vboard {

Recordings::Recordings(const Session& session, Board& board, bool first) : m_first(first) {
    if (const int descriptor = session.vcdDescriptor; descriptor >= 0) {
        m_vcd = std::make_unique<VcdWriter>(
            board.Clock(), [descriptor](std::string_view text) { WriteAll(descriptor, text); },
            session.pace > 0);
        board.AddListener(*m_vcd);
    }
}

void Recordings::Begin() {
    if (m_vcd) {
        m_vcd->Begin(m_first);
    }
}

void Recordings::Finish() {
    if (m_vcd) {
        m_vcd->Finish();
    }
}

}  // namespace vboard
