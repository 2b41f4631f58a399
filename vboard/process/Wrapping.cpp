// SPDX-License-Identifier: MIT
#include "vboard/process/Wrapping.h"

#include "vboard/text/Format.h"

namespace vboard {

IoResult Exists(const Place& place) {
    const Host& host = place.TheHost();
    return host.Find(place.Path()) == PathKind::kNone ? -host.WhyNone(place.Path()) : 0;
}

void NameRefusedSet(const std::string& path) {
    static bool said = false;
    if (!said) {
        said = true;
        Remark(
            Formatted("epoll_ctl of {} is refused with EPERM: wait for the board's files with poll "
                      "or select",
                      path));
    }
}

}  // namespace vboard
