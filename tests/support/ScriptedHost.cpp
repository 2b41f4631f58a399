// SPDX-License-Identifier: MIT
#include "ScriptedHost.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/select.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "AllocationCounter.h"
#include "LogStatements.h"

namespace {

constexpr int kFirstDescriptor = 700;
constexpr const char* kGpioFolder = "/sys/class/gpio/";

ScriptedHost* currentHost = nullptr;

std::string Hexadecimal(unsigned long value) {
    std::array<char, 32> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "0x%lx", value);
    return digits.data();
}

// Bytes that are no plain ASCII show as \xNN.
std::string Printable(const std::string& text) {
    std::string printable;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (code >= 0x20 && code < 0x7F) {
            printable += character;
        } else {
            printable += "\\x" + ToText({code});
        }
    }
    return printable;
}

std::string FlagNames(int flags) {
    static const std::map<int, const char*> kAccess{
        {O_RDONLY, "O_RDONLY"}, {O_WRONLY, "O_WRONLY"}, {O_RDWR, "O_RDWR"}};
    std::string names = kAccess.at(flags & O_ACCMODE);
    int rest = flags & ~O_ACCMODE;
    if ((rest & O_NOCTTY) != 0) {
        names += "|O_NOCTTY";
        rest &= ~O_NOCTTY;
    }
    return rest == 0 ? names : names + "|" + Hexadecimal(static_cast<unsigned long>(rest));
}

std::string SpeedName(speed_t speed) {
    static const std::map<speed_t, const char*> kSpeeds{
        {B2400, "2400"},     {B4800, "4800"},     {B9600, "9600"},
        {B19200, "19200"},   {B38400, "38400"},   {B57600, "57600"},
        {B115200, "115200"}, {B230400, "230400"}, {B460800, "460800"}};
    const auto found = kSpeeds.find(speed);
    return found == kSpeeds.end() ? "code " + Hexadecimal(speed) : found->second;
}

// The input speed is the one that was set as such: cfgetispeed() would give the output speed.
std::string SettingsText(const termios& settings) {
    const tcflag_t speedBits = CBAUD | CIBAUD;
    std::string text =
        "in " + SpeedName(settings.c_ispeed) + " out " + SpeedName(cfgetospeed(&settings)) +
        " cflag " + Hexadecimal(settings.c_cflag & ~speedBits) + " iflag " +
        std::to_string(settings.c_iflag) + " oflag " + std::to_string(settings.c_oflag) +
        " lflag " + std::to_string(settings.c_lflag) + " min " +
        std::to_string(settings.c_cc[VMIN]) + " time " + std::to_string(settings.c_cc[VTIME]);
    for (std::size_t index = 0; index < NCCS; ++index) {
        if (index != VMIN && index != VTIME && settings.c_cc[index] != 0) {
            text += " cc" + std::to_string(index) + " " + std::to_string(settings.c_cc[index]);
        }
    }
    return text;
}

// The parts of "PATH:LINE LEVEL MESSAGE" with its line end.
struct LogLine {
    std::string source;
    int line = 0;
    std::string level;
    std::string message;
};

bool ParseLogLine(const std::string& text, LogLine& parts) {
    const std::size_t colon = text.find(':');
    const std::size_t afterNumber = text.find_first_not_of("0123456789", colon + 1);
    if (colon == std::string::npos || text.find(' ') < colon || afterNumber == colon + 1 ||
        afterNumber == std::string::npos || text[afterNumber] != ' ' || text.back() != '\n') {
        return false;
    }
    const std::size_t afterLevel = text.find(' ', afterNumber + 1);
    if (afterLevel == std::string::npos) {
        return false;
    }
    parts.source = text.substr(0, colon);
    parts.line = std::stoi(text.substr(colon + 1, afterNumber - colon - 1));
    parts.level = text.substr(afterNumber + 1, afterLevel - afterNumber - 1);
    parts.message = text.substr(afterLevel + 1, text.size() - afterLevel - 2);
    return true;
}

// The stream behind a GPIO file: what stdio hands on at a flush goes to the host. A stream that was
// left open may be flushed when no host is there any more.
ssize_t WriteToCookie(void* cookie, const char* bytes, std::size_t count) {
    const allocation_counter::Uncounted uncounted;
    return currentHost == nullptr
               ? static_cast<ssize_t>(count)
               : currentHost->Flush(*static_cast<std::string*>(cookie), bytes, count);
}

ssize_t ReadFromCookie(void* /*cookie*/, char* /*buffer*/, std::size_t /*sizeBytes*/) {
    return 0;
}

int SeekCookie(void* /*cookie*/, off64_t* offset, int /*whence*/) {
    *offset = 0;
    return 0;
}

