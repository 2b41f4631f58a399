// SPDX-License-Identifier: MIT

// stdio. What happens to a stream after it has been opened is stdio's own.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <cerrno>
#include <cstdio>

#include "vboard/process/RealLibc.h"
#include "vboard/process/Streams.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::HostFor;
using vboard::Real;

// A stream can't be turned into one of the board; the machine's own device is not for it either.
std::FILE* RefuseReopening() {
    errno = ENOTSUP;
    return nullptr;
}

}  // namespace

VBOARD_EXPORT std::FILE* fopen(const char* path, const char* mode) {
    if (const auto host = HostFor(path)) {
        return vboard::OpenStream(*host, path, mode);
    }
    return Real().fopen(path, mode);
}

VBOARD_EXPORT std::FILE* fopen64(const char* path, const char* mode) {
    if (const auto host = HostFor(path)) {
        return vboard::OpenStream(*host, path, mode);
    }
    return Real().fopen64(path, mode);
}

VBOARD_EXPORT std::FILE* freopen(const char* path, const char* mode, std::FILE* stream) {
    if (HostFor(path) != nullptr) {
        return RefuseReopening();
    }
    return Real().freopen(path, mode, stream);
}

VBOARD_EXPORT std::FILE* freopen64(const char* path, const char* mode, std::FILE* stream) {
    if (HostFor(path) != nullptr) {
        return RefuseReopening();
    }
    return Real().freopen64(path, mode, stream);
}

VBOARD_EXPORT std::FILE* fdopen(int descriptor, const char* mode) __THROW {
    if (vboard::FileFor(descriptor) != nullptr) {
        return vboard::StreamOn(descriptor, mode);
    }
    return Real().fdopen(descriptor, mode);
}

VBOARD_EXPORT int fileno(std::FILE* stream) __THROW {
    if (vboard::IsOurs(stream)) {
        return vboard::DescriptorOf(stream);
    }
    return Real().fileno(stream);
}

VBOARD_EXPORT int fileno_unlocked(std::FILE* stream) __THROW {
    if (vboard::IsOurs(stream)) {
        return vboard::DescriptorOf(stream);
    }
    return Real().fileno_unlocked(stream);
}
