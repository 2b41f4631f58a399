// SPDX-License-Identifier: MIT
#pragma once

// What is recorded of one program's run besides the transcript: made when its board is made,
// completed when the program ends.

#include <memory>

#include "vboard/board/Board.h"
#include "vboard/process/RunLink.h"
#include "vboard/record/Summary.h"
#include "vboard/record/VcdWriter.h"
#include "vboard/record/WaveJson.h"

namespace vboard {

class Recordings {
public:
    /// Listens to the board from here on. To be made before the board takes over its kept state;
    /// Link and board must outlive it. `first`: no program of this run has used the board before.
    Recordings(RunLink& link, Board& board, bool first);

    /// The board has taken over its kept state: the record begins.
    void Begin();
    /// The program has ended; the board has not settled yet.
    void ProgramEnded();
    /// The board has settled after the end of the program.
    void Finish();

private:
    void WritePicture();

    bool m_first;
    std::unique_ptr<VcdWriter> m_vcd;
    std::unique_ptr<Summary> m_summary;
    std::unique_ptr<WaveLog> m_waveLog;
    WavePart m_wavePart = WavePart::kRun;
    TextSink m_writePicture;
    int m_waveDescriptor = -1;
};

}  // namespace vboard
