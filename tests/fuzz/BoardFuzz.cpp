// SPDX-License-Identifier: MIT

// Any change to a board file: it is taken as a board that can be used, or refused with one line.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "vboard/board/BoardFile.h"

namespace {

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

}  // namespace

/// The input is a list of changes to a sound file: two bytes of offset, one of value, again and
/// again. An odd byte at the end cuts the file off.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const int descriptor = memfd_create("board", 0);
    std::string problem;
    {
        vboard::BoardFile made;
        vboard::BoardFile::Failure failure;
        Require(made.Create(descriptor, vboard::BoardSetup{}, nullptr, failure));
    }
    for (std::size_t at = 0; at + 3 <= size; at += 3) {
        const off_t offset = data[at] << 8U | data[at + 1];
        Require(pwrite(descriptor, data + at + 2, 1, offset) == 1);
    }
    if (size % 3 == 1) {
        Require(ftruncate(descriptor, data[size - 1] * 256) == 0);
    }
    vboard::BoardFile file;
    if (file.Attach(descriptor, problem)) {
        const vboard::BoardState state = file.State();
        Require(state.chip.mode <= vboard::ChipMode::kUnpowered);
        vboard::BoardState changed = state;
        changed.tristate = !changed.tristate;
        file.Store(changed);
    } else {
        Require(!problem.empty() && problem.find('\n') == std::string::npos);
    }
    close(descriptor);
    return 0;
}
