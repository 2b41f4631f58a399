// SPDX-License-Identifier: MIT

// A serial program that does what its words say, one call a word, and prints what came of each:
//
//   WORD = RESULT           a count, the name of an error, or what was read
//   WORD = RESULT (N ms)    the same after a call that let so much time pass
//
// It asks the clocks that any program would ask, so its milliseconds are the board's.

#include <asm/ioctls.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <linux/serial.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

int g_descriptor = -1;

std::string Result(long long result) {
    return result < 0 ? strerrorname_np(errno) : std::to_string(result);
}

std::string Hex(const std::uint8_t* data, long long count) {
    std::string text;
    for (long long i = 0; i < count; ++i) {
        std::array<char, 8> byte{};
        static_cast<void>(std::snprintf(byte.data(), byte.size(), " %02x", data[i]));
        text += byte.data();
    }
    return text;
}

std::vector<std::uint8_t> Bytes(const std::string& hex) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

int Number(const Words& words, std::size_t index) {
    return std::stoi(words.at(index), nullptr, 0);
}

int OpenFlags(const Words& words) {
    const std::map<std::string, int> kFlags{{"r", O_RDONLY},          {"w", O_WRONLY},
                                            {"rw", O_RDWR},           {"noctty", O_NOCTTY},
                                            {"nonblock", O_NONBLOCK}, {"cloexec", O_CLOEXEC}};
    int flags = 0;
    for (std::size_t i = 2; i < words.size(); ++i) {
        flags |= kFlags.at(words[i]);
    }
    return flags;
}

std::string Open(const Words& words) {
    const int opened = open(words.at(1).c_str(), OpenFlags(words));
    if (opened < 0) {
        return Result(opened);
    }
    g_descriptor = opened;
    return "open";
}

std::string OpenAt(const Words& words) {
    g_descriptor = openat(AT_FDCWD, words.at(1).c_str(), OpenFlags(words));
    return g_descriptor < 0 ? Result(-1) : "open";
}

std::string Create(const Words& words) {
    g_descriptor = creat(words.at(1).c_str(), 0600);
    return g_descriptor < 0 ? Result(-1) : "open";
}

/// raw:SPEED:PARITY:VMIN:VTIME
std::string Raw(const Words& words) {
    termios settings{};
    if (tcgetattr(g_descriptor, &settings) != 0) {
        return Result(-1);
    }
    cfmakeraw(&settings);
    const std::map<std::string, speed_t> kSpeeds{
        {"9600", B9600}, {"19200", B19200}, {"115200", B115200}};
    cfsetspeed(&settings, kSpeeds.at(words.at(1)));
    settings.c_cflag &= ~static_cast<tcflag_t>(PARENB | PARODD);
    settings.c_cflag |= words.at(2) == "N" ? 0U : PARENB;
    settings.c_cflag |= words.at(2) == "O" ? PARODD : 0U;
    settings.c_iflag |= INPCK;
    settings.c_cc[VMIN] = static_cast<cc_t>(Number(words, 3));
    settings.c_cc[VTIME] = static_cast<cc_t>(Number(words, 4));
    return Result(tcsetattr(g_descriptor, TCSANOW, &settings));
}

std::string Read(const Words& words) {
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(Number(words, 1)));
    const ssize_t got = read(g_descriptor, buffer.data(), buffer.size());
    return Result(got) + Hex(buffer.data(), got);
}

std::string ReadPieces(const Words& words) {
    std::vector<std::uint8_t> first(static_cast<std::size_t>(Number(words, 1)));
    std::vector<std::uint8_t> second(static_cast<std::size_t>(Number(words, 2)));
    const std::array<iovec, 2> pieces{
        {{first.data(), first.size()}, {second.data(), second.size()}}};
    const ssize_t got = readv(g_descriptor, pieces.data(), 2);
    return Result(got) + Hex(first.data(), static_cast<long long>(first.size())) + " |" +
           Hex(second.data(), got - static_cast<long long>(first.size()));
}

std::string Write(const Words& words) {
    const auto bytes = Bytes(words.at(1));
    return Result(write(g_descriptor, bytes.data(), bytes.size()));
}

