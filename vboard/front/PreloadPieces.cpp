// SPDX-License-Identifier: MIT

// Reading and writing otherwise than by read and write: in pieces, at a place, from file to file,
// as text.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <sys/sendfile.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "vboard/process/ProgramMemory.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Transfers.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::Answer;
using vboard::FileFor;
using vboard::Real;

/// The offset of a sendfile, which has the width of the caller's.
template <class Offset>
ssize_t Send(int target, int source, Offset* offset, std::size_t count) {
    if (offset != nullptr && !vboard::CanWrite(offset)) {
        return vboard::Refused(EFAULT);
    }
    std::int64_t place = offset == nullptr ? 0 : *offset;
    const auto sent = Answer<ssize_t>(
        [&] { return vboard::Send(target, source, offset == nullptr ? nullptr : &place, count); });
    if (offset != nullptr) {
        *offset = static_cast<Offset>(place);
    }
    return sent;
}

int Print(int descriptor, const char* format, va_list arguments) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return vboard::Say(*file, format, arguments); });
    }
    return Real().vdprintf(descriptor, format, arguments);
}

}  // namespace

VBOARD_EXPORT ssize_t readv(int descriptor, const iovec* pieces, int count) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::ReadPieces(*file, pieces, count); });
    }
    return Real().readv(descriptor, pieces, count);
}

VBOARD_EXPORT ssize_t writev(int descriptor, const iovec* pieces, int count) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::WritePieces(*file, pieces, count); });
    }
    return Real().writev(descriptor, pieces, count);
}

VBOARD_EXPORT ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t offset) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::ReadAt(*file, buffer, size, offset); });
    }
    return Real().pread(descriptor, buffer, size, offset);
}

VBOARD_EXPORT ssize_t pread64(int descriptor, void* buffer, std::size_t size, off64_t offset) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::ReadAt(*file, buffer, size, offset); });
    }
    return Real().pread64(descriptor, buffer, size, offset);
}

VBOARD_EXPORT ssize_t pwrite(int descriptor, const void* data, std::size_t size, off_t offset) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::WriteAt(*file, data, size, offset); });
    }
    return Real().pwrite(descriptor, data, size, offset);
}

VBOARD_EXPORT ssize_t pwrite64(int descriptor, const void* data, std::size_t size, off64_t offset) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::WriteAt(*file, data, size, offset); });
    }
    return Real().pwrite64(descriptor, data, size, offset);
}

VBOARD_EXPORT ssize_t preadv(int descriptor, const iovec* pieces, int count, off_t offset) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::ReadPiecesAt(*file, pieces, count, offset); });
    }
    return Real().preadv(descriptor, pieces, count, offset);
}

VBOARD_EXPORT ssize_t preadv64(int descriptor, const iovec* pieces, int count, off64_t offset) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::ReadPiecesAt(*file, pieces, count, offset); });
    }
    return Real().preadv64(descriptor, pieces, count, offset);
}

VBOARD_EXPORT ssize_t pwritev(int descriptor, const iovec* pieces, int count, off_t offset) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::WritePiecesAt(*file, pieces, count, offset); });
    }
    return Real().pwritev(descriptor, pieces, count, offset);
}

VBOARD_EXPORT ssize_t pwritev64(int descriptor, const iovec* pieces, int count, off64_t offset) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::WritePiecesAt(*file, pieces, count, offset); });
    }
    return Real().pwritev64(descriptor, pieces, count, offset);
}

VBOARD_EXPORT ssize_t preadv2(int descriptor, const iovec* pieces, int count, off_t offset,
                              int flags) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>(
            [&] { return vboard::CopyFlagged(*file, pieces, count, offset, flags, false); });
    }
    return Real().preadv2(descriptor, pieces, count, offset, flags);
}

VBOARD_EXPORT ssize_t preadv64v2(int descriptor, const iovec* pieces, int count, off64_t offset,
                                 int flags) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>(
            [&] { return vboard::CopyFlagged(*file, pieces, count, offset, flags, false); });
    }
    return Real().preadv64v2(descriptor, pieces, count, offset, flags);
}

VBOARD_EXPORT ssize_t pwritev2(int descriptor, const iovec* pieces, int count, off_t offset,
                               int flags) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>(
            [&] { return vboard::CopyFlagged(*file, pieces, count, offset, flags, true); });
    }
    return Real().pwritev2(descriptor, pieces, count, offset, flags);
}

VBOARD_EXPORT ssize_t pwritev64v2(int descriptor, const iovec* pieces, int count, off64_t offset,
                                  int flags) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>(
            [&] { return vboard::CopyFlagged(*file, pieces, count, offset, flags, true); });
    }
    return Real().pwritev64v2(descriptor, pieces, count, offset, flags);
}

VBOARD_EXPORT ssize_t sendfile(int target, int source, off_t* offset, std::size_t count) __THROW {
    if (FileFor(target) != nullptr || FileFor(source) != nullptr) {
        return Send(target, source, offset, count);
    }
    return Real().sendfile(target, source, offset, count);
}

VBOARD_EXPORT ssize_t sendfile64(int target, int source, off64_t* offset,
                                 std::size_t count) __THROW {
    if (FileFor(target) != nullptr || FileFor(source) != nullptr) {
        return Send(target, source, offset, count);
    }
    return Real().sendfile64(target, source, offset, count);
}

VBOARD_EXPORT ssize_t __pread_chk(int descriptor, void* buffer, std::size_t size, off_t offset,
                                  std::size_t /*room*/) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::ReadAt(*file, buffer, size, offset); });
    }
    return Real().pread(descriptor, buffer, size, offset);
}

VBOARD_EXPORT ssize_t __pread64_chk(int descriptor, void* buffer, std::size_t size, off64_t offset,
                                    std::size_t /*room*/) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::ReadAt(*file, buffer, size, offset); });
    }
    return Real().pread64(descriptor, buffer, size, offset);
}

VBOARD_EXPORT int dprintf(int descriptor, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = Print(descriptor, format, arguments);
    va_end(arguments);
    return length;
}

VBOARD_EXPORT int __dprintf_chk(int descriptor, int /*flag*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = Print(descriptor, format, arguments);
    va_end(arguments);
    return length;
}

VBOARD_EXPORT int vdprintf(int descriptor, const char* format, va_list arguments) {
    return Print(descriptor, format, arguments);
}

VBOARD_EXPORT int __vdprintf_chk(int descriptor, int /*flag*/, const char* format,
                                 va_list arguments) {
    return Print(descriptor, format, arguments);
}
