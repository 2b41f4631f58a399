// SPDX-License-Identifier: MIT
#include "vboard/host/Host.h"

#include <fcntl.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "vboard/host/LineSettings.h"
#include "vboard/host/SysfsGpio.h"
#include "vboard/host/TermiosText.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

// Names under which a machine may have the hardware that this board only plays. A program on the
// virtual board never reaches them, also where the board has no such device.
constexpr std::array<std::string_view, 7> kHardwarePrefixes{
    "/dev/ttyS",   "/dev/ttymxc", "/dev/ttyUSB",  "/dev/ttyACM",
    "/dev/ttyAMA", "/dev/knx",    "/dev/gpiochip"};

bool IsGpioPath(std::string_view path) {
    return path.starts_with(SysfsGpio::kFolder) &&
           (path.size() == SysfsGpio::kFolder.size() || path[SysfsGpio::kFolder.size()] == '/');
}

std::string OpenFlagsText(int flags) {
    std::string text;
    switch (flags & O_ACCMODE) {
        case O_RDONLY:
            text = "O_RDONLY";
            break;
        case O_WRONLY:
            text = "O_WRONLY";
            break;
        default:
            text = "O_RDWR";
            break;
    }
    const struct {
        int flag;
        const char* name;
    } kFlags[] = {{O_NOCTTY, "O_NOCTTY"}, {O_NONBLOCK, "O_NONBLOCK"}, {O_CREAT, "O_CREAT"},
                  {O_TRUNC, "O_TRUNC"},   {O_APPEND, "O_APPEND"},     {O_CLOEXEC, "O_CLOEXEC"}};
    for (const auto& named : kFlags) {
        if ((flags & named.flag) != 0) {
            text += Formatted("|{}", named.name);
        }
    }
    return text;
}

/// What open(2) refuses whatever the file is: the errno, or 0.
int RefusedOpening(PathKind kind, int flags) {
    if (kind == PathKind::kNone) {
        return 0;
    }
    if ((flags & (O_CREAT | O_EXCL)) == (O_CREAT | O_EXCL)) {
        return EEXIST;
    }
    if (kind != PathKind::kFolder) {
        // Naming a file without opening it is not for devices here.
        return (flags & O_DIRECTORY) != 0 ? ENOTDIR : (flags & O_PATH) != 0 ? EOPNOTSUPP : 0;
    }
    if ((flags & O_TMPFILE) == O_TMPFILE) {
        return EOPNOTSUPP;
    }
    return (flags & O_CREAT) != 0 || (flags & O_ACCMODE) != O_RDONLY ? EISDIR : 0;
}

IoResult SetNonBlocking(OpenFile& file, const void* argument) {
    if (argument == nullptr) {
        return -EFAULT;
    }
    int on = 0;
    std::memcpy(&on, argument, sizeof on);
    file.nonBlocking = on != 0;
    file.flags = on != 0 ? file.flags | O_NONBLOCK : file.flags & ~O_NONBLOCK;
    return 0;
}

/// The files that are ready. select counts what each is ready for, poll the files.
IoResult CountReady(std::span<Watched> files, bool eachEvent) {
    IoResult count = 0;
    for (Watched& watched : files) {
        // Another thread may have closed it meanwhile.
        const Readiness now =
            watched.file->device == nullptr ? Readiness{} : watched.file->device->Ready();
        watched.ready = {watched.wanted.readable && now.readable,
                         watched.wanted.writable && now.writable,
                         watched.wanted.urgent && now.urgent};
        const int events = (watched.ready.readable ? 1 : 0) + (watched.ready.writable ? 1 : 0) +
                           (watched.ready.urgent ? 1 : 0);
        count += eachEvent ? events : std::min(events, 1);
    }
    return count;
}

}  // namespace

Host::Host(VirtualClock& clock, Probe& probe, Faults& faults, ProgramControl& control)
    : m_clock(clock), m_probe(probe), m_faults(faults), m_control(control) {}

void Host::AddDevice(std::string path, Device& device) {
    m_devices[std::move(path)] = &device;
}

void Host::AddGpios(SysfsGpio& gpios) {
    m_gpios = &gpios;
}

bool Host::IsHardware(std::string_view path) {
    return IsGpioPath(path) ||
           std::any_of(kHardwarePrefixes.begin(), kHardwarePrefixes.end(),
                       [path](std::string_view prefix) { return path.starts_with(prefix); });
}