std::string WriteText(const Words& words) {
    return Result(write(g_descriptor, words.at(1).data(), words.at(1).size()));
}

std::string WriteMany(const Words& words) {
    const std::vector<std::uint8_t> bytes(static_cast<std::size_t>(Number(words, 1)), 0x55);
    return Result(write(g_descriptor, bytes.data(), bytes.size()));
}

std::string WritePieces(const Words& words) {
    auto first = Bytes(words.at(1));
    auto second = Bytes(words.at(2));
    const std::array<iovec, 2> pieces{
        {{first.data(), first.size()}, {second.data(), second.size()}}};
    return Result(writev(g_descriptor, pieces.data(), 2));
}

std::string PollResult(int count, const pollfd& file) {
    std::string text = Result(count);
    text += (file.revents & POLLIN) != 0 ? " in" : "";
    text += (file.revents & POLLOUT) != 0 ? " out" : "";
    return text;
}

pollfd Watched(const Words& words) {
    short events = 0;
    if (words.at(1).find("in") != std::string::npos) {
        events = POLLIN;
    }
    if (words.at(1).find("out") != std::string::npos) {
        events = static_cast<short>(events | POLLOUT);
    }
    return {g_descriptor, events, 0};
}

std::string Poll(const Words& words) {
    pollfd file = Watched(words);
    return PollResult(poll(&file, 1, Number(words, 2)), file);
}

std::string PreciselyPoll(const Words& words) {
    pollfd file = Watched(words);
    const timespec timeout{0, 1000L * 1000L * Number(words, 2)};
    return PollResult(ppoll(&file, 1, &timeout, nullptr), file);
}

