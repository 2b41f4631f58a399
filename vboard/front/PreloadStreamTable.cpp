// SPDX-License-Identifier: MIT

// What stdio asks the kernel for. libc's streams call no function that a library could stand in
// front of: they go through a table of functions, the same for every stream on a descriptor, that
// of standard output included. Its entries for the kernel get a wrapper each while a run lasts.
//
// The table has been the same since libc's version 2.1 (struct _IO_jump_t): two words and nineteen
// functions. It is looked at before it is changed.

#include "vboard/front/Preload.h"

// As in libc itself, sizes and times have 64 bits in the structure that the table's fstat fills.
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>

#include "vboard/process/DescriptorCalls.h"
#include "vboard/process/FileStatus.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Streams.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::Answer;
using vboard::FileFor;
using vboard::TheHost;

/// The part of libc's table that leads to the kernel.
struct KernelCalls {
    ssize_t (*read)(std::FILE*, void*, ssize_t);
    ssize_t (*write)(std::FILE*, const void*, ssize_t);
    std::int64_t (*seek)(std::FILE*, std::int64_t, int);
    int (*close)(std::FILE*);
    int (*status)(std::FILE*, void*);
};

struct StreamTable {
    std::array<void*, 14> others;
    KernelCalls calls;
    std::array<void*, 2> more;
};
static_assert(sizeof(StreamTable) == 21 * sizeof(void*));

/// libc's own.
KernelCalls g_real{};

ssize_t ReadStream(std::FILE* stream, void* buffer, ssize_t size) {
    if (const auto file = FileFor(stream->_fileno)) {
        return Answer<ssize_t>([&] {
            return TheHost().Read(*file, std::span(static_cast<std::uint8_t*>(buffer),
                                                   static_cast<std::size_t>(size)));
        });
    }
    return g_real.read(stream, buffer, size);
}

ssize_t WriteStream(std::FILE* stream, const void* data, ssize_t size) {
    if (FileFor(stream->_fileno) != nullptr) {
        return static_cast<ssize_t>(
            vboard::FlushStream(stream, data, static_cast<std::size_t>(size)));
    }
    return g_real.write(stream, data, size);
}

std::int64_t SeekStream(std::FILE* stream, std::int64_t offset, int whence) {
    if (const auto file = FileFor(stream->_fileno)) {
        return Answer<std::int64_t>([&] { return TheHost().Seek(*file, offset, whence); });
    }
    return g_real.seek(stream, offset, whence);
}

int CloseStream(std::FILE* stream) {
    if (FileFor(stream->_fileno) != nullptr) {
        return vboard::CloseDescriptor(stream->_fileno);
    }
    return g_real.close(stream);
}

/// What stdio asks before it chooses a buffer: only a terminal's is flushed line by line, and it
/// knows one by the numbers of the pseudo-terminals (Linux, devices.txt), since asking the kernel
/// would get it nowhere here.
int StatusOfStream(std::FILE* stream, void* status) {
    if (const auto file = FileFor(stream->_fileno)) {
        auto* stored = static_cast<struct stat*>(status);
        return Answer<int>([&] {
            const auto result = vboard::StoreStatus(TheHost(), file->path, stored);
            constexpr unsigned kPseudoTerminals = 136;
            stored->st_rdev = file->device->IsTerminal() ? makedev(kPseudoTerminals, 0) : 0;
            return result;
        });
    }
    return g_real.status(stream, status);
}

/// Puts the wrappers into one of libc's tables. False where it is not what it should be.
bool Stand(const char* name) {
    auto* table = static_cast<StreamTable*>(vboard::FindReal(name));
    if (table == nullptr ||
        reinterpret_cast<void*>(table->calls.write) != vboard::FindReal("_IO_file_write") ||
        reinterpret_cast<void*>(table->calls.status) != vboard::FindReal("_IO_file_stat")) {
        return false;
    }
    g_real = table->calls;
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::size_t intoPage = reinterpret_cast<std::uintptr_t>(table) & (page - 1);
    char* start = reinterpret_cast<char*>(table) - intoPage;
    const std::size_t length = intoPage + sizeof *table;
    if (mprotect(start, length, PROT_READ | PROT_WRITE) != 0) {
        return false;
    }
    table->calls = {ReadStream, WriteStream, SeekStream, CloseStream, StatusOfStream};
    return mprotect(start, length, PROT_READ) == 0;
}

// Before main: no stream of the program has met the board yet.
__attribute__((constructor)) void BeginningOfStreams() {
    const bool stands =
        vboard::RunLink::Get() == nullptr || (Stand("_IO_file_jumps") && Stand("_IO_wfile_jumps"));
    if (!stands) {
        vboard::FailRun("this C library's streams can't be brought to the board");
    }
}

}  // namespace
