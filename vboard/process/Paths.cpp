// SPDX-License-Identifier: MIT
#include "vboard/process/Paths.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <optional>
#include <string_view>
#include <utility>

#include "vboard/host/SysfsGpio.h"
#include "vboard/process/Descriptors.h"
#include "vboard/process/ProgramMemory.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/RunLink.h"
#include "vboard/process/Standing.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

/// As many symbolic links as a kernel follows in one path.
constexpr int kMostLinks = 40;

/// What a symbolic link leads to; empty where `path` is none.
std::string TargetOf(const std::string& path, bool& missing) {
    // Not zeroed, since it is needed for each name of each path.
    std::array<char, PATH_MAX> target;
    const ssize_t length = Real().readlink(path.c_str(), target.data(), target.size());
    missing = length < 0 && errno != EINVAL;
    return length > 0 ? std::string(target.data(), static_cast<std::size_t>(length)) : "";
}

/// Whether a path of the board is one of a file, where nothing leads on to, not even "..". By its
/// form: whether the file is there shows later.
bool IsOfAFile(std::string_view path) {
    if (!path.starts_with(SysfsGpio::kFolder)) {
        return true;
    }
    const std::string_view below = path.substr(SysfsGpio::kFolder.size());
    return below == "/export" || below == "/unexport" || below.find('/', 1) != below.npos;
}

/// Walks a path from its beginning, one name at a time.
class Walk {
public:
    Walk(const RunLink& link, LastLink last) : m_link(link), m_last(last) {}

    /// Where a relative path begins.
    void StandIn(std::string folder) { m_done = std::move(folder); }

    /// False where the path leads nowhere.
    bool Go(std::string path) {
        m_rest = std::move(path);
        while (!m_rest.empty()) {
            if (m_rest.front() == '/') {
                m_rest.erase(0, m_rest.find_first_not_of('/'));
                m_isFolder = m_rest.empty();
                continue;
            }
            if (!Step(NextName())) {
                return false;
            }
        }
        return true;
    }

    [[nodiscard]] const std::string& Done() const { return m_done; }
    /// True where the path ends as only a folder's may, with a slash.
    [[nodiscard]] bool IsFolder() const { return m_isFolder; }

private:
    std::string NextName() {
        const std::size_t end = std::min(m_rest.find('/'), m_rest.size());
        std::string name = m_rest.substr(0, end);
        m_rest.erase(0, end);
        return name;
    }

    bool Step(const std::string& name) {
        if (name == ".") {
            m_isFolder = m_isFolder || m_rest.empty();
            return true;
        }
        if (name == "..") {
            if (m_link.Owns(m_done) && IsOfAFile(m_done)) {
                m_rest.clear();
                m_isFolder = true;
                return true;
            }
            m_done.erase(std::min(m_done.rfind('/'), m_done.size()));
            return !m_missing;
        }
        m_done.append("/").append(name);
        const bool taken = m_last == LastLink::kTaken && m_rest.empty();
        return m_missing || taken || m_link.Owns(m_done) || FollowLink();
    }

    /// False after too many of them.
    bool FollowLink() {
        const std::string target = TargetOf(m_done, m_missing);
        if (target.empty()) {
            return true;
        }
        if (const std::string_view path = PlaceholderPath(target); !path.empty()) {
            m_done = path;
            return true;
        }
        m_done.erase(target.front() == '/' ? 0 : m_done.rfind('/'));
        m_rest.insert(0, target);
        return ++m_links <= kMostLinks;
    }

    const RunLink& m_link;
    LastLink m_last;
    std::string m_done;
    std::string m_rest;
    bool m_missing = false;
    bool m_isFolder = false;
    int m_links = 0;
};

/// Where a relative path begins: the kernel's name for the folder.
std::string FolderOf(int folder) {
    bool missing = false;
    const std::string link = TargetOf(
        folder == AT_FDCWD ? "/proc/self/cwd" : Formatted("/proc/self/fd/{}", folder), missing);
    const std::string_view opened = PlaceholderPath(link);
    const std::string stoodIn = PathOfGoneFolder(link);
    if (!opened.empty()) {
        return std::string(opened);
    }
    return stoodIn.empty() ? link : stoodIn;
}

/// Where a path of the program leads to, seen from a folder as openat(2) does; none outside of a
/// run and for a path that leads nowhere.
std::optional<Walk> Walked(int folder, const char* path, LastLink last) {
    const RunLink* link = RunLink::Get();
    if (link == nullptr || !IsText(path) || *path == '\0') {
        return std::nullopt;
    }
    const int before = errno;
    std::optional<Walk> walk(std::in_place, *link, last);
    if (*path != '/') {
        walk->StandIn(FolderOf(folder));
    }
    if (!walk->Go(path)) {
        walk.reset();
    }
    errno = before;
    return walk;
}

}  // namespace

std::string BoardPath(int folder, const char* path, LastLink last) {
    const std::optional<Walk> walk = Walked(folder, path, last);
    if (!walk || !TheRunLink().Owns(walk->Done())) {
        return {};
    }
    return walk->IsFolder() ? walk->Done() + "/" : walk->Done();
}

bool LiesAboveTheBoard(const char* path) {
    const std::optional<Walk> walk = Walked(AT_FDCWD, path, LastLink::kFollowed);
    if (!walk) {
        return false;
    }
    const std::string folder = walk->Done() + "/";
    const auto isBelow = [&folder](std::string_view file) { return file.starts_with(folder); };
    const RunMemory& memory = TheRunLink().Memory();
    return isBelow("/dev/") || isBelow(SysfsGpio::kFolder) || isBelow(memory.portPath.data()) ||
           isBelow(memory.commPath.data());
}

}  // namespace vboard
