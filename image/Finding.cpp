// SPDX-License-Identifier: MIT
#include "image/Finding.h"

#include <algorithm>
#include <utility>

namespace image {

const Finding* Findings::FirstRefusal() const {
    const auto found = std::find_if(m_kept.begin(), m_kept.end(),
                                    [](const Finding& finding) { return finding.refused; });
    return found == m_kept.end() ? nullptr : &*found;
}

void Findings::Add(Finding finding) {
    if (m_kept.size() < kMostKept) {
        m_kept.push_back(std::move(finding));
        return;
    }
    // The last place is given up for the first refusal, so that a refused file shows why.
    if (finding.refused && FirstRefusal() == nullptr) {
        m_kept.back() = std::move(finding);
    }
}

}  // namespace image
