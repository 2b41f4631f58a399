// SPDX-License-Identifier: MIT
#include "vboard/run/BoardAccess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstring>

namespace vboard {
namespace {

constexpr mode_t kFileMode = 0644;

bool Lock(const std::string& path, const Descriptor& descriptor, std::string& problem) {
    if (flock(descriptor.Number(), LOCK_EX | LOCK_NB) != 0) {
        problem = fmt::format("board file '{}' is in use by another run", path);
        return false;
    }
    return true;
}

}  // namespace

bool SetupFrom(const std::vector<std::string>& settings, BoardSetup& setup, std::string& problem) {
    for (const std::string& setting : settings) {
        const std::size_t equals = setting.find('=');
        if (equals == std::string::npos) {
            problem = fmt::format("'{}' is not KEY=VALUE", setting);
            return false;
        }
        if (!setup.Set(setting.substr(0, equals), setting.substr(equals + 1), problem)) {
            return false;
        }
    }
    return true;
}

bool OpenBoard(const std::string& path, Descriptor& descriptor, BoardFile& file,
               std::string& problem) {
    descriptor = Descriptor(open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (!descriptor.IsOpen()) {
        problem = fmt::format("board file '{}' can't be opened: {}", path, strerrordesc_np(errno));
        return false;
    }
    if (!Lock(path, descriptor, problem)) {
        return false;
    }
    std::string why;
    if (!file.Attach(descriptor.Number(), why)) {
        problem = fmt::format("board file '{}' {}", path, why);
        return false;
    }
    return true;
}

bool MakeBoard(const std::string& path, const BoardSetup& setup, Descriptor& descriptor,
               BoardFile& file, std::string& problem) {
    descriptor = Descriptor(
        path.empty() ? memfd_create("vboard", MFD_CLOEXEC)
                     : open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
    if (!descriptor.IsOpen()) {
        problem = fmt::format("board file '{}' can't be made: {}", path, strerrordesc_np(errno));
        return false;
    }
    if (!Lock(path, descriptor, problem)) {
        return false;
    }
    std::string why;
    if (!file.Create(descriptor.Number(), setup, BoardState{}, why)) {
        problem = fmt::format("board file '{}' {}", path, why);
        return false;
    }
    return true;
}

}  // namespace vboard
