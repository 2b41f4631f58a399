// SPDX-License-Identifier: MIT
#pragma once

// The face that every device of the virtual host shows to a program.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "vboard/time/VirtualClock.h"

struct termios;

namespace vboard {

/// A count or 0, or -errno, as a kernel hands it to libc.
using IoResult = std::int64_t;

/// The call would never return: nothing that could still happen brings what it waits for.
inline constexpr IoResult kWouldWaitForEver = INT64_MIN;

/// How far a call that finds nothing and would not wait moves the clock, at most: a program that
/// asks again and again lets time go by with each question, as it does on a real machine. The clock
/// stops earlier where what is asked for comes.
inline constexpr Duration kFruitlessStep = std::chrono::milliseconds{1};

/// What a path names.
enum class PathKind : std::uint8_t { kNone, kTerminal, kDevice, kFile, kFolder };

/// What select and poll ask for.
struct Readiness {
    bool readable = false;
    bool writable = false;
    bool urgent = false;  ///< POLLPRI, and POLLERR with it: a GPIO file that has not been read yet.
};

/// One opening of a device, as a descriptor or a stream refers to it. Closing is destruction.
class DeviceFile {
public:
    virtual ~DeviceFile() = default;

    /// May let virtual time pass. `nonBlocking` is the O_NONBLOCK of the descriptor at this moment.
    virtual IoResult Read(std::span<std::uint8_t> buffer, bool nonBlocking) = 0;
    virtual IoResult Write(std::span<const std::uint8_t> data, bool nonBlocking) = 0;

    /// `argument` is what the program passed: read or written as the request says.
    virtual IoResult Ioctl(unsigned long request, void* argument);
    /// The request in words for a transcript, after it has been carried out.
    [[nodiscard]] virtual std::string Describe(unsigned long request, const void* argument) const;

    /// What a read or a write would find at this instant; moves no time.
    [[nodiscard]] virtual Readiness Ready() const { return {true, true}; }

    /// Moves the place at which the next read or write begins, as lseek(2); -ESPIPE where there is
    /// none.
    virtual IoResult Seek(std::int64_t offset, int whence);

    // What only a terminal can do; other files answer -ENOTTY.
    virtual IoResult GetAttributes(termios& attributes);
    virtual IoResult SetAttributes(int action, const termios& attributes);
    virtual IoResult Drain();
    virtual IoResult Flush(int queue);
    virtual IoResult SendBreak();
    virtual IoResult ControlFlow(int action);
    [[nodiscard]] virtual bool IsTerminal() const { return false; }
};

/// Something that a path names.
class Device {
public:
    virtual ~Device() = default;
    /// What an opening came to.
    struct Opened {
        std::unique_ptr<DeviceFile> file;  ///< Empty when the opening failed.
        int error = 0;                     ///< errno of the failure.
    };
    /// `flags` are those of open(2).
    virtual Opened Open(int flags) = 0;
    [[nodiscard]] virtual bool IsTerminal() const { return false; }
};

}  // namespace vboard