bool Host::Owns(std::string_view path) const {
    return IsHardware(path) || m_devices.contains(path);
}

PathKind Host::Find(std::string_view path) const {
    if (path.size() > 1 && path.ends_with('/')) {
        const PathKind kind = Find(path.substr(0, path.size() - 1));
        return kind == PathKind::kFolder ? kind : PathKind::kNone;
    }
    if (IsGpioPath(path) && m_gpios != nullptr) {
        return m_gpios->Find(path);
    }
    const auto found = m_devices.find(path);
    if (found == m_devices.end()) {
        return PathKind::kNone;
    }
    return found->second->IsTerminal() ? PathKind::kTerminal : PathKind::kDevice;
}

int Host::WhyNone(std::string_view path) const {
    for (std::size_t end = path.rfind('/'); end != std::string_view::npos && end > 0;
         end = path.rfind('/', end - 1)) {
        const PathKind kind = Find(path.substr(0, end));
        if (kind != PathKind::kNone) {
            return kind == PathKind::kFolder ? ENOENT : ENOTDIR;
        }
    }
    return ENOENT;
}

void Host::Tell(std::string_view name, std::string_view path, std::string_view detail,
                IoResult result, std::span<const std::uint8_t> data) {
    m_probe.OnCall({name, path, detail, result, data});
}

std::optional<IoResult> Host::Struck(const CallFault& fault, std::string_view name,
                                     std::string_view path) {
    switch (fault.kind) {
        case CallFault::Kind::kErrno:
            return -fault.error;
        case CallFault::Kind::kKill:
            m_control.Kill();
            return -EINTR;
        case CallFault::Kind::kSilence:
            m_control.WaitsForEver(name, path, "a call that was ordered not to return");
            return -EINTR;
        default:
            return std::nullopt;
    }
}

IoResult Host::StuckIn(std::string_view call, const OpenFile& file, std::string_view awaited) {
    m_control.WaitsForEver(call, file.path, awaited);
    return -EINTR;
}

std::vector<std::string> Host::NamesIn(std::string_view path) const {
    return m_gpios == nullptr ? std::vector<std::string>{} : m_gpios->NamesIn(path);
}

Device::Opened Host::OpenDevice(std::string_view path, int flags) {
    const PathKind kind = Find(path);
    const bool belowFile = kind == PathKind::kNone && WhyNone(path) == ENOTDIR;
    if (const int error = belowFile ? ENOTDIR : RefusedOpening(kind, flags); error != 0) {
        return {nullptr, error};
    }
    if (IsGpioPath(path) && m_gpios != nullptr) {
        return m_gpios->Open(path, flags);
    }
    const auto found = m_devices.find(path);
    return found == m_devices.end() ? Device::Opened{nullptr, ENOENT} : found->second->Open(flags);
}

std::unique_ptr<OpenFile> Host::Open(CallKind how, std::string_view path, int flags,
                                     std::string_view detail, int& error) {
    const std::string_view name = how == CallKind::kFopen ? "fopen" : "open";
    const auto struck = Struck(m_faults.FaultOfCall(how, path, 0), name, path);
    Device::Opened opened;
    if (struck) {
        opened.error = static_cast<int>(-*struck);
    } else {
        opened = OpenDevice(path, flags);
    }
    error = opened.error;
    if (m_probe.Listening()) {
        Tell(name, path, detail.empty() ? OpenFlagsText(flags) : std::string(detail), -error);
    }
    if (opened.file == nullptr) {
        return nullptr;
    }
    return std::make_unique<OpenFile>(
        OpenFile{std::string(path), std::move(opened.file), (flags & O_NONBLOCK) != 0, flags});
}

std::unique_ptr<OpenFile> Host::Inherit(std::string_view path, int flags) {
    Device::Opened opened = OpenDevice(path, flags);
    if (opened.file == nullptr) {
        return nullptr;
    }
    return std::make_unique<OpenFile>(
        OpenFile{std::string(path), std::move(opened.file), (flags & O_NONBLOCK) != 0, flags});
}

