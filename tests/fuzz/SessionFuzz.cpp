// SPDX-License-Identifier: MIT

// Whole sessions of the tool against a loader, a second link and a kernel that answer whatever the
// input says.
//
// What must hold: no session goes on for ever, none leaves a descriptor or a stream open, and the
// port is closed after each operation.

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "flashmcu/FWU_MSP.h"
#include "flashmcu/flashmcu.h"
#include "tests/fuzz/FuzzHost.h"

namespace {

constexpr const char* kImage =
    ":02210000341297\n:0321040001020300\n:00230000DD\n:102310000102030405060708090A0B0C0D0E0F1024\n"
    ":00000001FF\n";

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

const std::string& ImagePath() {
    static const std::string path = [] {
        const int descriptor = memfd_create("image", 0);
        const std::string text = kImage;
        Require(descriptor >= 0 &&
                write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
        return "/proc/self/fd/" + std::to_string(descriptor);
    }();
    return path;
}

void RunProgram(const char* option) {
    std::array<std::string, 4> words{"flashmcu", option, "-f", ImagePath()};
    std::array<char*, 5> arguments{words[0].data(), words[1].data(), words[2].data(),
                                   words[3].data(), nullptr};
    const int status = RunFlashmcu(4, arguments.data());
    Require(status == 0 || status == -1);
}

void AskForLoaderVersion() {
    const MspBoardProfile profile = kDefaultBoardProfile;
    CFWUMsp target(&profile);
    unsigned short family = 0;
    unsigned short version = 0;
    if (!target.GetBSLVersion(&family, &version, nullptr)) {
        Require(target.m_serialFd == -1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string& image = ImagePath();
    Require(!image.empty());
    fuzz::Begin(data + 1, size - 1);
    switch (data[0] % 4) {
        case 0:
            RunProgram("-F");
            break;
        case 1:
            RunProgram("-r");
            break;
        case 2:
            RunProgram("-v");
            break;
        default:
            AskForLoaderVersion();
            break;
    }
    fuzz::End();
    Require(fuzz::OpenCount() == 0);
    return 0;
}
