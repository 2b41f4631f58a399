// SPDX-License-Identifier: MIT
#include "vboard/session/Session.h"

#include <algorithm>
#include <array>

namespace vboard {
namespace {

std::array<int, kMostSessionDescriptors> DescriptorsOf(const Session& session) {
    return {session.boardDescriptor,  session.memoryDescriptor, session.transcriptDescriptor,
            session.faultsDescriptor, session.callsDescriptor,  session.vcdDescriptor,
            session.waveDescriptor};
}

}  // namespace

// Every run has a board and its memory.
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

}  // namespace vboard