IoResult Host::Close(OpenFile& file) {
    const auto struck =
        Struck(m_faults.FaultOfCall(CallKind::kClose, file.path, 0), "close", file.path);
    // Linux frees the descriptor also when close reports an error.
    file.device.reset();
    Tell("close", file.path, {}, struck.value_or(0));
    return struck.value_or(0);
}

IoResult Host::Read(OpenFile& file, std::span<std::uint8_t> buffer) {
    if ((file.flags & O_ACCMODE) == O_WRONLY) {
        return -EBADF;
    }
    if (buffer.data() == nullptr && !buffer.empty()) {
        return -EFAULT;
    }
    const CallFault fault = m_faults.FaultOfCall(CallKind::kRead, file.path, buffer.size());
    const auto struck = Struck(fault, "read", file.path);
    IoResult result = 0;
    if (struck) {
        result = *struck;
    } else if (fault.kind == CallFault::Kind::kCount) {
        const auto part = buffer.first(std::min(buffer.size(), fault.count));
        result = part.empty() ? 0 : file.device->Read(part, file.nonBlocking);
    } else {
        result = file.device->Read(buffer, file.nonBlocking);
    }
    if (fault.kind == CallFault::Kind::kBytes) {
        const std::size_t count = std::min(buffer.size(), fault.bytes.size());
        std::copy_n(fault.bytes.begin(), count, buffer.begin());
        result = static_cast<IoResult>(count);
    }
    if (result == kWouldWaitForEver) {
        result = StuckIn("read", file, "a byte");
    }
    const std::size_t got = result > 0 ? static_cast<std::size_t>(result) : 0;
    Tell("read", file.path, {}, result, buffer.first(got));
    return result;
}

IoResult Host::Write(CallKind how, OpenFile& file, std::span<const std::uint8_t> data) {
    if ((file.flags & O_ACCMODE) == O_RDONLY) {
        return -EBADF;
    }
    if (data.data() == nullptr && !data.empty()) {
        return -EFAULT;
    }
    const std::string_view name = how == CallKind::kFlush ? "flush" : "write";
    const CallFault fault = m_faults.FaultOfCall(how, file.path, data.size());
    const auto struck = Struck(fault, name, file.path);
    std::span<const std::uint8_t> carried = data;
    if (fault.kind == CallFault::Kind::kCount) {
        carried = data.first(std::min(data.size(), fault.count));
    }
    const bool nothing = carried.empty() && !data.empty();
    if (struck || nothing) {
        const IoResult result = struck.value_or(0);
        Tell(name, file.path, {}, result, data);
        return result;
    }
    m_probe.OnCallBegins();
    const IoResult result = file.device->Write(carried, file.nonBlocking);
    Tell(name, file.path, {}, result, carried);
    return result;
}

IoResult Host::Perform(CallKind kind, std::string_view name, const OpenFile& file,
                       const std::function<IoResult()>& carryOut,
                       const std::function<std::string()>& detail) {
    const auto struck = Struck(m_faults.FaultOfCall(kind, file.path, 0), name, file.path);
    m_probe.OnCallBegins();
    const IoResult result = struck ? *struck : carryOut();
    if (m_probe.Listening()) {
        Tell(name, file.path, detail(), result);
    }
    return result;
}

IoResult Host::Seek(OpenFile& file, std::int64_t offset, int whence) {
    return file.device->Seek(offset, whence);
}

IoResult Host::Ioctl(OpenFile& file, unsigned long request, void* argument) {
    // The kernel looks at 32 bits, and some callers fill the others with the sign.
    request &= 0xFFFFFFFFUL;
    if (ReadsSettings(request) || ActionOf(request)) {
        return SettingsRequest(file, request, argument);
    }
    if (request == FIONBIO) {
        return SetNonBlocking(file, argument);
    }
    return Perform(
        CallKind::kIoctl, "ioctl", file, [&] { return file.device->Ioctl(request, argument); },
        [&] { return file.device->Describe(request, argument); });
}

// What libc's tcgetattr and tcsetattr make of it.
IoResult Host::SettingsRequest(OpenFile& file, unsigned long request, void* argument) {
    if (!file.device->IsTerminal()) {
        return -ENOTTY;
    }
    if (argument == nullptr) {
        return -EFAULT;
    }
    if (const auto action = ActionOf(request)) {
        return SetAttributes(file, *action, LoadSettings(request, argument));
    }
    termios settings{};
    const IoResult result = GetAttributes(file, settings);
    if (result == 0) {
        StoreSettings(request, settings, argument);
    }
    return result;
}