/// pollboth:MS waits for the port and for standard input.
std::string PollBoth(const Words& words) {
    std::array<pollfd, 2> files{{{g_descriptor, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    const int count = poll(files.data(), 2, Number(words, 1));
    return PollResult(count, files[0]) + (files[1].revents != 0 ? " stdin" : "");
}

/// select:MS, where -1 is no limit
std::string Select(const Words& words) {
    fd_set reading;
    FD_ZERO(&reading);
    FD_SET(g_descriptor, &reading);
    const int ms = Number(words, 1);
    timeval timeout{ms / 1000, ms % 1000 * 1000L};
    const int count =
        select(g_descriptor + 1, &reading, nullptr, nullptr, ms < 0 ? nullptr : &timeout);
    std::string text = Result(count) + (FD_ISSET(g_descriptor, &reading) ? " in" : "");
    if (ms >= 0) {
        text += " left " + std::to_string(timeout.tv_sec * 1000 + timeout.tv_usec / 1000) + " ms";
    }
    return text;
}

std::string PreciselySelect(const Words& words) {
    fd_set writing;
    FD_ZERO(&writing);
    FD_SET(g_descriptor, &writing);
    const timespec timeout{0, 1000L * 1000L * Number(words, 1)};
    const int count = pselect(g_descriptor + 1, nullptr, &writing, nullptr, &timeout, nullptr);
    return Result(count) + (FD_ISSET(g_descriptor, &writing) ? " out" : "");
}

std::string IntRequest(unsigned long request) {
    int value = 0;
    const int result = ioctl(g_descriptor, request, &value);
    return result < 0 ? Result(result) : std::to_string(value);
}

std::string ModemLines(const Words& /*words*/) {
    int lines = 0;
    if (ioctl(g_descriptor, TIOCMGET, &lines) < 0) {
        return Result(-1);
    }
    std::string text;
    text += (lines & TIOCM_DTR) != 0 ? "DTR " : "";
    text += (lines & TIOCM_RTS) != 0 ? "RTS " : "";
    text += (lines & TIOCM_CTS) != 0 ? "CTS " : "";
    return text;
}

/// mset:+dtr, mset:-rts, mset:=dtr
std::string SetModemLines(const Words& words) {
    const char how = words.at(1).at(0);
    int lines = words.at(1).substr(1) == "dtr" ? TIOCM_DTR : TIOCM_RTS;
    const unsigned long request = how == '+' ? TIOCMBIS : how == '-' ? TIOCMBIC : TIOCMSET;
    return Result(ioctl(g_descriptor, request, &lines));
}

std::string Flush(const Words& words) {
    const std::map<std::string, int> kQueues{
        {"in", TCIFLUSH}, {"out", TCOFLUSH}, {"both", TCIOFLUSH}, {"wrong", 99}};
    return Result(tcflush(g_descriptor, kQueues.at(words.at(1))));
}

std::string GetFlags(const Words& /*words*/) {
    const int flags = fcntl(g_descriptor, F_GETFL);
    if (flags < 0) {
        return Result(flags);
    }
    const std::array<const char*, 4> kAccess{"r", "w", "rw", "?"};
    return std::string(kAccess.at(static_cast<std::size_t>(flags & O_ACCMODE))) +
           ((flags & O_NONBLOCK) != 0 ? " nonblock" : "");
}

std::string SetFlags(const Words& words) {
    return Result(fcntl(g_descriptor, F_SETFL, words.at(1) == "nonblock" ? O_NONBLOCK : 0));
}

/// struct termios2 of the kernel, which libc's headers hide.
struct KernelTermios2 {
    std::array<std::uint32_t, 4> flags;
    std::uint8_t line;
    std::array<std::uint8_t, 19> characters;
    std::uint32_t inputSpeed;
    std::uint32_t outputSpeed;
};
constexpr unsigned long kGetTermios2 = _IOR('T', 0x2A, KernelTermios2);
constexpr unsigned long kSetTermios2 = _IOW('T', 0x2B, KernelTermios2);
constexpr std::uint32_t kSpeedBits = 0010017;
constexpr std::uint32_t kOtherSpeed = 0010000;

std::string SetAnySpeed(const Words& words) {
    KernelTermios2 settings{};
    if (ioctl(g_descriptor, kGetTermios2, &settings) < 0) {
        return Result(-1);
    }
    settings.flags[2] = (settings.flags[2] & ~kSpeedBits) | kOtherSpeed;
    settings.inputSpeed = static_cast<std::uint32_t>(Number(words, 1));
    settings.outputSpeed = settings.inputSpeed;
    return Result(ioctl(g_descriptor, kSetTermios2, &settings));
}

std::string GetAnySpeed(const Words& /*words*/) {
    KernelTermios2 settings{};
    if (ioctl(g_descriptor, kGetTermios2, &settings) < 0) {
        return Result(-1);
    }
    return std::to_string(settings.outputSpeed);
}

std::string Status(int result, const struct stat& status) {
    if (result < 0) {
        return Result(result);
    }
    if (S_ISCHR(status.st_mode)) {
        return "device " + std::to_string(major(status.st_rdev)) + ":" +
               std::to_string(minor(status.st_rdev));
    }
    return S_ISDIR(status.st_mode) ? "folder" : "file";
}

std::string StatPath(const Words& words) {
    struct stat status {};
    return Status(stat(words.at(1).c_str(), &status), status);
}

std::string StatDescriptor(const Words& /*words*/) {
    struct stat status {};
    return Status(fstat(g_descriptor, &status), status);
}

std::string StatxPath(const Words& words) {
    struct statx status {};
    if (statx(AT_FDCWD, words.at(1).c_str(), 0, STATX_BASIC_STATS, &status) < 0) {
        return Result(-1);
    }
    return S_ISCHR(status.stx_mode) ? "device" : "other";
}

std::string Copy(const Words& words) {
    const int copy = words.at(0) == "dup"     ? dup(g_descriptor)
                     : words.at(0) == "dupfd" ? fcntl(g_descriptor, F_DUPFD, 50)
                                              : dup2(g_descriptor, Number(words, 1));
    if (copy < 0) {
        return Result(copy);
    }
    g_descriptor = copy;
    return "open";
}

std::string Close(const Words& words) {
    return Result(close(words.size() > 1 ? Number(words, 1) : g_descriptor));
}

std::string CloseAll(const Words& /*words*/) {
    closefrom(3);
    return "closed";
}

std::string Stream(const Words& words) {
    std::FILE* stream = fdopen(g_descriptor, "r+");
    if (stream == nullptr) {
        return Result(-1);
    }
    const auto bytes = Bytes(words.at(1));
    const auto written = static_cast<long long>(std::fwrite(bytes.data(), 1, bytes.size(), stream));
    const bool flushed = std::fflush(stream) == 0;
    const int letter = std::fgetc(stream);
    const bool same = fileno(stream) == g_descriptor;
    std::array<char, 64> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%lld %s %02x %s %d", written,
                                    flushed ? "flushed" : "lost", static_cast<unsigned>(letter),
                                    same ? "same" : "other", std::fclose(stream)));
    return text.data();
}

std::string StreamSettings(const Words& words) {
    std::FILE* stream = std::fopen(words.at(1).c_str(), "r+");
    if (stream == nullptr) {
        return Result(-1);
    }
    termios settings{};
    const int result = tcgetattr(fileno(stream), &settings);
    static_cast<void>(std::fclose(stream));
    return Result(result);
}

std::string Pause(const Words& words) {
    const int ms = Number(words, 1);
    const timespec length{ms / 1000, ms % 1000 * 1000L * 1000L};
    return Result(clock_nanosleep(CLOCK_MONOTONIC, 0, &length, nullptr));
}

std::string PauseUntil(const Words& words) {
    timespec then{};
    static_cast<void>(clock_gettime(CLOCK_REALTIME, &then));
    then.tv_sec += Number(words, 1);
    return Result(clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &then, nullptr));
}

