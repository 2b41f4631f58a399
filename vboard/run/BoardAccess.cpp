// SPDX-License-Identifier: MIT
#include "vboard/run/BoardAccess.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "boardfile/BoardFile.h"
#include "vboard/run/OutputFile.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

bool Lock(const std::string& path, const Descriptor& descriptor, std::string& problem) {
    if (flock(descriptor.Number(), LOCK_EX | LOCK_NB) != 0) {
        problem = Formatted("board file '{}' is in use by another run", path);
        return false;
    }
    return true;
}

/// A run that was killed may have torn the copy that it was writing; anything else is damage.
void TellOfLoss(const std::string& path, const BoardFile& file) {
    if (file.HasDamagedState()) {
        PrintFormatted(
            stderr,
            "vboard: board file '{}': one of the two copies of its state is damaged; the "
            "other one, which may be older, is taken\n",
            path);
    }
}

constexpr std::string_view kModelSetting = "model=";

/// A board of one's own is a file; the names of the models have no such end.
bool NamesBoardInFile(std::string_view setting) {
    return setting.starts_with(kModelSetting) && setting.ends_with(".toml");
}

/// What the file says about port, lines and chip. What it says beyond that is for flashguard.
bool SetFromFile(const std::string& path, BoardSetup& setup, std::string& problem) {
    std::vector<std::string_view> chips;
    for (const ChipModel& chip : AllChipModels()) {
        chips.push_back(chip.name);
    }
    boardfile::Description board;
    std::vector<std::string> problems;
    if (!boardfile::Read(path, chips, board, problems)) {
        // Each is a line of its own.
        for (const std::string& one : problems) {
            problem += Formatted("{}{}", problem.empty() ? "" : "\nvboard: ", one);
        }
        return false;
    }
    const std::array<std::pair<const char*, std::string>, 5> settings{{
        {"name", board.name},
        {"port", board.port},
        {"comm", board.communication.value_or("none")},
        {"chip", board.chip},
        {"lines", Formatted("{},{},{}", board.reset, board.rxdNmi, board.tck)},
    }};
    return std::all_of(settings.begin(), settings.end(), [&](const auto& one) {
        std::string why;
        const bool taken = setup.Set(one.first, one.second, why);
        problem = taken ? problem : Formatted("{}: {}", path, why);
        return taken;
    });
}

}  // namespace

bool SetupFrom(const std::vector<std::string>& settings, BoardSetup& setup, std::string& problem) {
    for (const std::string& setting : settings) {
        if (NamesBoardInFile(setting)) {
            if (!SetFromFile(setting.substr(kModelSetting.size()), setup, problem)) {
                return false;
            }
            continue;
        }
        const std::size_t equals = setting.find('=');
        if (equals == std::string::npos) {
            problem = Formatted("'{}' is not KEY=VALUE", setting);
            return false;
        }
        if (!setup.Set(setting.substr(0, equals), setting.substr(equals + 1), problem)) {
            return false;
        }
    }
    if (setup.PortPath() == setup.CommPath()) {
        problem = Formatted("'{}' can't be both port and comm: give one of them another name",
                            setup.PortPath());
        return false;
    }
    return true;
}

bool OpenBoard(const std::string& path, Descriptor& descriptor, BoardFile& file,
               std::string& problem) {
    descriptor = Descriptor(open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!descriptor.IsOpen()) {
        problem = Formatted("board file '{}' can't be opened: {}", path, strerrordesc_np(errno));
        return false;
    }
    if (!Lock(path, descriptor, problem)) {
        return false;
    }
    std::string why;
    if (!file.Attach(descriptor.Number(), why)) {
        problem = Formatted("board file '{}' {}", path, why);
        return false;
    }
    TellOfLoss(path, file);
    return true;
}

bool ReadBoard(const std::string& path, BoardFile& file, std::string& problem) {
    // A pipe is none, and nobody may ever write into it.
    const Descriptor descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!descriptor.IsOpen()) {
        problem = Formatted("board file '{}' can't be opened: {}", path, strerrordesc_np(errno));
        return false;
    }
    std::string why;
    if (!file.AttachForReading(descriptor.Number(), why)) {
        problem = Formatted("board file '{}' {}", path, why);
        return false;
    }
    TellOfLoss(path, file);
    return true;
}

bool MakeBoard(const std::string& path, const BoardSetup& setup, const ImageSource& source,
               Descriptor& descriptor, BoardFile& file, std::string& problem) {
    descriptor = Descriptor(
        path.empty() ? memfd_create("vboard", MFD_CLOEXEC)
                     : open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode));
    if (!descriptor.IsOpen()) {
        const char* remedy = errno == EEXIST ? ": take another name, or remove it first" : "";
        problem =
            Formatted("board file '{}' can't be made: {}{}", path, strerrordesc_np(errno), remedy);
        return false;
    }
    BoardFile::Failure failure;
    if (Lock(path, descriptor, problem) &&
        file.Create(descriptor.Number(), setup, source.image, failure)) {
        return true;
    }
    if (!failure.problem.empty()) {
        problem = failure.blamesImage ? Formatted("image '{}' {}", source.path, failure.problem)
                                      : Formatted("board file '{}' {}", path, failure.problem);
    }
    if (!path.empty()) {
        unlink(path.c_str());
    }
    return false;
}

}  // namespace vboard
