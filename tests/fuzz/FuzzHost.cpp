// SPDX-License-Identifier: MIT
#include "tests/fuzz/FuzzHost.h"

#include <fcntl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

namespace {

const std::uint8_t* g_next = nullptr;
const std::uint8_t* g_end = nullptr;
std::set<int> g_descriptors;
int g_streams = 0;
bool g_playing = false;  ///< Outside a session the calls are the fuzzer's own.

constexpr int kFirstDescriptor = 1000;
// One call in so many fails, where the input says nothing else.
constexpr unsigned kFailureShare = 32;

bool HasInput() {
    return g_next != g_end;
}

std::uint8_t Take() {
    return HasInput() ? *g_next++ : std::uint8_t{0};
}

bool Fails() {
    if (!HasInput() || Take() % kFailureShare != kFailureShare - 1) {
        return false;
    }
    errno = EIO;
    return true;
}

bool IsOurs(int descriptor) {
    return g_descriptors.contains(descriptor);
}

}  // namespace

namespace fuzz {

void Begin(const std::uint8_t* data, std::size_t size) {
    g_next = data;
    g_end = data + size;
    g_descriptors.clear();
    g_streams = 0;
    g_playing = true;
}

void End() {
    g_playing = false;
}

int OpenCount() {
    return static_cast<int>(g_descriptors.size()) + g_streams;
}

}  // namespace fuzz

extern "C" {

int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
    if (!g_playing) {
        return __real_open(path, flags, 0600);
    }
    if (Fails()) {
        return -1;
    }
    int descriptor = kFirstDescriptor;
    while (IsOurs(descriptor)) {
        ++descriptor;
    }
    g_descriptors.insert(descriptor);
    return descriptor;
}

int __real_close(int descriptor);
int __wrap_close(int descriptor) {
    if (!g_playing) {
        return __real_close(descriptor);
    }
    // A descriptor closed twice, or never opened, is a fault of the tool.
    if (g_descriptors.erase(descriptor) != 1) {
        std::abort();
    }
    return Fails() ? -1 : 0;
}

ssize_t __real_write(int descriptor, const void* data, std::size_t size);
ssize_t __wrap_write(int descriptor, const void* data, std::size_t size) {
    if (!g_playing) {
        return __real_write(descriptor, data, size);
    }
    if (!IsOurs(descriptor) || data == nullptr) {
        std::abort();
    }
    if (Fails()) {
        return -1;
    }
    // Short now and then.
    const std::uint8_t choice = Take();
    return static_cast<ssize_t>(choice == 0xFF && size > 0 ? size - 1 : size);
}

ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
/// The usual answer is one acknowledge byte; the input can make it any count of any bytes, nothing,
/// or an error.
ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
    if (!g_playing) {
        return __real_read(descriptor, buffer, size);
    }
    if (!IsOurs(descriptor)) {
        std::abort();
    }
    if (!HasInput()) {
        return 0;
    }
    const std::uint8_t choice = Take();
    auto* bytes = static_cast<std::uint8_t*>(buffer);
    if (choice < 0xC0) {
        if (size > 0) {
            bytes[0] = 0x90;
        }
        return size > 0 ? 1 : 0;
    }
    if (choice == 0xFF) {
        errno = EIO;
        return -1;
    }
    const std::size_t wanted = choice - 0xC0U;
    std::size_t count = 0;
    while (count < wanted && count < size && HasInput()) {
        bytes[count++] = Take();
    }
    return static_cast<ssize_t>(count);
}

int __wrap_ioctl(int descriptor, unsigned long /*request*/, ...) {
    if (!IsOurs(descriptor)) {
        std::abort();
    }
    return Fails() ? -1 : 0;
}

int __wrap_tcsetattr(int descriptor, int /*action*/, const termios* /*settings*/) {
    if (!IsOurs(descriptor)) {
        std::abort();
    }
    return Fails() ? -1 : 0;
}

int __wrap_select(int /*count*/, fd_set* /*reading*/, fd_set* /*writing*/, fd_set* /*excepting*/,
                  timeval* /*timeout*/) {
    // Without this end a stream of messages would go on for ever.
    return HasInput() && !Fails() ? 1 : 0;
}

int __wrap_usleep(useconds_t /*length*/) {
    return 0;
}

FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
    if (!g_playing) {
        return __real_fopen(path, mode);
    }
    if (Fails()) {
        return nullptr;
    }
    FILE* stream = __real_fopen("/dev/null", "r+");
    g_streams += stream != nullptr ? 1 : 0;
    return stream;
}

int __real_fclose(FILE* stream);
int __wrap_fclose(FILE* stream) {
    if (!g_playing) {
        return __real_fclose(stream);
    }
    --g_streams;
    return __real_fclose(stream);
}

int __wrap_printf(const char* format, ...) {
    // The line is composed, so that a text it points to is read, and goes nowhere.
    char line[2048];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return length;
}

}  // extern "C"
