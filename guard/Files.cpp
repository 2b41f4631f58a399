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

constexpr const char* kUsualFolder = "/etc/flashguard/boards.d";

bool ReadFirmware(const std::string& path, const Board& board, Firmware& firmware, Report& report,
                  Verdict& verdict) {
    ImageFile file = ReadImageFile(path, board);
    report.OnFindings(path, file.found);
    if (file.found.Refused()) {
        verdict.imagePath = path;
        verdict.imageSha256 = file.sha256;
        verdict.problem = RefusalOf(file);
        verdict.remedy = file.found.FirstRefusal()->remedy;
        return false;
    }
    firmware.path = path;
    firmware.sha256 = std::move(file.sha256);
    firmware.memory = std::move(file.memory);
    firmware.version = file.version.value_or(0);
    return true;
}

/// A built-in board needs no look at any file, and no wrong file stands in its way.
bool FindBoardFor(const CommandLine& line, Board& board, Report& report, std::string& problem) {
    if (const Board* builtIn = FindBoard(BuiltInBoards(), line.board)) {
        board = *builtIn;
        return true;
    }
    const BoardFolder folder = ReadBoards(line);
    if (const Board* own = FindBoard(folder.boards, line.board)) {
        board = *own;
        return true;
    }
    problem = folder.problems.empty() ? "there is no board '" + line.board + "'"
                                      : folder.problems.front();
    if (!folder.problems.empty()) {
        report.OnComplaints({folder.problems.begin() + 1, folder.problems.end()});
    }
    return false;
}

}  // namespace

BoardFolder ReadBoards(const CommandLine& line) {
    return ReadBoardFolder(line.boardsFolder, line.boardsFolder == kUsualFolder);
}

bool MakeRequest(const CommandLine& line, Request& request, Report& report, std::string& problem) {
    constexpr std::array<const char*, 9> kNames{"install", "check", "verify",  "read",  "info",
                                                "erase",   "reset", "release", "boards"};
    request.command = kNames.at(static_cast<std::size_t>(line.command));
    if (!FindBoardFor(line, request.board, report, problem)) {
        return false;
    }
    request.lockFolder = line.lockFolder;
    request.wait = line.wait;
    request.force = line.force;
    request.prove = line.prove;
    request.keepInformation = line.keepInformation;
    request.loseInformation = line.loseInformation;
    request.mayErase = line.mayErase;
    constexpr unsigned kFirstSpeed = 9600;
    if (line.speed != 0 && line.speed != kFirstSpeed) {
        const auto& speeds = request.board.chip.speeds;
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

bool ReadImages(const CommandLine& line, Request& request, Report& report, Verdict& verdict) {
    if (!line.image.empty()) {
        request.image.emplace();
        if (!ReadFirmware(line.image, request.board, *request.image, report, verdict)) {
            return false;
        }
        if (!line.sha256.empty() && line.sha256 != request.image->sha256) {
            verdict.imagePath = line.image;
            verdict.imageSha256 = request.image->sha256;
            verdict.problem =
                line.image + " has the SHA-256 " + request.image->sha256 + ", not " + line.sha256;
            verdict.remedy = "get the image that the sum is of";
            return false;
        }
    }
    if (!line.passwordOf.empty()) {
        Firmware old;
        if (!ReadFirmware(line.passwordOf, request.board, old, report, verdict)) {
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