std::string SelectPause(const Words& words) {
    timeval length{0, 1000L * Number(words, 1)};
    return Result(select(0, nullptr, nullptr, nullptr, &length));
}

/// Looks at the clock until so many milliseconds have gone by.
std::string Spin(const Words& words) {
    timeval begin{};
    timeval now{};
    gettimeofday(&begin, nullptr);
    do {
        gettimeofday(&now, nullptr);
    } while ((now.tv_sec - begin.tv_sec) * 1000 + (now.tv_usec - begin.tv_usec) / 1000 <
             Number(words, 1));
    return "done";
}

/// Reads without waiting until there is a byte, and says how often at most a thousand times.
std::string SpinReading(const Words& /*words*/) {
    std::uint8_t byte = 0;
    int tries = 0;
    ssize_t got = 0;
    while ((got = read(g_descriptor, &byte, 1)) <= 0 && tries < 1000) {
        ++tries;
    }
    return got <= 0 ? "nothing" : Hex(&byte, 1).substr(1);
}

std::string Date(const Words& /*words*/) {
    const time_t now = time(nullptr);
    tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 64> text{};
    strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return text.data();
}

/// Does the rest of the words in a child, and waits for it.
std::string Fork(const Words& words) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        return "child";
    }
    int status = 0;
    static_cast<void>(waitpid(child, &status, 0));
    std::printf("child ended %d\n", WEXITSTATUS(status));
    std::exit(Number(words, 1));
}

std::string EndQuickly(const Words& words) {
    std::fflush(stdout);
    if (words.at(0) == "_exit") {
        _exit(Number(words, 1));
    }
    if (words.at(0) == "quick_exit") {
        std::quick_exit(Number(words, 1));
    }
    std::abort();
}

std::string Lock(const Words& /*words*/) {
    return Result(flock(g_descriptor, LOCK_EX | LOCK_NB)) + " " +
           Result(lockf(g_descriptor, F_TLOCK, 0));
}

std::string PlaceText(const Words& words) {
    std::array<char, 16> text{};
    const ssize_t got = pread(g_descriptor, text.data(), text.size() - 1, Number(words, 1));
    if (got < 0) {
        return Result(got);
    }
    const std::string read(text.data(), static_cast<std::size_t>(got));
    return read.substr(0, read.find('\n'));
}

std::string TerminalName(const Words& /*words*/) {
    const char* name = ttyname(g_descriptor);
    return name == nullptr ? Result(-1) : name;
}

