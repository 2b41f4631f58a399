// SPDX-License-Identifier: MIT
#include "guard/boards/BoardFolder.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "boardfile/BoardFile.h"

namespace guard {
namespace {

std::vector<std::string> FilesIn(const std::string& folder, bool mayBeMissing,
                                 std::vector<std::string>& problems) {
    std::vector<std::string> paths;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    const std::filesystem::directory_iterator end;
    while (!error && entry != end) {
        if (entry->path().extension() == ".toml") {
            paths.push_back(entry->path().string());
        }
        entry.increment(error);
    }
    if (error && !(mayBeMissing && error == std::errc::no_such_file_or_directory)) {
        problems.push_back(folder + ": this can't be read: " + error.message());
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::vector<std::string_view> PartNames() {
    std::vector<std::string_view> names;
    for (const Part& part : KnownParts()) {
        names.emplace_back(part.name);
    }
    return names;
}

MemoryArea AreaOf(const boardfile::Area& area) {
    return {area.first, area.last, area.segmentBytes};
}

/// What the file says, and the part's figures where it says nothing.
Board BoardOf(const boardfile::Description& file) {
    Board board;
    board.name = file.name;
    board.source = file.path;
    board.port = file.port;
    board.communication = file.communication;
    board.resetGpio = std::to_string(file.reset);
    board.rxdNmiGpio = std::to_string(file.rxdNmi);
    board.tckGpio = std::to_string(file.tck);
    board.versionAddress = file.version.value_or(board.versionAddress);
    board.chip = *FindPart(file.chip);
    Part& chip = board.chip;
    chip.main = file.main ? AreaOf(*file.main) : chip.main;
    chip.information = file.information ? AreaOf(*file.information) : chip.information;
    chip.calibration = file.calibration.value_or(chip.calibration);
    chip.eraseMs = file.eraseTotalMs.value_or(chip.eraseMs);
    for (const boardfile::Clock& clock : file.speeds) {
        std::erase_if(chip.speeds, [&](const Speed& speed) { return speed.baud == clock.baud; });
        chip.speeds.push_back({clock.baud, clock.d1, clock.d2});
    }
    return board;
}

/// "" for a board that can be taken beside those that there are.
std::string ProblemOf(const Board& board, const BoardFolder& before) {
    const Board* other = FindBoard(BuiltInBoards(), board.name);
    other = other == nullptr ? FindBoard(before.boards, board.name) : other;
    if (other != nullptr) {
        return "there is a board '" + board.name + "' already, " + other->source +
               "; give this one another name";
    }
    const Part& chip = board.chip;
    const std::uint32_t high = board.versionAddress + 1U;
    const bool inMemory =
        (chip.main.Contains(board.versionAddress) && chip.main.Contains(high)) ||
        (chip.information.Contains(board.versionAddress) && chip.information.Contains(high));
    if (!inMemory) {
        return "the version's address is in neither main nor information memory; set "
               "'memory.version'";
    }
    return chip.information.last >= chip.main.first
               ? "main and information memory overlap; set 'memory.main' and 'memory.information'"
               : "";
}

}  // namespace

BoardFolder ReadBoardFolder(const std::string& folder, bool mayBeMissing) {
    BoardFolder found;
    const auto parts = PartNames();
    for (const std::string& path : FilesIn(folder, mayBeMissing, found.problems)) {
        boardfile::Description file;
        std::vector<std::string> problems;
        if (!boardfile::Read(path, parts, file, problems)) {
            found.problems.insert(found.problems.end(), problems.begin(), problems.end());
            continue;
        }
        Board board = BoardOf(file);
        const std::string problem = ProblemOf(board, found);
        if (problem.empty()) {
            found.boards.push_back(std::move(board));
        } else {
            found.problems.push_back(path);
            found.problems.back().append(":1: ").append(problem);
        }
    }
    return found;
}

}  // namespace guard
