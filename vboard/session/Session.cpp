// SPDX-License-Identifier: MIT
#include "vboard/session/Session.h"

#include <algorithm>
#include <array>
#include <atomic>

namespace vboard {
namespace {

std::array<int, kMostSessionDescriptors> DescriptorsOf(const Session& session) {
    std::array<int, kMostSessionDescriptors> all = {
        session.boardDescriptor, session.memoryDescriptor, session.faultsDescriptor};
    const auto& outputs = session.outputDescriptors;
    std::copy(outputs.begin(), outputs.end(), all.end() - outputs.size());
    return all;
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

void RunReport::ReachTime(std::int64_t ns) {
    const std::atomic_ref latest(boardTimeNs);
    std::int64_t seen = latest.load();
    while (seen < ns && !latest.compare_exchange_weak(seen, ns)) {
    }
    virtualTimeNs = std::max(seen, ns);
}

}  // namespace vboard
