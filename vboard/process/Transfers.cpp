// SPDX-License-Identifier: MIT
#include "vboard/process/Transfers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "vboard/process/ProgramMemory.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

namespace vboard {
namespace {

/// The bytes of all pieces together, or what Linux says of pieces that can't be: -errno. `most` is
/// where the count ends.
IoResult SizeOf(const iovec* pieces, int count, std::size_t most) {
    if (count < 0 || count > IOV_MAX) {
        return -EINVAL;
    }
    if (!CanRead(pieces, static_cast<std::size_t>(count) * sizeof(iovec))) {
        return -EFAULT;
    }
    std::size_t size = 0;
    for (int i = 0; i < count; ++i) {
        const std::size_t length = pieces[i].iov_len;
        if (length > static_cast<std::size_t>(SSIZE_MAX) - size) {
            return -EINVAL;
        }
        size += length;
    }
    return static_cast<IoResult>(std::min(size, most));
}

/// More than that a read of the board's files never has.
constexpr std::size_t kMostReadBytes = std::size_t{1} << 20;
/// The most that Linux moves in one call.
constexpr std::size_t kMostMovedBytes = 0x7FFFF000;

/// How many bytes from the first on are there, by `look`, which tells it of one piece.
template <class Look>
std::size_t BytesIn(const iovec* pieces, int count, Look look) {
    std::size_t size = 0;
    for (int i = 0; i < count; ++i) {
        const std::size_t wanted = std::min(pieces[i].iov_len, kMostMovedBytes - size);
        const std::size_t there = look(pieces[i], wanted);
        size += there;
        if (there < wanted) {
            break;
        }
    }
    return size;
}

/// What is done at a place of its own leaves the file's place where it was.
template <class Act>
IoResult AtPlace(OpenFile& file, std::int64_t offset, Act&& act) {
    Host& host = TheHost();
    const IoResult before = host.Seek(file, 0, SEEK_CUR);
    const IoResult place = before < 0 ? before : host.Seek(file, offset, SEEK_SET);
    if (place < 0) {
        return place;
    }
    const IoResult result = std::forward<Act>(act)();
    static_cast<void>(host.Seek(file, before, SEEK_SET));
    return result;
}

/// A kernel sends a pipe's worth in one piece.
constexpr std::size_t kSentAtOnceBytes = 4096;

/// What sendfile reads, from the board or from any other file.
IoResult TakeFrom(int source, const std::int64_t* offset, std::span<std::uint8_t> part) {
    if (const auto file = FileFor(source)) {
        return offset == nullptr ? TheHost().Read(*file, part)
                                 : ReadAt(*file, part.data(), part.size(), *offset);
    }
    const ssize_t got = offset == nullptr
                            ? Real().read(source, part.data(), part.size())
                            : Real().pread64(source, part.data(), part.size(), *offset);
    return got < 0 ? -errno : got;
}

/// What sendfile writes.
IoResult GiveTo(int target, std::span<const std::uint8_t> part) {
    if (const auto file = FileFor(target)) {
        return TheHost().Write(CallKind::kWrite, *file, part);
    }
    const ssize_t written = Real().write(target, part.data(), part.size());
    return written < 0 ? -errno : written;
}

}  // namespace

IoResult ReadInto(OpenFile& file, void* buffer, std::size_t size) {
    const std::size_t room = WritableBytes(buffer, std::min(size, kMostReadBytes));
    return room == 0 && size > 0
               ? -EFAULT
               : TheHost().Read(file, std::span(static_cast<std::uint8_t*>(buffer), room));
}

IoResult WriteFrom(OpenFile& file, const void* data, std::size_t size) {
    const std::size_t there = ReadableBytes(data, std::min(size, kMostMovedBytes));
    return there == 0 && size > 0
               ? -EFAULT
               : TheHost().Write(CallKind::kWrite, file,
                                 std::span(static_cast<const std::uint8_t*>(data), there));
}

IoResult ReadPieces(OpenFile& file, const iovec* pieces, int count) {
    const IoResult asked = SizeOf(pieces, count, kMostReadBytes);
    if (asked < 0) {
        return asked;
    }
    const auto size = BytesIn(pieces, count, [](const iovec& piece, std::size_t most) {
        return WritableBytes(piece.iov_base, most);
    });
    if (size == 0 && asked > 0) {
        return -EFAULT;
    }
    std::vector<std::uint8_t> bytes(std::min(size, static_cast<std::size_t>(asked)));
    const IoResult result = TheHost().Read(file, bytes);
    std::size_t left = result > 0 ? static_cast<std::size_t>(result) : 0;
    const std::uint8_t* next = bytes.data();
    for (int i = 0; i < count && left > 0; ++i) {
        const std::size_t part = std::min(left, pieces[i].iov_len);
        std::copy_n(next, part, static_cast<std::uint8_t*>(pieces[i].iov_base));
        next += part;
        left -= part;
    }
    return result;
}

IoResult WritePieces(OpenFile& file, const iovec* pieces, int count) {
    const IoResult asked = SizeOf(pieces, count, kMostMovedBytes);
    if (asked < 0) {
        return asked;
    }
    const auto there = BytesIn(pieces, count, [](const iovec& piece, std::size_t most) {
        return ReadableBytes(piece.iov_base, most);
    });
    if (there == 0 && asked > 0) {
        return -EFAULT;
    }
    // All as one, since the board sees a write as one.
    std::vector<std::uint8_t> bytes;
    for (int i = 0; i < count && bytes.size() < there; ++i) {
        const auto* start = static_cast<const std::uint8_t*>(pieces[i].iov_base);
        const std::size_t part = std::min(pieces[i].iov_len, there - bytes.size());
        bytes.insert(bytes.end(), start, start + part);
    }
    return TheHost().Write(CallKind::kWrite, file, bytes);
}

IoResult ReadAt(OpenFile& file, void* buffer, std::size_t size, std::int64_t offset) {
    return AtPlace(file, offset, [&] { return ReadInto(file, buffer, size); });
}

IoResult WriteAt(OpenFile& file, const void* data, std::size_t size, std::int64_t offset) {
    return AtPlace(file, offset, [&] { return WriteFrom(file, data, size); });
}

IoResult ReadPiecesAt(OpenFile& file, const iovec* pieces, int count, std::int64_t offset) {
    return AtPlace(file, offset, [&] { return ReadPieces(file, pieces, count); });
}

IoResult WritePiecesAt(OpenFile& file, const iovec* pieces, int count, std::int64_t offset) {
    return AtPlace(file, offset, [&] { return WritePieces(file, pieces, count); });
}

IoResult CopyFlagged(OpenFile& file, const iovec* pieces, int count, std::int64_t offset, int flags,
                     bool writes) {
    if (flags != 0) {
        return -EOPNOTSUPP;
    }
    if (offset == kNoPlace) {
        return writes ? WritePieces(file, pieces, count) : ReadPieces(file, pieces, count);
    }
    return writes ? WritePiecesAt(file, pieces, count, offset)
                  : ReadPiecesAt(file, pieces, count, offset);
}

IoResult Send(int target, int source, std::int64_t* offset, std::size_t count) {
    std::array<std::uint8_t, kSentAtOnceBytes> part{};
    IoResult sent = 0;
    while (count > 0) {
        const std::size_t wanted = std::min(count, part.size());
        const IoResult got = TakeFrom(source, offset, std::span(part).first(wanted));
        const IoResult given =
            got <= 0 ? got : GiveTo(target, std::span(part).first(static_cast<std::size_t>(got)));
        if (given <= 0) {
            return sent > 0 ? sent : given;
        }
        sent += given;
        if (offset != nullptr) {
            *offset += given;
        }
        if (given < static_cast<IoResult>(wanted)) {
            break;
        }
        count -= wanted;
    }
    return sent;
}

IoResult Say(OpenFile& file, const char* format, va_list arguments) {
    char* text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    if (length < 0) {
        return -ENOMEM;
    }
    const std::unique_ptr<char, void (*)(void*)> owner(text, std::free);
    return TheHost().Write(
        CallKind::kWrite, file,
        std::span(reinterpret_cast<const std::uint8_t*>(text), static_cast<std::size_t>(length)));
}

}  // namespace vboard
