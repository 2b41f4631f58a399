// SPDX-License-Identifier: MIT
#pragma once

// The virtual host as the program's calls meet it: finds the device behind a path, lets faults
// strike, tells the probe, and keeps the rule for calls that would never return. It knows devices
// only by their face and libc not at all.

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vboard/faults/Faults.h"
#include "vboard/host/DeviceFile.h"
#include "vboard/probe/Probe.h"

namespace vboard {

class SysfsGpio;

/// What only the world outside the board can do to the program. In a real run neither returns;
/// where one does (in a test), the call in question fails with EINTR.
class ProgramControl {
public:
    virtual ~ProgramControl() = default;
    /// Ends the program as SIGKILL does.
    virtual void Kill() = 0;
    /// `call` and `path` name what the program waits in.
    virtual void WaitsForEver(std::string_view call, std::string_view path,
                              std::string_view awaited) = 0;
};

/// One open device of the program. Destroying it closes it without telling the probe; Host::Close
/// is the program's close.
struct OpenFile {
    std::string path;
    std::unique_ptr<DeviceFile> device;
    bool nonBlocking = false;
    int flags = 0;  ///< Those of open(2).
    /// Descriptors that name it. The last of them to close closes the file, whoever waits in it.
    int descriptors = 0;
};

/// One file of a select or poll.
struct Watched {
    OpenFile* file;
    Readiness wanted;
    Readiness ready;  ///< Result.
};

/// What asking for the time takes.
inline constexpr Duration kTimeOfAsking = std::chrono::microseconds{1};

/// One host for one program. Its calls may let virtual time pass.
class Host {
public:
    /// True for paths under which a machine may have hardware of the kind that a board plays:
    /// serial ports, GPIO files and communication devices.
    [[nodiscard]] static bool IsHardware(std::string_view path);

    /// All must outlive the host.
    Host(VirtualClock& clock, Probe& probe, Faults& faults, ProgramControl& control);

    /// Puts a device behind a path; it must outlive the host.
    void AddDevice(std::string path, Device& device);
    /// Puts the files of the GPIO lines below their folder; they must outlive the host.
    void AddGpios(SysfsGpio& gpios);

    /// True for every path that must not reach the machine's own hardware: the devices of this
    /// board, and hardware that this board does not have.
    [[nodiscard]] bool Owns(std::string_view path) const;
    /// What an owned path names; kNone when this board does not have it. With a slash at its end it
    /// names folders only.
    [[nodiscard]] PathKind Find(std::string_view path) const;
    /// Why an owned path of kind kNone leads nowhere: ENOTDIR below a file, else ENOENT.
    [[nodiscard]] int WhyNone(std::string_view path) const;

    /// The names in a folder of the board, in their order. Empty for what is none.
    [[nodiscard]] std::vector<std::string> NamesIn(std::string_view path) const;

    /// `how` is kOpen or kFopen. On failure the result is empty and `error` the errno.
    std::unique_ptr<OpenFile> Open(CallKind how, std::string_view path, int flags,
                                   std::string_view detail, int& error);
    /// A file that was open in the program before and came with its descriptor; no call of the
    /// program. Empty where there is no such device any more.
    std::unique_ptr<OpenFile> Inherit(std::string_view path, int flags);
    IoResult Close(OpenFile& file);
    IoResult Read(OpenFile& file, std::span<std::uint8_t> buffer);
    /// `how` is kWrite, or kFlush for what stdio writes.
    IoResult Write(CallKind how, OpenFile& file, std::span<const std::uint8_t> data);
    IoResult Seek(OpenFile& file, std::int64_t offset, int whence);
    IoResult Ioctl(OpenFile& file, unsigned long request, void* argument);
    IoResult GetAttributes(OpenFile& file, termios& attributes);
    IoResult SetAttributes(OpenFile& file, int action, const termios& attributes);
    IoResult Drain(OpenFile& file);
    IoResult Flush(OpenFile& file, int queue);
    IoResult SendBreak(OpenFile& file);
    IoResult ControlFlow(OpenFile& file, int action);

    /// Waits until one of the files is ready or `timeout` has passed (none: no limit). The count of
    /// ready files, or -errno. Where the program awaits other files as well, `othersReady` counts
    /// those of them that are ready. They end the wait, too, and one that the board can't end is
    /// answered with kWouldWaitForEver and no verdict.
    IoResult Select(std::string_view name, std::span<Watched> files,
                    std::optional<Duration> timeout,
                    const std::function<IoResult()>& othersReady = nullptr);
    /// Tells of a wait that ended outside of the board, with what the program got.
    void TellSelect(std::string_view name, std::span<const Watched> files,
                    std::optional<Duration> timeout, IoResult count);

    /// A pause of the program. Returns what is left of it when a signal ended it.
    Duration Pause(Duration length);

    /// The time, for a program that asks for it. It takes a moment, so that a loop that only looks
    /// at the clock comes to an end.
    Instant AskTime();

private:
    [[nodiscard]] Device::Opened OpenDevice(std::string_view path, int flags);
    IoResult SettingsRequest(OpenFile& file, unsigned long request, void* argument);
    IoResult StuckIn(std::string_view call, const OpenFile& file, std::string_view awaited);
    /// What a fault makes of a call that carries no bytes.
    IoResult Perform(CallKind kind, std::string_view name, const OpenFile& file,
                     const std::function<IoResult()>& carryOut,
                     const std::function<std::string()>& detail);
    std::optional<IoResult> Struck(const CallFault& fault, std::string_view name,
                                   std::string_view path);
    void Tell(std::string_view name, std::string_view path, std::string_view detail,
              IoResult result, std::span<const std::uint8_t> data = {});

    VirtualClock& m_clock;
    Probe& m_probe;
    Faults& m_faults;
    ProgramControl& m_control;
    std::map<std::string, Device*, std::less<>> m_devices;
    SysfsGpio* m_gpios = nullptr;
};

}  // namespace vboard
