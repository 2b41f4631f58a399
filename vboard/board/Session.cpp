// SPDX-License-Identifier: MIT
#include "vboard/board/Session.h"

#include <algorithm>
#include <array>
#include <sstream>

#include "vboard/text/Format.h"

namespace vboard {
namespace {

std::array<int, kMostSessionDescriptors> DescriptorsOf(const Session& session) {
    return {session.boardDescriptor,   session.reportDescriptor, session.transcriptDescriptor,
            session.faultsDescriptor,  session.callsDescriptor,  session.vcdDescriptor,
            session.summaryDescriptor, session.waveDescriptor};
}

}  // namespace

// Every run has a board and a report.
int Session::FirstDescriptor() const {
    int first = boardDescriptor;
    for (const int descriptor : DescriptorsOf(*this)) {
        first = descriptor >= 0 ? std::min(first, descriptor) : first;
    }
    return first;
}

int Session::LastDescriptor() const {
    const auto all = DescriptorsOf(*this);
    return *std::max_element(all.begin(), all.end());
}

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