/// counts: what the driver has counted.
std::string EventCounts(const Words& /*words*/) {
    serial_icounter_struct counts{};
    if (ioctl(g_descriptor, TIOCGICOUNT, &counts) < 0) {
        return Result(-1);
    }
    return "sent " + std::to_string(counts.tx) + " received " + std::to_string(counts.rx) +
           " framing " + std::to_string(counts.frame) + " parity " + std::to_string(counts.parity);
}

/// driver: what sets it back where it is.
std::string Driver(const Words& /*words*/) {
    serial_struct driver{};
    if (ioctl(g_descriptor, TIOCGSERIAL, &driver) < 0) {
        return Result(-1);
    }
    const int same = ioctl(g_descriptor, TIOCSSERIAL, &driver);
    driver.baud_base = 1;
    return std::to_string(driver.type) + " " + Result(same) + " " +
           Result(ioctl(g_descriptor, TIOCSSERIAL, &driver));
}

/// parmrk: errors are marked, and so is what looks like a mark.
std::string MarkErrors(const Words& /*words*/) {
    termios settings{};
    static_cast<void>(tcgetattr(g_descriptor, &settings));
    settings.c_iflag |= PARMRK;
    return Result(tcsetattr(g_descriptor, TCSANOW, &settings));
}

/// nothing: each call with a null pointer in the place of data.
std::string GiveNothing(const Words& /*words*/) {
    void* volatile nothing = nullptr;
    const iovec piece{nothing, 1};
    std::string text = Result(write(g_descriptor, nothing, 1));
    text += " " + Result(read(g_descriptor, nothing, 1));
    text += " " + Result(tcgetattr(g_descriptor, static_cast<termios*>(nothing)));
    text += " " + Result(tcsetattr(g_descriptor, TCSANOW, static_cast<termios*>(nothing)));
    text += " " + Result(ioctl(g_descriptor, FIONREAD, nothing));
    text += " " + Result(ioctl(g_descriptor, FIONBIO, nothing));
    text += " " + Result(writev(g_descriptor, &piece, 1));
    text += " " + Result(fstat(g_descriptor, static_cast<struct stat*>(nothing)));
    return text;
}

/// nofiles: waits for files that are nowhere, and for more than there can be.
std::string AwaitNothing(const Words& /*words*/) {
    void* volatile nothing = nullptr;
    volatile nfds_t tooMany = 1U << 30U;
    pollfd file{g_descriptor, POLLOUT, 0};
    const timespec atOnce{0, 0};
    std::string text = Result(poll(static_cast<pollfd*>(nothing), 1, 0));
    text += " " + Result(ppoll(static_cast<pollfd*>(nothing), 1, &atOnce, nullptr));
    text += " " + Result(poll(&file, tooMany, 0));
    text += " " + Result(ppoll(&file, tooMany, &atOnce, nullptr));
    fd_set writing;
    FD_ZERO(&writing);
    FD_SET(g_descriptor, &writing);
    timeval noTime{0, 0};
    return text + " " + Result(select(1 << 30, nullptr, &writing, nullptr, &noTime)) + " " +
           Result(select(-1, nullptr, &writing, nullptr, &noTime));
}

/// rawopen: opens the port by the numbers of system calls.
std::string OpenByNumber(const Words& /*words*/) {
    const open_how how{O_RDWR, 0, 0};
    return Result(syscall(SYS_openat, AT_FDCWD, "/dev/ttyS1", O_RDWR)) + " " +
           Result(syscall(SYS_openat2, AT_FDCWD, "/dev//ttyS1", &how, sizeof how));
}

