// SPDX-License-Identifier: MIT
#include "vboard/run/FileClaims.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr int kMostLinks = 40;  ///< As many as the kernel follows.

/// Equal for names of the same file, and for names of the same file that is not there yet. Empty
/// for what is no plain file.
std::string IdentityOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        return S_ISREG(status.st_mode) ? Formatted("{}:{}", status.st_dev, status.st_ino) : "";
    }
    std::error_code error;
    std::filesystem::path made = path;
    // Opening a link to nothing makes the file that it names.
    for (int links = 0; links < kMostLinks && std::filesystem::is_symlink(made, error); ++links) {
        made = made.parent_path() / std::filesystem::read_symlink(made, error);
    }
    return std::filesystem::weakly_canonical(std::filesystem::absolute(made, error), error)
        .string();
}

}  // namespace

bool FileClaims::Claim(std::string_view what, const std::string& path, std::string& problem) {
    const std::string identity = path.empty() ? "" : IdentityOf(path);
    if (identity.empty()) {
        return true;
    }
    const auto same =
        std::find_if(m_claims.begin(), m_claims.end(),
                     [&identity](const Claimed& other) { return other.identity == identity; });
    if (same != m_claims.end()) {
        problem = Formatted("'{}' can't be the {}: '{}' is the {}, and the same file", path, what,
                            same->path, same->what);
        return false;
    }
    m_claims.push_back({std::string(what), path, identity});
    return true;
}

}  // namespace vboard