int CloseCookie(void* cookie) {
    const allocation_counter::Uncounted uncounted;
    auto* path = static_cast<std::string*>(cookie);
    if (currentHost != nullptr) {
        currentHost->Record("fclose " + *path);
    }
    delete path;
    return 0;
}

}  // namespace

using DeviceScript = ScriptedHost::DeviceScript;

DeviceScript& DeviceScript::Answers(const Bytes& bytes) {
    m_answers.push_back({Reply::kBytes, bytes});
    return *this;
}

DeviceScript& DeviceScript::AnswersTimes(int times, const Bytes& bytes) {
    for (int count = 0; count < times; ++count) {
        Answers(bytes);
    }
    return *this;
}

DeviceScript& DeviceScript::SendsMessage(const Bytes& message) {
    Answers({static_cast<std::uint8_t>(message.size())});
    return message.empty() ? EndsRead() : Answers(message);
}

DeviceScript& DeviceScript::EndsRead() {
    m_answers.push_back({Reply::kEnd, {}});
    return *this;
}

DeviceScript& DeviceScript::IsGoneInTheEnd() {
    m_isGoneInTheEnd = true;
    return *this;
}

DeviceScript& DeviceScript::FailsRead() {
    m_answers.push_back({Reply::kError, {}});
    return *this;
}

DeviceScript& DeviceScript::StaysSilent() {
    m_answers.push_back({Reply::kSilence, {}});
    return *this;
}

DeviceScript& DeviceScript::FailsSelect() {
    m_answers.push_back({Reply::kSelectError, {}});
    return *this;
}

DeviceScript& DeviceScript::TakesOnly(int count, int writeIndex) {
    m_writeResults[m_writes + writeIndex] = count;
    return *this;
}

DeviceScript& DeviceScript::FailsWrite(int writeIndex) {
    return TakesOnly(-1, writeIndex);
}

DeviceScript& DeviceScript::RefusesSettings() {
    m_refusesSettings = true;
    return *this;
}

DeviceScript& DeviceScript::RefusesIoctl() {
    m_refusesIoctl = true;
    return *this;
}

DeviceScript& DeviceScript::CannotBeOpened(int errorNumber, int openIndex) {
    m_failingOpen = m_opens + openIndex;
    m_openError = errorNumber;
    return *this;
}

ScriptedHost::ScriptedHost() : m_nextDescriptor(kFirstDescriptor) {
    if (currentHost != nullptr) {
        throw std::logic_error("there is a ScriptedHost already");
    }
    currentHost = this;
    Device("/dev/ttyS1");
    Device("/dev/knxspi");
}

ScriptedHost::~ScriptedHost() {
    currentHost = nullptr;
}

ScriptedHost* ScriptedHost::Current() {
    return currentHost;
}

DeviceScript& ScriptedHost::Device(const std::string& path) {
    return m_devices[path];
}

ScriptedHost& ScriptedHost::Without(const std::string& path) {
    m_missing.insert(path);
    return *this;
}

ScriptedHost& ScriptedHost::WithoutGpioFiles() {
    m_gpioFiles = false;
    return *this;
}

ScriptedHost& ScriptedHost::RefusesWritesTo(const std::string& path) {
    m_refusing.insert(path);
    return *this;
}

ScriptedHost& ScriptedHost::ReportsMissingDigits() {
    m_tellsOfMissingDigits = true;
    return *this;
}

ScriptedHost& ScriptedHost::FailsSnprintf(int callIndex) {
    m_failingSnprintf.insert(m_snprintfCalls + callIndex);
    return *this;
}

ScriptedHost& ScriptedHost::WatchesImage(const std::string& path) {
    m_image = path;
    return *this;
}

ScriptedHost& ScriptedHost::WatchesFrameBuffer(const unsigned char* buffer, std::size_t sizeBytes) {
    m_frameBuffer = buffer;
    m_frameBufferBytes = sizeBytes;
    return *this;
}

std::string ScriptedHost::Conversation() {
    NoteImage();
    return m_conversation;
}

void ScriptedHost::Forget() {
    NoteImage();
    m_conversation.clear();
    m_logLines.clear();
    m_pausedUs = 0;
}

long ScriptedHost::PausedUs() const {
    return m_pausedUs;
}

std::vector<int> ScriptedHost::LogLines() const {
    return m_logLines;
}

int ScriptedHost::AnswersLeft() const {
    std::size_t left = 0;
    for (const auto& [path, device] : m_devices) {
        left += device.m_answers.size();
    }
    return static_cast<int>(left);
}

void ScriptedHost::Record(const std::string& line) {
    NoteImage();
    m_conversation += line + "\n";
}

void ScriptedHost::NoteImage() {
    if (m_image.empty()) {
        return;
    }
    bool open = false;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        open = open || std::filesystem::read_symlink(entry.path(), ignored) == m_image;
    }
    if (open != m_imageIsOpen) {
        m_imageIsOpen = open;
        m_conversation += open ? "image opened\n" : "image closed\n";
    }
}

