// SPDX-License-Identifier: MIT
#include "vboard/process/Standing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include "vboard/process/RealLibc.h"
#include "vboard/process/RunLink.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

// What the name of the folder that is gone says: a mark, a number that makes it the only one, and
// the path with its slashes changed.
constexpr std::string_view kMark = "/vboard-stands-in:";
constexpr char kSlash = '%';
constexpr std::string_view kGone = " (deleted)";

std::string GoneFolder(std::string_view base, std::string_view path) {
    static unsigned number = 0;
    std::string changed(path);
    std::replace(changed.begin(), changed.end(), '/', kSlash);
    return Formatted("{}{}{}-{}:{}", base, kMark, getpid(), ++number, changed);
}

/// Makes such a folder, opens it and removes it: -1 and errno on failure.
int OpenGoneFolder(std::string_view path) {
    constexpr std::array<const char*, 3> kBases{"/dev/shm", "/tmp", "/var/tmp"};
    int opened = -1;
    for (const char* base : kBases) {
        const std::string name = GoneFolder(base, path);
        if (opened < 0 && Real().mkdir(name.c_str(), S_IRWXU) == 0) {
            opened = Real().open(name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
            static_cast<void>(Real().rmdir(name.c_str()));
        }
    }
    return opened;
}

}  // namespace

IoResult StandIn(const Host& host, const std::string& path) {
    const PathKind kind = host.Find(path);
    if (kind != PathKind::kFolder) {
        return kind == PathKind::kNone ? -host.WhyNone(path) : -ENOTDIR;
    }
    const int folder = OpenGoneFolder(path);
    const int result = folder < 0 ? -1 : Real().fchdir(folder);
    const int error = errno;
    static_cast<void>(Real().close(folder));
    return result < 0 ? -error : 0;
}

std::string WhereItStands() {
    if (RunLink::Get() == nullptr) {
        return {};
    }
    std::array<char, PATH_MAX> target{};
    const int before = errno;
    const ssize_t length = Real().readlink("/proc/self/cwd", target.data(), target.size());
    errno = before;
    return PathOfGoneFolder(
        {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))});
}

std::string PathOfGoneFolder(std::string_view link) {
    const std::size_t mark = link.rfind(kMark);
    if (mark == std::string_view::npos || !link.ends_with(kGone)) {
        return {};
    }
    link.remove_suffix(kGone.size());
    link.remove_prefix(mark + kMark.size());
    link.remove_prefix(std::min(link.find(':') + 1, link.size()));
    std::string path(link);
    std::replace(path.begin(), path.end(), kSlash, '/');
    return path;
}

}  // namespace vboard
