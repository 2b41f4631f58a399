// SPDX-License-Identifier: MIT
#include "vboard/process/Wrapping.h"

#include <utility>

#include "vboard/text/Format.h"

namespace vboard {

IoResult Exists(const Place& place) {
    const Host& host = place.TheHost();
    return host.Find(place.Path()) == PathKind::kNone ? -host.WhyNone(place.Path()) : 0;
}

void NameRefused(bool& said, std::string_view call, std::string_view path,
                 std::string_view errnoAndInstead) {
    if (!std::exchange(said, true)) {
        Remark(Formatted("{} of {} is refused with {}", call, path, errnoAndInstead));
    }
}

}  // namespace vboard
