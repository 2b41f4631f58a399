// SPDX-License-Identifier: MIT

// Whole sessions of the tool against a loader, a second link and a kernel that do whatever the
// input says: it is turned into a script for the host that the unit tests play with.
//
// What must hold: no session goes on for ever, none leaves a descriptor or a stream open, and the
// port is closed after each operation.

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "flashmcu/FWU_MSP.h"
#include "flashmcu/flashmcu.h"
#include "tests/support/ScriptedHost.h"

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

/// The input, byte by byte; zeros when it is used up.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_next(data), m_end(data + size) {}

    [[nodiscard]] bool IsUsedUp() const { return m_next == m_end; }
    std::uint8_t Take() { return IsUsedUp() ? std::uint8_t{0} : *m_next++; }
    int TakeBelow(int limit) { return Take() % limit; }
    Bytes TakeBytes() {
        Bytes bytes(Take() % 70U);
        for (std::uint8_t& byte : bytes) {
            byte = Take();
        }
        return bytes;
    }

private:
    const std::uint8_t* m_next;
    const std::uint8_t* m_end;
};

std::string TakeGpioFile(Input& input) {
    constexpr std::array<const char*, 8> kFiles{
        "export",       "unexport",         "gpio90/value",     "gpio86/value",
        "gpio91/value", "gpio90/direction", "gpio86/direction", "gpio91/direction"};
    return std::string("/sys/class/gpio/") + kFiles[static_cast<std::size_t>(input.TakeBelow(8))];
}

/// One thing that goes wrong, or one answer that is no acknowledge.
void AddToScript(ScriptedHost& host, Input& input, int choice) {
    auto& port = host.Device(kDefaultBoardProfile.programmingPort);
    auto& comm = host.Device(kDefaultBoardProfile.communicationPort);
    auto& device = input.TakeBelow(2) == 0 ? port : comm;
    switch (choice) {
        case 0:
            port.Answers(input.TakeBytes());
            break;
        case 1:
            comm.SendsMessage(input.TakeBytes());
            break;
        case 2:
            device.EndsRead();
            break;
        case 3:
            device.FailsRead();
            break;
        case 4:
            comm.StaysSilent();
            break;
        case 5:
            comm.FailsSelect();
            break;
        case 6:
            device.FailsWrite(input.TakeBelow(64));
            break;
        case 7:
            device.TakesOnly(input.TakeBelow(64), input.TakeBelow(64));
            break;
        case 8:
            device.CannotBeOpened(ENODEV, input.TakeBelow(12));
            break;
        case 9:
            port.RefusesSettings();
            break;
        case 10:
            comm.RefusesIoctl();
            break;
        case 11:
            host.Without(TakeGpioFile(input));
            break;
        case 12:
            host.RefusesWritesTo(TakeGpioFile(input));
            break;
        default:
            host.FailsSnprintf(input.TakeBelow(16));
            break;
    }
}

/// Most bytes are an acknowledge of the loader. Behind the input both links end.
void WriteScript(ScriptedHost& host, Input& input) {
    constexpr int kKinds = 14;
    constexpr int kFirstKind = 256 - 4 * kKinds;
    while (!input.IsUsedUp()) {
        const int byte = input.Take();
        if (byte < kFirstKind) {
            host.Device(kDefaultBoardProfile.programmingPort).Answers({0x90});
        } else {
            AddToScript(host, input, (byte - kFirstKind) % kKinds);
        }
    }
    host.Device(kDefaultBoardProfile.programmingPort).IsGoneInTheEnd();
    host.Device(kDefaultBoardProfile.communicationPort).IsGoneInTheEnd();
}

/// How many more descriptors and streams were opened than closed.
int LeftOpen(const std::string& conversation) {
    int open = 0;
    std::istringstream lines(conversation);
    for (std::string line; std::getline(lines, line);) {
        const bool opens = line.starts_with("open ") || line.starts_with("fopen ");
        const bool closes = line.starts_with("close ") || line.starts_with("fclose ");
        open += opens && !line.ends_with(" fails") ? 1 : 0;
        open -= closes ? 1 : 0;
    }
    return open;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string& image = ImagePath();
    Require(!image.empty());
    ScriptedHost host;
    Input input(data + 1, size - 1);
    WriteScript(host, input);
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
    Require(LeftOpen(host.Conversation()) == 0);
    return 0;
}
