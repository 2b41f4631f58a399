// SPDX-License-Identifier: MIT
#include "vboard/board/Session.h"

#include <sstream>

#include "vboard/text/Format.h"

namespace vboard {

std::string Session::Text() const {
    return Formatted("{} {} {} {} {} {} {} {} {} {} {} {} {}", boardDescriptor, reportDescriptor,
                     transcriptDescriptor, pace, limitNs, faultsDescriptor, callsDescriptor,
                     noiseRate, noiseSeed, vcdDescriptor, summaryDescriptor, waveDescriptor,
                     wavePart);
}

bool Session::Parse(std::string_view text, Session& session) {
    std::istringstream words{std::string(text)};
    Session parsed;
    words >> parsed.boardDescriptor >> parsed.reportDescriptor >> parsed.transcriptDescriptor >>
        parsed.pace >> parsed.limitNs >> parsed.faultsDescriptor >> parsed.callsDescriptor >>
        parsed.noiseRate >> parsed.noiseSeed >> parsed.vcdDescriptor >> parsed.summaryDescriptor >>
        parsed.waveDescriptor >> parsed.wavePart;
    if (words.fail()) {
        return false;
    }
    session = parsed;
    return true;
}

}  // namespace vboard
