// SPDX-License-Identifier: MIT
#pragma once

// The files of one command, each for one purpose: an output that is the board, the image or another
// output as well would destroy it.

#include <string>
#include <string_view>
#include <vector>

namespace vboard {

class FileClaims {
public:
    /// `path` is used as `what` ("board file", "transcript") from here on. To be called for every
    /// file before any is opened for writing. False when it is the same plain file as an earlier
    /// one, under whatever name, or the place of the same new one; `problem` is then one line.
    /// Devices and pipes may be used as often as one likes; an empty path claims nothing.
    [[nodiscard]] bool Claim(std::string_view what, const std::string& path, std::string& problem);

private:
    struct Claimed {
        std::string what;
        std::string path;
        std::string identity;
    };
    std::vector<Claimed> m_claims;
};

}  // namespace vboard
