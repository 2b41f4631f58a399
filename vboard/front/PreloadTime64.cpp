// SPDX-License-Identifier: MIT

// The seam for 32-bit programs that were built with 64-bit time: the names their calls have in
// libc. Nobody calls them on a processor whose time always had 64 bits, where libc has no such
// names.

#undef _FORTIFY_SOURCE

#include <dlfcn.h>
#include <sys/select.h>

#include <cstdint>

#include "vboard/front/Wrapping.h"

#define VBOARD_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using vboard::DurationOf;

using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""us;

struct Timeval64 {
    std::int64_t seconds;
    std::int64_t microseconds;
};

/// The kernel's layout, which glibc shares: the padding lies behind on little-endian processors.
struct Timespec64 {
    std::int64_t seconds;
    std::int32_t nanoseconds;
    std::int32_t padding;
};

template <class Function>
Function RealNamed(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

VBOARD_EXPORT int __select64(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
                             Timeval64* timeout) {
    if (vboard::AnyOurs(count, reading, writing)) {
        return vboard::SelectOurs(
            count, reading, writing, excepting,
            timeout == nullptr
                ? std::nullopt
                : std::optional(DurationOf(timeout->seconds, timeout->microseconds, 1us)));
    }
    static const auto real = RealNamed<decltype(&__select64)>("__select64");
    return real(count, reading, writing, excepting, timeout);
}

VBOARD_EXPORT int __nanosleep64(const Timespec64* length, Timespec64* remaining) {
    if (vboard::PauseVirtually(DurationOf(length->seconds, length->nanoseconds, 1ns))) {
        return 0;
    }
    static const auto real = RealNamed<decltype(&__nanosleep64)>("__nanosleep64");
    return real(length, remaining);
}
