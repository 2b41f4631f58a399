// SPDX-License-Identifier: MIT
// Where the tool's calls of libc arrive: the names of redirected.syms, each handed to the host
// that is there.
#include <cstdarg>
#include <cstdio>
#include <stdexcept>

#include "AllocationCounter.h"
#include "ScriptedHost.h"

namespace {

using allocation_counter::Uncounted;

ScriptedHost& Host() {
    ScriptedHost* host = ScriptedHost::Current();
    if (host == nullptr) {
        throw std::logic_error("the tool spoke to the host, but the test has no ScriptedHost");
    }
    return *host;
}

}  // namespace

extern "C" {

std::FILE* ToolSide_fopen(const char* path, const char* mode) {
    const Uncounted uncounted;
    return Host().Fopen(path, mode);
}

std::FILE* ToolSide_fopen64(const char* path, const char* mode) {
    return ToolSide_fopen(path, mode);
}

int ToolSide_open(const char* path, int flags, ...) {
    const Uncounted uncounted;
    return Host().Open(path, flags);
}

int ToolSide_open64(const char* path, int flags, ...) {
    return ToolSide_open(path, flags);
}

int ToolSide_close(int descriptor) {
    const Uncounted uncounted;
    return Host().Close(descriptor);
}

long ToolSide_read(int descriptor, void* buffer, std::size_t sizeBytes) {
    const Uncounted uncounted;
    return Host().Read(descriptor, buffer, sizeBytes);
}

long ToolSide_write(int descriptor, const void* buffer, std::size_t sizeBytes) {
    const Uncounted uncounted;
    return Host().Write(descriptor, buffer, sizeBytes);
}

int ToolSide_ioctl(int descriptor, unsigned long request, ...) {
    const Uncounted uncounted;
    va_list arguments;
    va_start(arguments, request);
    const int* value = va_arg(arguments, const int*);
    va_end(arguments);
    return Host().Ioctl(descriptor, request, value);
}

int ToolSide_select(int limit, void* readSet, void* writeSet, void* exceptSet, timeval* timeout) {
    const Uncounted uncounted;
    return Host().Select(limit, readSet, writeSet, exceptSet, timeout);
}

int ToolSide_tcsetattr(int descriptor, int action, const termios* settings) {
    const Uncounted uncounted;
    return Host().Tcsetattr(descriptor, action, settings);
}

int ToolSide_usleep(unsigned microseconds) {
    const Uncounted uncounted;
    return Host().Usleep(microseconds);
}

int ToolSide_vsnprintf(char* buffer, std::size_t sizeBytes, const char* format, va_list arguments) {
    const Uncounted uncounted;
    return Host().Vsnprintf(buffer, sizeBytes, format, arguments);
}

int ToolSide_snprintf(char* buffer, std::size_t sizeBytes, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int count = ToolSide_vsnprintf(buffer, sizeBytes, format, arguments);
    va_end(arguments);
    return count;
}

int ToolSide_vprintf(const char* format, va_list arguments) {
    const Uncounted uncounted;
    return Host().Vprintf(format, arguments);
}

int ToolSide_printf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int count = ToolSide_vprintf(format, arguments);
    va_end(arguments);
    return count;
}

int ToolSide_puts(const char* text) {
    const Uncounted uncounted;
    return Host().Puts(text);
}

int ToolSide_putchar(int character) {
    return ToolSide_printf("%c", character);
}

unsigned long ToolSide_strtoul(const char* text, char** end, int base) {
    char* behind = nullptr;
    const unsigned long value = std::strtoul(text, &behind, base);
    if (end != nullptr) {
        *end = behind;
    }
    if (behind == text && Host().TellsOfMissingDigits()) {
        errno = EINVAL;
    }
    return value;
}

unsigned long ToolSide_isoc23_strtoul(const char* text, char** end, int base) {
    return ToolSide_strtoul(text, end, base);
}

void ToolSide_perror(const char* text) {
    const Uncounted uncounted;
    Host().Perror(text);
}

// The names that the same calls have in a build with _FORTIFY_SOURCE.

int ToolSide_open_2(const char* path, int flags) {
    return ToolSide_open(path, flags);
}

int ToolSide_open64_2(const char* path, int flags) {
    return ToolSide_open(path, flags);
}

long ToolSide_read_chk(int descriptor, void* buffer, std::size_t sizeBytes,
                       std::size_t /*bufferBytes*/) {
    return ToolSide_read(descriptor, buffer, sizeBytes);
}

int ToolSide_vsnprintf_chk(char* buffer, std::size_t sizeBytes, int /*flag*/,
                           std::size_t /*bufferBytes*/, const char* format, va_list arguments) {
    return ToolSide_vsnprintf(buffer, sizeBytes, format, arguments);
}

int ToolSide_snprintf_chk(char* buffer, std::size_t sizeBytes, int /*flag*/,
                          std::size_t /*bufferBytes*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int count = ToolSide_vsnprintf(buffer, sizeBytes, format, arguments);
    va_end(arguments);
    return count;
}

int ToolSide_vprintf_chk(int /*flag*/, const char* format, va_list arguments) {
    return ToolSide_vprintf(format, arguments);
}

int ToolSide_printf_chk(int /*flag*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int count = ToolSide_vprintf(format, arguments);
    va_end(arguments);
    return count;
}

}  // extern "C"