IoResult Host::GetAttributes(OpenFile& file, termios& attributes) {
    return file.device->GetAttributes(attributes);
}

IoResult Host::SetAttributes(OpenFile& file, int action, const termios& attributes) {
    return Perform(
        CallKind::kTcsetattr, "tcsetattr", file,
        [&] { return file.device->SetAttributes(action, attributes); },
        [&] { return TermiosText(attributes); });
}

IoResult Host::Drain(OpenFile& file) {
    const IoResult result = file.device->Drain();
    Tell("tcdrain", file.path, {}, result);
    return result;
}

IoResult Host::Flush(OpenFile& file, int queue) {
    const IoResult result = file.device->Flush(queue);
    Tell("tcflush", file.path, {}, result);
    return result;
}

IoResult Host::SendBreak(OpenFile& file) {
    const IoResult result = file.device->SendBreak();
    Tell("tcsendbreak", file.path, {}, result);
    return result;
}

IoResult Host::ControlFlow(OpenFile& file, int action) {
    const IoResult result = file.device->ControlFlow(action);
    Tell("tcflow", file.path, {}, result);
    return result;
}

IoResult Host::Select(std::string_view name, std::span<Watched> files,
                      std::optional<Duration> timeout,
                      const std::function<IoResult()>& othersReady) {
    const std::string_view path = files.empty() ? std::string_view{} : files.front().file->path;
    const CallFault fault = m_faults.FaultOfCall(CallKind::kSelect, path, 0);
    const auto struck = Struck(fault, name, path);
    if (struck) {
        Tell(name, path, {}, *struck);
        return *struck;
    }
    // An ordered fault may keep the program from seeing that a file is ready.
    const bool blind = fault.kind == CallFault::Kind::kCount;
    const bool eachEvent = name == "select";
    const std::optional<Duration> given = timeout;
    const auto countReady = [files, blind, eachEvent] {
        return blind ? 0 : CountReady(files, eachEvent);
    };
    const bool othersAwaited = othersReady != nullptr;
    const auto anyReady = [&] { return countReady() > 0 || (othersAwaited && othersReady() > 0); };
    IoResult count = countReady();
    if (count == 0 && othersAwaited && othersReady() > 0) {
        timeout = Duration::zero();
    }
    if (count == 0 && timeout == Duration::zero()) {
        // The answer is that of this moment; what comes meanwhile is for the next question.
        m_clock.RunUntil([&countReady] { return countReady() > 0; },
                         m_clock.Now() + kFruitlessStep);
        for (Watched& watched : files) {
            watched.ready = {};
        }
    } else if (count == 0) {
        const auto deadline = timeout ? std::optional(m_clock.In(*timeout)) : std::nullopt;
        const auto waited = m_clock.RunUntil(anyReady, deadline, Signals::kEnd, othersAwaited);
        if (waited == VirtualClock::Waited::kNothingLeft) {
            if (othersAwaited) {
                return kWouldWaitForEver;
            }
            m_control.WaitsForEver(name, path, "a file to become ready");
            return -EINTR;
        }
        count = waited == VirtualClock::Waited::kInterrupted ? -EINTR : countReady();
    }
    const IoResult others = count >= 0 && othersAwaited ? othersReady() : 0;
    TellSelect(name, files, given, count + others);
    return count;
}

void Host::TellSelect(std::string_view name, std::span<const Watched> files,
                      std::optional<Duration> timeout, IoResult count) {
    if (m_probe.Listening()) {
        Tell(name, files.empty() ? std::string_view{} : files.front().file->path,
             timeout ? Formatted("timeout {} us", timeout->count() / 1000) : "no timeout", count);
    }
}

Duration Host::Pause(Duration length) {
    // A pause fails for no reason of its own; what may strike here is an end of the program.
    static_cast<void>(Struck(m_faults.FaultOfCall(CallKind::kPause, {}, 0), "pause", {}));
    m_probe.OnPause(length);
    return m_clock.Pass(length);
}

Instant Host::AskTime() {
    const Instant now = m_clock.Now();
    m_clock.Pass(kTimeOfAsking);
    return now;
}

}  // namespace vboard
