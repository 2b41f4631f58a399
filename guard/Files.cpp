// SPDX-License-Identifier: MIT
#include "guard/Files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "guard/check/ImageFile.h"
#include "guard/plan/Plan.h"
#include "image/IntelHex.h"

namespace guard {
namespace {

// All that was found is said; a refusal in the sentence of the verdict.
bool ReadFirmware(const std::string& path, const Board& board, Firmware& firmware,
                  Progress& progress, std::string& problem) {
    ImageFile file = ReadImageFile(path, board);
    for (const image::Finding& finding : file.found.Kept()) {
        progress.OnNote(TextOf(path, finding));
    }
    if (file.found.Refused()) {
        const image::Finding* first = file.found.FirstRefusal();
        problem = first == nullptr ? path + " is refused" : TextOf(path, *first);
        return false;
    }
    firmware.path = path;
    firmware.sha256 = std::move(file.sha256);
    firmware.memory = std::move(file.memory);
    firmware.version = file.version.value_or(0);
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

bool ReadImages(const CommandLine& line, Request& request, Progress& progress,
                std::string& problem) {
    if (!line.image.empty()) {
        request.image.emplace();
        if (!ReadFirmware(line.image, request.board, *request.image, progress, problem)) {
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
        if (!ReadFirmware(line.passwordOf, request.board, old, progress, problem)) {
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