/// notime: waits for lengths of time that can't be.
std::string AwaitNoTime(const Words& /*words*/) {
    const std::array<timespec, 3> wrong{{{0, 1'000'000'000}, {0, -1}, {-1, 0}}};
    pollfd file{g_descriptor, POLLOUT, 0};
    fd_set writing;
    FD_ZERO(&writing);
    FD_SET(g_descriptor, &writing);
    std::string text;
    for (const timespec& time : wrong) {
        text += Result(nanosleep(&time, nullptr)) + " ";
        text += std::string(strerrorname_np(clock_nanosleep(CLOCK_MONOTONIC, 0, &time, nullptr)));
        text += " " + Result(ppoll(&file, 1, &time, nullptr)) + " ";
        text += Result(pselect(g_descriptor + 1, nullptr, &writing, nullptr, &time, nullptr)) + " ";
    }
    timeval negative{-1, 0};
    constexpr clockid_t kNoClock = 99;
    const timespec second{1, 0};
    return text + Result(select(g_descriptor + 1, nullptr, &writing, nullptr, &negative)) + " " +
           strerrorname_np(clock_nanosleep(kNoClock, 0, &second, nullptr));
}

/// selectboth: what can be read and what can be written.
std::string SelectBoth(const Words& /*words*/) {
    fd_set reading;
    FD_ZERO(&reading);
    FD_SET(g_descriptor, &reading);
    fd_set writing = reading;
    timeval noTime{0, 0};
    return Result(select(g_descriptor + 1, &reading, &writing, nullptr, &noTime));
}

/// epoll: adds the file to a set, twice.
std::string WatchBySet(const Words& /*words*/) {
    const int events = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    return Result(epoll_ctl(events, EPOLL_CTL_ADD, g_descriptor, &event)) + " " +
           Result(epoll_ctl(events, EPOLL_CTL_ADD, g_descriptor, &event));
}

/// reread:PATH, by a stream: after a rewind, after a seek, and once more without either.
std::string ReadAgain(const Words& words) {
    std::FILE* stream = std::fopen(words.at(1).c_str(), "r");
    if (stream == nullptr) {
        return Result(-1);
    }
    std::string text(1, static_cast<char>(std::fgetc(stream)));
    static_cast<void>(std::fgetc(stream));
    const bool ended = std::fgetc(stream) == EOF;
    std::rewind(stream);
    text += static_cast<char>(std::fgetc(stream));
    text += Result(std::fseek(stream, 0, SEEK_SET));
    text += static_cast<char>(std::fgetc(stream));
    static_cast<void>(std::fclose(stream));
    return text + (ended ? " ended" : "");
}

/// pieces: counts and lengths that can't be.
std::string GiveImpossiblePieces(const Words& /*words*/) {
    std::uint8_t byte = 0;
    const std::array<iovec, 2> pieces{{{&byte, SIZE_MAX / 2}, {&byte, SIZE_MAX / 2}}};
    volatile int tooFew = -1;
    volatile int tooMany = 1025;
    return Result(writev(g_descriptor, pieces.data(), tooFew)) + " " +
           Result(writev(g_descriptor, pieces.data(), tooMany)) + " " +
           Result(readv(g_descriptor, pieces.data(), 2));
}

/// openwith:PATH:FLAG, one flag more than O_RDWR.
std::string OpenWith(const Words& words) {
    const std::map<std::string, int> kFlags{{"new", O_CREAT | O_EXCL},
                                            {"folder", O_DIRECTORY},
                                            {"path", O_PATH},
                                            {"temporary", O_TMPFILE}};
    return Result(open(words.at(1).c_str(), O_RDWR | kFlags.at(words.at(2)), 0600));
}

/// Waits for something urgent on the file.
std::string PollUrgent(const Words& words) {
    pollfd file{g_descriptor, POLLPRI | POLLERR, 0};
    const int count = poll(&file, 1, Number(words, 1));
    return Result(count) + ((file.revents & POLLPRI) != 0 ? " urgent" : "");
}

using Call = std::string (*)(const Words&);

using CallTable = std::map<std::string, Call>;

CallTable CallsOfATerminal() {
    return {
        {"open", Open},
        {"openat", OpenAt},
        {"creat", Create},
        {"raw", Raw},
        {"read", Read},
        {"readv", ReadPieces},
        {"write", Write},
        {"text", WriteText},
        {"fill", WriteMany},
        {"writev", WritePieces},
        {"poll", Poll},
        {"ppoll", PreciselyPoll},
        {"pollboth", PollBoth},
        {"select", Select},
        {"pselect", PreciselySelect},
        {"fionread", [](const Words&) { return IntRequest(FIONREAD); }},
        {"outq", [](const Words&) { return IntRequest(TIOCOUTQ); }},
        {"drain", [](const Words&) { return Result(tcdrain(g_descriptor)); }},
        {"break", [](const Words&) { return Result(tcsendbreak(g_descriptor, 0)); }},
        {"flush", Flush},
        {"mget", ModemLines},
        {"mset", SetModemLines},
        {"excl", [](const Words&) { return Result(ioctl(g_descriptor, TIOCEXCL)); }},
        {"nxcl", [](const Words&) { return Result(ioctl(g_descriptor, TIOCNXCL)); }},
        {"unknown", [](const Words&) { return IntRequest(0x5499); }},
        {"getfl", GetFlags},
        {"setfl", SetFlags},
        {"setspeed", SetAnySpeed},
        {"getspeed", GetAnySpeed},
        {"isatty",
         [](const Words&) { return isatty(g_descriptor) != 0 ? std::string("yes") : Result(-1); }},
        {"ttyname", TerminalName},
    };
}

CallTable OtherCalls() {
    return {
        {"access",
         [](const Words& words) { return Result(access(words.at(1).c_str(), R_OK | W_OK)); }},
        {"stat", StatPath},
        {"fstat", StatDescriptor},
        {"statx", StatxPath},
        {"dup", Copy},
        {"dupfd", Copy},
        {"dup2", Copy},
        {"close", Close},
        {"closeall", CloseAll},
        {"stream", Stream},
        {"streamsettings", StreamSettings},
        {"counts", EventCounts},
        {"driver", Driver},
        {"parmrk", MarkErrors},
        {"nothing", GiveNothing},
        {"nofiles", AwaitNothing},
        {"notime", AwaitNoTime},
        {"rawopen", OpenByNumber},
        {"selectboth", SelectBoth},
        {"epoll", WatchBySet},
        {"reread", ReadAgain},
        {"sbreak", [](const Words&) { return Result(ioctl(g_descriptor, TIOCSBRK)); }},
        {"cbreak", [](const Words&) { return Result(ioctl(g_descriptor, TIOCCBRK)); }},
        {"impossible", GiveImpossiblePieces},
        {"openwith", OpenWith},
        {"urgent", PollUrgent},
        {"fsync", [](const Words&) { return Result(fsync(g_descriptor)); }},
        {"truncate", [](const Words&) { return Result(ftruncate(g_descriptor, 0)); }},
        {"failingdup2", [](const Words&) { return Result(dup2(-1, g_descriptor)); }},
        {"lseek",
         [](const Words& words) {
             return Result(lseek(g_descriptor, Number(words, 1), SEEK_SET));
         }},
        {"pread", PlaceText},
        {"lock", Lock},
        {"pause", Pause},
        {"until", PauseUntil},
        {"selectpause", SelectPause},
        {"pollpause",
         [](const Words& words) { return Result(poll(nullptr, 0, Number(words, 1))); }},
        {"spin", Spin},
        {"spinread", SpinReading},
        {"date", Date},
        {"fork", Fork},
        {"_exit", EndQuickly},
        {"quick_exit", EndQuickly},
        {"abort", EndQuickly},
    };
}

const CallTable& Calls() {
    static const CallTable kCalls = [] {
        CallTable calls = CallsOfATerminal();
        calls.merge(OtherCalls());
        return calls;
    }();
    return kCalls;
}

Words Split(const std::string& word) {
    Words parts;
    std::istringstream stream(word);
    for (std::string part; std::getline(stream, part, ':');) {
        parts.push_back(part);
    }
    return parts;
}

long long Milliseconds() {
    timespec now{};
    static_cast<void>(clock_gettime(CLOCK_MONOTONIC, &now));
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const Words words = Split(argv[i]);
        const auto call = Calls().find(words.at(0));
        if (call == Calls().end()) {
            std::fprintf(stderr, "there is no call '%s'\n", words.at(0).c_str());
            return 2;
        }
        const long long begin = Milliseconds();
        const std::string result = call->second(words);
        const long long passed = Milliseconds() - begin;
        std::printf("%s = %s", argv[i], result.c_str());
        std::printf(passed > 0 ? " (%lld ms)\n" : "\n", passed);
    }
    return 0;
}
