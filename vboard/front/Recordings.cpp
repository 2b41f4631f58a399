// SPDX-License-Identifier: MIT
#include "vboard/front/Recordings.h"

#include <sys/mman.h>
#include <unistd.h>

#include "vboard/front/LineFile.h"

namespace vboard {

Recordings::Recordings(const Session& session, Board& board, bool first) : m_first(first) {
    if (const int descriptor = session.vcdDescriptor; descriptor >= 0) {
        m_vcd = std::make_unique<VcdWriter>(
            board.Clock(), [descriptor](std::string_view text) { WriteAll(descriptor, text); },
            session.pace > 0);
        board.AddListener(*m_vcd);
    }
    if (session.waveDescriptor >= 0) {
        m_waveDescriptor = session.waveDescriptor;
        m_wavePart = static_cast<WavePart>(session.wavePart);
        m_waveLog = std::make_unique<WaveLog>(board.Clock());
        board.AddListener(*m_waveLog);
    }
    if (session.summaryDescriptor >= 0) {
        void* counts = mmap(nullptr, sizeof(SummaryCounts), PROT_READ | PROT_WRITE, MAP_SHARED,
                            session.summaryDescriptor, 0);
        if (counts != MAP_FAILED) {
            m_summary =
                std::make_unique<Summary>(board.Clock(), *static_cast<SummaryCounts*>(counts));
            board.AddListener(*m_summary);
        }
    }
}

void Recordings::Begin() {
    if (m_vcd) {
        m_vcd->Begin(m_first);
    }
    if (m_waveLog) {
        m_waveLog->Begin();
    }
}

void Recordings::ProgramEnded() {
    if (m_summary) {
        m_summary->Finish();
    }
}

void Recordings::Finish() {
    if (m_vcd) {
        m_vcd->Finish();
    }
    if (m_waveLog) {
        m_waveLog->Finish();
        WritePicture();
    }
}

void Recordings::WritePicture() {
    // A file holds one picture: that of the last program which used the board.
    if (ftruncate(m_waveDescriptor, 0) == 0) {
        WriteAll(m_waveDescriptor, WaveJson(*m_waveLog, m_wavePart));
    }
}

}  // namespace vboard
