// SPDX-License-Identifier: MIT

// stdio: how streams come to be. What happens to one afterwards is stdio's own, and what it asks
// the kernel for goes through its table (PreloadStreamTable.cpp).

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <cstdio>

#include "vboard/process/RealLibc.h"
#include "vboard/process/Streams.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::FileFor;
using vboard::HostFor;
using vboard::Place;
using vboard::Real;

/// Where freopen leads: without a path to the file that the stream has.
Place Reopened(const char* path, std::FILE* stream) {
    const auto file = path == nullptr ? FileFor(stream->_fileno) : vboard::FileTurn();
    return file == nullptr ? HostFor(path) : Place(*vboard::World::Get(), file->path);
}

}  // namespace

VBOARD_EXPORT std::FILE* fopen(const char* path, const char* mode) {
    if (const Place place = HostFor(path)) {
        return vboard::OpenStream(place, mode);
    }
    return Real().fopen(path, mode);
}

VBOARD_EXPORT std::FILE* fopen64(const char* path, const char* mode) {
    if (const Place place = HostFor(path)) {
        return vboard::OpenStream(place, mode);
    }
    return Real().fopen64(path, mode);
}

VBOARD_EXPORT std::FILE* freopen(const char* path, const char* mode, std::FILE* stream) {
    if (const Place place = Reopened(path, stream)) {
        return vboard::ReopenStream(place, mode, stream);
    }
    if (FileFor(stream->_fileno) != nullptr) {
        vboard::LeaveStream(stream);
    }
    return Real().freopen(path, mode, stream);
}

VBOARD_EXPORT std::FILE* freopen64(const char* path, const char* mode, std::FILE* stream) {
    if (const Place place = Reopened(path, stream)) {
        return vboard::ReopenStream(place, mode, stream);
    }
    if (FileFor(stream->_fileno) != nullptr) {
        vboard::LeaveStream(stream);
    }
    return Real().freopen64(path, mode, stream);
}

VBOARD_EXPORT std::FILE* fdopen(int descriptor, const char* mode) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return vboard::StreamOn(descriptor, mode);
    }
    return Real().fdopen(descriptor, mode);
}
