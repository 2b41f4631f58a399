// SPDX-License-Identifier: MIT

// A program with an allocator of its own, which asks for the time as some do, and two threads on
// one port.

#include <fcntl.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <thread>

extern "C" void* __libc_malloc(std::size_t size);

extern "C" __attribute__((visibility("default"))) void* malloc(std::size_t size) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return __libc_malloc(size);
}

int main() {
    const int port = open("/dev/ttyS1", O_RDWR | O_NOCTTY);
    termios settings{};
    tcgetattr(port, &settings);
    cfmakeraw(&settings);
    settings.c_cflag |= PARENB;
    tcsetattr(port, TCSANOW, &settings);
    std::uint8_t answer = 0;
    std::thread reader([&] { static_cast<void>(read(port, &answer, 1)); });
    constexpr std::uint8_t kSync = 0x80;
    static_cast<void>(write(port, &kSync, 1));
    reader.join();
    std::printf("read %02x\n", answer);
    return 0;
}