std::string ScriptedHost::PathOf(int descriptor) const {
    const auto found = m_descriptors.find(descriptor);
    return found == m_descriptors.end() ? "descriptor " + std::to_string(descriptor)
                                        : found->second;
}

DeviceScript* ScriptedHost::OpenDevice(int descriptor) {
    const auto found = m_descriptors.find(descriptor);
    if (found == m_descriptors.end()) {
        errno = EBADF;
        return nullptr;
    }
    return &m_devices[found->second];
}

std::FILE* ScriptedHost::Fopen(const char* path, const char* mode) {
    const bool there = m_gpioFiles && m_missing.count(path) == 0 &&
                       std::strncmp(path, kGpioFolder, std::strlen(kGpioFolder)) == 0;
    Record(std::string("fopen ") + path + " " + mode + (there ? "" : " fails"));
    if (!there) {
        errno = ENOENT;
        return nullptr;
    }
    const cookie_io_functions_t functions{ReadFromCookie, WriteToCookie, SeekCookie, CloseCookie};
    return fopencookie(new std::string(path), mode, functions);
}

long ScriptedHost::Flush(const std::string& path, const char* bytes, std::size_t count) {
    const bool refused = m_refusing.count(path) != 0;
    Record("flush " + path + " \"" + Printable({bytes, count}) + "\"" +
           (refused ? " refused" : ""));
    if (refused) {
        errno = EBUSY;
        return 0;
    }
    return static_cast<long>(count);
}

int ScriptedHost::Open(const char* path, int flags) {
    const auto found = m_devices.find(path);
    int error = 0;
    if (found == m_devices.end() || m_missing.count(path) != 0) {
        error = ENOENT;
    } else {
        DeviceScript& device = found->second;
        const int openIndex = device.m_opens++;
        if (device.m_openError != 0 && openIndex >= device.m_failingOpen) {
            error = device.m_openError;
        }
    }
    Record(std::string("open ") + path + " " + FlagNames(flags) + (error == 0 ? "" : " fails"));
    if (error != 0) {
        errno = error;
        return -1;
    }
    m_descriptors[m_nextDescriptor] = path;
    return m_nextDescriptor++;
}

int ScriptedHost::Close(int descriptor) {
    Record("close " + PathOf(descriptor));
    return m_descriptors.erase(descriptor) == 1 ? 0 : -1;
}

long ScriptedHost::Read(int descriptor, void* buffer, std::size_t sizeBytes) {
    std::string line = "read " + PathOf(descriptor) + " " + std::to_string(sizeBytes);
    const auto* target = static_cast<const unsigned char*>(buffer);
    if (m_frameBuffer != nullptr && target == m_frameBuffer &&
        std::any_of(target, target + sizeBytes, [](unsigned char byte) { return byte != 0; })) {
        line += " into a buffer not cleared";
    }
    DeviceScript* device = OpenDevice(descriptor);
    if (device == nullptr) {
        Record(line + " fails");
        return -1;
    }
    if (device->m_answers.empty() && device->m_isGoneInTheEnd) {
        Record(line + " gets nothing");
        return 0;
    }
    if (device->m_answers.empty()) {
        Record(line + " waits for ever");
        ADD_FAILURE() << "a read beyond the script; the conversation so far:\n" << m_conversation;
        throw std::runtime_error("a read that nobody answers");
    }
    const DeviceScript::Answer answer = device->m_answers.front();
    device->m_answers.pop_front();
    if (answer.kind == DeviceScript::Reply::kEnd) {
        Record(line + " gets nothing");
        return 0;
    }
    if (answer.kind != DeviceScript::Reply::kBytes) {
        Record(line + " fails");
        errno = EIO;
        return -1;
    }
    const std::size_t count = std::min(sizeBytes, answer.bytes.size());
    Record(line + " gets " +
           ToText({answer.bytes.begin(), answer.bytes.begin() + static_cast<long>(count)}));
    std::memcpy(buffer, answer.bytes.data(), count);
    return static_cast<long>(count);
}

long ScriptedHost::Write(int descriptor, const void* buffer, std::size_t sizeBytes) {
    const auto* source = static_cast<const std::uint8_t*>(buffer);
    const Bytes bytes(source, source + sizeBytes);
    std::string line = "write " + PathOf(descriptor) + " " + ToText(bytes);
    if (source == m_frameBuffer && std::any_of(source + sizeBytes, source + m_frameBufferBytes,
                                               [](std::uint8_t byte) { return byte != 0; })) {
        line += " rest not cleared";
    }
    DeviceScript* device = OpenDevice(descriptor);
    long result = static_cast<long>(sizeBytes);
    if (device == nullptr) {
        result = -1;
    } else {
        const auto scripted = device->m_writeResults.find(device->m_writes++);
        if (scripted != device->m_writeResults.end()) {
            result = scripted->second;
            errno = EIO;
        }
    }
    if (result < 0) {
        line += " fails";
    } else if (result != static_cast<long>(sizeBytes)) {
        line += " takes " + std::to_string(result);
    }
    Record(line);
    return result;
}

