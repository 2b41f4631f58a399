// SPDX-License-Identifier: MIT
#include "vboard/process/Recordings.h"

#include <unistd.h>

#include "vboard/process/RealLibc.h"

namespace vboard {

Recordings::Recordings(RunLink& link, Board& board, bool first) : m_first(first) {
    const Session& session = link.TheSession();
    if (session.outputDescriptors[Output::kWaveform] >= 0) {
        m_vcd = std::make_unique<VcdWriter>(board.Clock(), link.WriterOf(Output::kWaveform),
                                            session.pace > 0, link.Memory().report.waveformUs);
        board.AddListener(*m_vcd);
    }
    m_waveDescriptor = session.outputDescriptors[Output::kPicture];
    if (m_waveDescriptor >= 0) {
        m_writePicture = link.WriterOf(Output::kPicture);
        m_wavePart = static_cast<WavePart>(session.wavePart);
        m_waveLog = std::make_unique<WaveLog>(board.Clock());
        board.AddListener(*m_waveLog);
    }
    if (session.counts != 0) {
        m_summary = std::make_unique<Summary>(board.Clock(), link.Memory().counts);
        board.AddListener(*m_summary);
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
    // A file holds one picture: that of the last program which used the board. What has no length,
    // such as a pipe, gets them one after the other.
    [[maybe_unused]] const int refused = Real().ftruncate(m_waveDescriptor, 0);
    m_writePicture(WaveJson(*m_waveLog, m_wavePart));
}

}  // namespace vboard
