// SPDX-License-Identifier: MIT
#include "guard/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "guard/plan/Plan.h"
#include "guard/plan/Sha256.h"
#include "image/IntelHex.h"

namespace guard {
namespace {

constexpr off_t kMostBytes = off_t{64} << 20U;

bool ReadWhole(int file, std::string& text) {
    std::array<char, 65536> part;
    ssize_t count = 0;
    while ((count = read(file, part.data(), part.size())) > 0) {
        text.append(part.data(), static_cast<std::size_t>(count));
    }
    return count == 0;
}

// Not blocking, so that a pipe which nobody writes to is refused, too.
bool ReadTextFile(const std::string& path, std::string& text, std::string& problem) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    struct stat facts {};
    if (file < 0 || fstat(file, &facts) != 0) {
        problem = path + ": " + std::strerror(errno);
    } else if (!S_ISREG(facts.st_mode)) {
        problem = path + " is no regular file";
    } else if (facts.st_size > kMostBytes) {
        problem = path + " is larger than 64 MiB";
    } else if (!ReadWhole(file, text)) {
        problem = path + ": " + std::strerror(errno);
    }
    if (file >= 0) {
        (void)close(file);
    }
    return problem.empty();
}

std::uint16_t WordAt(const image::MemoryImage& memory, std::uint16_t address) {
    return static_cast<std::uint16_t>(memory.At(address) |
                                      memory.At(static_cast<std::uint16_t>(address + 1)) << 8U);
}

bool ReadFirmware(const std::string& path, const Board& board, Firmware& firmware,
                  std::string& problem) {
    std::string text;
    if (!ReadTextFile(path, text, problem)) {
        return false;
    }
    firmware.path = path;
    firmware.sha256 = Sha256Of({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    if (!image::ReadIntelHex(text, firmware.memory, problem)) {
        problem = path + ": " + problem;
        return false;
    }
    firmware.version = WordAt(firmware.memory, board.versionAddress);
    return true;
}

}  // namespace

bool MakeRequest(const CommandLine& line, Request& request, std::string& problem) {
    constexpr std::array<const char*, 9> kNames{"install", "check", "verify",  "read",  "info",
                                                "erase",   "reset", "release", "boards"};
    request.command = kNames.at(static_cast<std::size_t>(line.command));
    const Board* board = FindBoard(BuiltInBoards(), line.board);
    if (board == nullptr) {
        problem = "there is no board '" + line.board + "': 'flashguard boards' lists them";
        return false;
    }
    request.board = *board;
    request.lockFolder = line.lockFolder;
    request.wait = line.wait;
    request.force = line.force;
    request.prove = line.prove;
    request.keepInformation = line.keepInformation;
    request.loseInformation = line.loseInformation;
    request.mayErase = line.mayErase;
    constexpr unsigned kFirstSpeed = 9600;
    if (line.speed != 0 && line.speed != kFirstSpeed) {
        const auto& speeds = board->chip.speeds;
        const auto speed = std::find_if(speeds.begin(), speeds.end(),
                                        [&line](const Speed& s) { return s.baud == line.speed; });
        if (speed == speeds.end()) {
            problem = "board '" + line.board + "' has no clock bytes for " +
                      std::to_string(line.speed) + " baud";
            return false;
        }
        request.speed = *speed;
    }
    return true;
}

bool ReadImages(const CommandLine& line, Request& request, std::string& problem) {
    if (!line.image.empty()) {
        request.image.emplace();
        if (!ReadFirmware(line.image, request.board, *request.image, problem)) {
            return false;
        }
        if (!line.sha256.empty() && line.sha256 != request.image->sha256) {
            problem =
                line.image + " has the SHA-256 " + request.image->sha256 + ", not " + line.sha256;
            return false;
        }
    }
    if (!line.passwordOf.empty()) {
        Firmware old;
        if (!ReadFirmware(line.passwordOf, request.board, old, problem)) {
            return false;
        }
        request.password = VectorsOf(old.memory);
    }
    return true;
}

bool WriteImage(const std::string& path, const image::MemoryImage& memory, std::string& problem) {
    const std::string text = image::WriteIntelHex(memory);
    const std::string part = path + ".part";
    const int file = open(part.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    bool good = file >= 0 &&
                write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
                fsync(file) == 0;
    good = (file < 0 || close(file) == 0) && good;
    good = good && std::rename(part.c_str(), path.c_str()) == 0;
    if (!good) {
        problem = path + ": " + std::strerror(errno);
        (void)unlink(part.c_str());
    }
    return good;
}

}  // namespace guard