int ScriptedHost::Ioctl(int descriptor, unsigned long request, const int* value) {
    DeviceScript* device = OpenDevice(descriptor);
    const bool fails = device == nullptr || device->m_refusesIoctl;
    Record("ioctl " + PathOf(descriptor) + " " + Hexadecimal(request) + " " +
           std::to_string(*value) + (fails ? " fails" : ""));
    if (fails) {
        errno = ENOTTY;
    }
    return fails ? -1 : 0;
}

std::string ScriptedHost::Members(const void* set, int limit) const {
    std::string members;
    if (set != nullptr) {
        for (int descriptor = 0; descriptor < std::min(limit, FD_SETSIZE); ++descriptor) {
            if (FD_ISSET(descriptor, static_cast<const fd_set*>(set))) {
                members += (members.empty() ? "" : " ") + PathOf(descriptor);
            }
        }
    }
    return "{" + members + "}";
}

int ScriptedHost::Select(int limit, const void* readSet, const void* writeSet,
                         const void* exceptSet, const timeval* timeout) {
    std::string line = "select read " + Members(readSet, limit) + " write " +
                       Members(writeSet, limit) + " except " + Members(exceptSet, limit);
    line += timeout == nullptr ? " no timeout"
                               : " timeout " + std::to_string(timeout->tv_sec) + " s " +
                                     std::to_string(timeout->tv_usec) + " us";
    DeviceScript* device = limit > 0 ? OpenDevice(limit - 1) : nullptr;
    if (device == nullptr) {
        Record(line + " fails");
        return -1;
    }
    using Reply = DeviceScript::Reply;
    auto& answers = device->m_answers;
    const Reply kind = answers.empty() ? Reply::kSilence : answers.front().kind;
    if (kind == Reply::kSilence || kind == Reply::kSelectError) {
        if (!answers.empty()) {
            answers.pop_front();
        }
        Record(line + (kind == Reply::kSilence ? " times out" : " fails"));
        return kind == Reply::kSilence ? 0 : -1;
    }
    Record(line + " ready");
    return 1;
}

int ScriptedHost::Tcsetattr(int descriptor, int action, const termios* settings) {
    DeviceScript* device = OpenDevice(descriptor);
    const bool fails = device == nullptr || device->m_refusesSettings;
    Record("tcsetattr " + PathOf(descriptor) +
           (action == TCSANOW ? " TCSANOW " : " action " + std::to_string(action) + " ") +
           SettingsText(*settings) + (fails ? " fails" : ""));
    if (fails) {
        errno = EINVAL;
    }
    return fails ? -1 : 0;
}

int ScriptedHost::Usleep(unsigned microseconds) {
    Record("pause " + std::to_string(microseconds));
    m_pausedUs += microseconds;
    return 0;
}

int ScriptedHost::Vsnprintf(char* buffer, std::size_t sizeBytes, const char* format,
                            va_list arguments) {
    if (m_failingSnprintf.count(m_snprintfCalls++) != 0) {
        return -1;
    }
    return std::vsnprintf(buffer, sizeBytes, format, arguments);
}

int ScriptedHost::Vprintf(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int count = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(static_cast<std::size_t>(std::max(count, 0)) + 1, '\0');
    (void)std::vsnprintf(text.data(), text.size(), format, again);
    va_end(again);
    text.pop_back();
    RecordOutput(text);
    return count;
}

int ScriptedHost::Puts(const char* text) {
    RecordOutput(std::string(text) + "\n");
    return 0;
}

void ScriptedHost::RecordOutput(const std::string& text) {
    LogLine log;
    if (!ParseLogLine(text, log)) {
        const bool whole = !text.empty() && text.back() == '\n';
        Record("print " + (whole ? Printable(text.substr(0, text.size() - 1))
                                 : Printable(text) + " (no line end)"));
        return;
    }
    const std::string folder = "flashmcu/";
    EXPECT_EQ(log.source.substr(0, folder.size()), folder) << "in the log line " << text;
    // Not at its beginning where a function composes it; and a zero byte can end a message.
    const auto words = WordsOfLogStatement(log.source, static_cast<std::size_t>(log.line));
    EXPECT_TRUE(words && log.message.find(*words) != std::string::npos)
        << "not the line of the statement that says so: " << text;
    m_logLines.push_back(log.line);
    Record("log " + log.level + " " + log.source.substr(folder.size()) + " " +
           Printable(log.message));
}

void ScriptedHost::Perror(const char* text) {
    Record(std::string("perror ") + text);
}
