// SPDX-License-Identifier: MIT
#pragma once

// What a reader has to say about a file.

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace image {

/// One thing that was found, in words for a person.
struct Finding {
    unsigned line = 0;     ///< From 1 on; 0 where no line is to blame.
    bool refused = false;  ///< The file is not taken; otherwise it is only said.
    std::string what;      ///< What is wrong, without a full stop.
    std::string remedy;    ///< What to do about it.
    bool operator==(const Finding&) const = default;
};

/// Findings in the order in which they were made. Of too many the first are kept.
class Findings {
public:
    /// A file of noise has a finding in each line; nobody reads more of them.
    static constexpr std::size_t kMostKept = 100;

    /// The file is not taken because of this; `line` 0 where no line is to blame.
    void Refuse(unsigned line, std::string what, std::string remedy) {
        m_refused = true;
        Add({line, true, std::move(what), std::move(remedy)});
    }
    /// Worth a word, and the file is taken nevertheless.
    void Say(unsigned line, std::string what, std::string remedy) {
        Add({line, false, std::move(what), std::move(remedy)});
    }

    /// In the order in which they were made, at most kMostKept.
    [[nodiscard]] const std::vector<Finding>& Kept() const { return m_kept; }
    /// Whether the file is refused, kept or not.
    [[nodiscard]] bool Refused() const { return m_refused; }
    /// Whether there are so many, and refusals among them, that it is pointless to look for more.
    [[nodiscard]] bool Enough() const { return m_refused && m_kept.size() == kMostKept; }
    /// The first that refuses the file, nullptr for one that is taken.
    [[nodiscard]] const Finding* FirstRefusal() const;

private:
    void Add(Finding finding);

    std::vector<Finding> m_kept;
    bool m_refused = false;
};

}  // namespace image
