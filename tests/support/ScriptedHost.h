// SPDX-License-Identifier: MIT
#pragma once

#include <termios.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Bytes.h"

struct timeval;

// A host computer that does what a test has written down for it, and writes down itself all that
// is said to it, one line an event and in order. The tool's objects are linked so that their calls
// of libc arrive here (see redirected.syms); the test's own calls do not.
//
//     ScriptedHost host;
//     host.Device("/dev/ttyS1").Answers({0x90}).Answers({0xA0});
//     host.Without("/sys/class/gpio/gpio91/direction");
//     ... let the tool work ...
//     EXPECT_EQ(host.Conversation(), ...);
//
// The lines:
//     fopen PATH MODE              and "... fails"; only files under /sys/class/gpio can be there
//     flush PATH "text"            what one flush of the stream hands to the kernel; "... refused"
//     fclose PATH
//     open PATH FLAGS              and "... fails"
//     ioctl PATH REQUEST VALUE     close PATH
//     tcsetattr PATH TCSANOW in 9600 out 9600 cflag 0x9b0 iflag 0 oflag 0 lflag 0 min 1 time 0
//     write PATH BYTES             and "... takes N" or "... fails" when it was not all of them
//     read PATH SIZE gets BYTES    "gets nothing" is a count of 0; "... fails" is -1
//     select read {PATH} write {} except {} timeout 0 s 200000 us ready    or "times out", "fails"
//     pause MICROSECONDS
//     log LEVEL SOURCE MESSAGE     one log line; SOURCE without the folder, MESSAGE with bytes
//                                  that are no plain ASCII written as \xNN
//     print TEXT                   any other words on standard output
//     perror TEXT                  the same on standard error
//     image opened, image closed   see WatchesImage
//
// Without a word to the contrary all GPIO files are there, both devices of the default board are
// there and take what is written, and nobody answers. A read that the script has no answer for
// fails the test and ends the call under test with an exception: it would wait for ever.
// One host at a time.
class ScriptedHost {
public:
    // What one device does. Answers are given to reads in the order in which they are written
    // down; `select` looks at the same queue.
    class DeviceScript {
    public:
        // The next read gets these bytes.
        DeviceScript& Answers(const Bytes& bytes);
        DeviceScript& AnswersTimes(int times, const Bytes& bytes);
        // A message of the communication device: its length byte for one read, the rest for
        // another, even if the rest is nothing.
        DeviceScript& SendsMessage(const Bytes& message);
        // The next read returns 0, or -1.
        DeviceScript& EndsRead();
        DeviceScript& FailsRead();
        // Every read beyond the script returns 0.
        DeviceScript& IsGoneInTheEnd();
        // The next select runs into its timeout, or returns -1. An empty queue times out, too.
        DeviceScript& StaysSilent();
        DeviceScript& FailsSelect();
        // The write with this index, counted from 0 and from now, reports this count.
        DeviceScript& TakesOnly(int count, int writeIndex = 0);
        DeviceScript& FailsWrite(int writeIndex = 0);
        DeviceScript& RefusesSettings();
        DeviceScript& RefusesIoctl();
        // open fails with this errno; from the open with this index on, counted from 0 and from
        // now.
        DeviceScript& CannotBeOpened(int errorNumber, int openIndex = 0);

    private:
        friend class ScriptedHost;
        enum class Reply { kBytes, kEnd, kError, kSilence, kSelectError };
        struct Answer {
            Reply kind;
            Bytes bytes;
        };
        std::deque<Answer> m_answers;
        std::map<int, int> m_writeResults;
        int m_writes = 0;
        int m_opens = 0;
        int m_failingOpen = -1;
        int m_openError = 0;
        bool m_refusesSettings = false;
        bool m_refusesIoctl = false;
        bool m_isGoneInTheEnd = false;
    };

    ScriptedHost();
    ~ScriptedHost();
    ScriptedHost(const ScriptedHost&) = delete;
    ScriptedHost& operator=(const ScriptedHost&) = delete;

    // The device of that path, which is there from now on.
    DeviceScript& Device(const std::string& path);
    // Takes a file or device away.
    ScriptedHost& Without(const std::string& path);
    // No GPIO file is there at all.
    ScriptedHost& WithoutGpioFiles();
    // The kernel refuses whatever is written to this file.
    ScriptedHost& RefusesWritesTo(const std::string& path);
    // The C library reports a number without digits as an error, which it may.
    ScriptedHost& ReportsMissingDigits();
    // The snprintf with this index, counted from 0 and from now, returns a negative count.
    ScriptedHost& FailsSnprintf(int callIndex = 0);
    // From now on a descriptor of the process that is open on this file is noted as "image
    // opened", and its end as "image closed", before the next event.
    ScriptedHost& WatchesImage(const std::string& path);
    // From now on every write on a device shows whether the rest of this buffer behind the bytes
    // written is zero ("... rest not cleared" if it is not).
    ScriptedHost& WatchesFrameBuffer(const unsigned char* buffer, std::size_t sizeBytes);

    // All lines so far, each ended by a line feed; and the conversation without what was before.
    [[nodiscard]] std::string Conversation();
    void Forget();
    // The sum of all pauses so far, in microseconds.
    [[nodiscard]] long PausedUs() const;
    // The source line numbers of all log lines so far, in order.
    [[nodiscard]] std::vector<int> LogLines() const;
    // Answers that no read has taken yet, on all devices.
    [[nodiscard]] int AnswersLeft() const;

    [[nodiscard]] bool TellsOfMissingDigits() const { return m_tellsOfMissingDigits; }

    // The calls of the tool; each is libc's call of the same name.
    std::FILE* Fopen(const char* path, const char* mode);
    int Open(const char* path, int flags);
    int Close(int descriptor);
    long Read(int descriptor, void* buffer, std::size_t sizeBytes);
    long Write(int descriptor, const void* buffer, std::size_t sizeBytes);
    int Ioctl(int descriptor, unsigned long request, const int* value);
    int Select(int limit, const void* readSet, const void* writeSet, const void* exceptSet,
               const timeval* timeout);
    int Tcsetattr(int descriptor, int action, const termios* settings);
    int Usleep(unsigned microseconds);
    int Vsnprintf(char* buffer, std::size_t sizeBytes, const char* format, va_list arguments);
    int Vprintf(const char* format, va_list arguments);
    int Puts(const char* text);
    void Perror(const char* text);

    // The host that is there, or nullptr.
    static ScriptedHost* Current();

    // What a stream of a GPIO file does when it is flushed and closed.
    long Flush(const std::string& path, const char* bytes, std::size_t count);
    void Record(const std::string& line);

private:
    void NoteImage();
    void RecordOutput(const std::string& text);
    [[nodiscard]] std::string PathOf(int descriptor) const;
    [[nodiscard]] std::string Members(const void* set, int limit) const;
    DeviceScript* OpenDevice(int descriptor);

    std::string m_conversation;
    std::map<std::string, DeviceScript> m_devices;
    std::map<int, std::string> m_descriptors;
    std::set<std::string> m_missing;
    std::set<std::string> m_refusing;
    bool m_gpioFiles = true;
    int m_nextDescriptor;
    std::set<int> m_failingSnprintf;
    int m_snprintfCalls = 0;
    bool m_tellsOfMissingDigits = false;
    std::string m_image;
    bool m_imageIsOpen = false;
    const unsigned char* m_frameBuffer = nullptr;
    std::size_t m_frameBufferBytes = 0;
    long m_pausedUs = 0;
    std::vector<int> m_logLines;
};
