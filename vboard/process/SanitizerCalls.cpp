// SPDX-License-Identifier: MIT
#include "vboard/process/SanitizerCalls.h"

#include <dlfcn.h>

namespace vboard {

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VBOARD_HAS_SANITIZER
#endif
#endif

#ifdef VBOARD_HAS_SANITIZER

// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" void __asan_init();

namespace {

const void* ObjectOf(const void* address) {
    Dl_info info{};
    return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

}  // namespace

bool IsTheSanitizers(const void* caller) {
    static const void* const library = ObjectOf(reinterpret_cast<const void*>(&__asan_init));
    return ObjectOf(caller) == library;
}

#else

bool IsTheSanitizers(const void* /*caller*/) {
    return false;
}

#endif

}  // namespace vboard
