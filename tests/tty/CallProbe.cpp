// SPDX-License-Identifier: MIT

// A program that asks what no program should ask, and one that starts others: its first word says
// what. It prints the answers.

#include <dirent.h>
#include <fcntl.h>
#include <glob.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

extern char** environ;

namespace {

void Say(const std::string& what, long result) {
    std::printf("%s %s\n", what.c_str(),
                result < 0 ? strerrorname_np(errno) : std::to_string(result).c_str());
    std::fflush(stdout);
}

/// Memory of one page behind which nothing is.
char* LastPage(int protection) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    auto* pages = static_cast<char*>(
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    munmap(pages + page, page);
    mprotect(pages, page, protection);
    return pages;
}

/// A pointer that is not null and leads nowhere, and one to what may only be read.
void GiveWrongPointers() {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    char* last = LastPage(PROT_READ | PROT_WRITE);
    void* nowhere = last + page;
    void* constant = LastPage(PROT_READ);
    const int port = open("/dev/ttyS1", O_RDWR | O_NOCTTY | O_NONBLOCK);
    Say("write", write(port, nowhere, 1));
    Say("write the rest of a page", write(port, last + page - 3, 100));
    Say("read", read(port, nowhere, 1));
    Say("read into a constant", read(port, constant, 1));
    const iovec piece{nowhere, 4};
    Say("writev", writev(port, &piece, 1));
    Say("readv", readv(port, &piece, 1));
    Say("writev of no pieces", writev(port, static_cast<iovec*>(nowhere), 1));
    Say("ioctl", ioctl(port, TIOCMGET, nowhere));
    Say("ioctl into a constant", ioctl(port, TIOCMGET, constant));
    Say("ioctl from a constant", ioctl(port, TIOCMBIS, constant));
    Say("tcgetattr", tcgetattr(port, static_cast<termios*>(nowhere)));
    Say("tcsetattr", tcsetattr(port, TCSANOW, static_cast<termios*>(nowhere)));
    Say("fcntl", fcntl(port, F_GETLK, nowhere));
    Say("stat", stat("/dev/ttyS1", static_cast<struct stat*>(nowhere)));
    Say("fstat into a constant", fstat(port, static_cast<struct stat*>(constant)));
    Say("open", open(static_cast<char*>(nowhere), O_RDONLY));
    Say("poll", poll(static_cast<pollfd*>(nowhere), 1, 0));
    Say("select", select(4, static_cast<fd_set*>(nowhere), nullptr, nullptr, nullptr));
    Say("select's time", select(0, nullptr, nullptr, nullptr, static_cast<timeval*>(nowhere)));
    Say("nanosleep", nanosleep(static_cast<timespec*>(nowhere), nullptr));
    timespec* volatile none = nullptr;
    Say("clock_gettime", clock_gettime(CLOCK_MONOTONIC, none));
}

/// Paths that end as a folder's does, or go on behind a file.
void NameFilesAsFolders() {
    for (const char* path : {"/dev/ttyS1/", "/dev/ttyS1/.", "/dev/ttyS1/x", "/dev/knxspi/",
                             "/sys/class/gpio/export/", "/sys/class/gpio/", "/dev/./ttyS1"}) {
        Say(std::string("access ") + path, access(path, F_OK));
    }
    Say("open", open("/dev/ttyS1/", O_RDWR | O_NOCTTY));
    struct stat status {};
    Say("stat", stat("/dev/ttyS1/", &status));
    Say("chdir", chdir("/dev/ttyS1/"));
}

void PrintMatches(const char* pattern) {
    glob_t found{};
    const int result = glob(pattern, 0, nullptr, &found);
    std::printf("%s: %d", pattern, result);
    for (std::size_t i = 0; i < found.gl_pathc; ++i) {
        std::printf(" %s", found.gl_pathv[i]);
    }
    std::printf("\n");
    globfree(&found);
}

/// The names that a listing has of the kinds that a board plays.
void PrintListing(const char* folder) {
    dirent** entries = nullptr;
    const int count = scandir(
        folder, &entries,
        [](const dirent* entry) {
            const std::string name = entry->d_name;
            return name.rfind("ttyS", 0) == 0 || name.rfind("knx", 0) == 0 || name == "gpio" ? 1
                                                                                             : 0;
        },
        alphasort);
    std::printf("%s:", folder);
    for (int i = 0; i < count; ++i) {
        std::printf(" %s", entries[i]->d_name);
        std::free(entries[i]);
    }
    std::free(entries);
    std::printf("\n");
}

void LookAround() {
    PrintMatches("/d*/ttyS*");
    PrintMatches("/dev/ttyS?");
    PrintMatches("/s*/c*/gp[i]o/*port");
    PrintListing("/dev");
    PrintListing("/sys/class");
}

int Spawn(char* const* variables) {
    std::array<char*, 4> words{const_cast<char*>("sh"), const_cast<char*>("-c"),
                               const_cast<char*>("cat /sys/class/gpio/gpio86/direction"), nullptr};
    pid_t child = 0;
    const int error = posix_spawn(&child, "/bin/sh", nullptr, nullptr, words.data(), variables);
    int status = 0;
    waitpid(child, &status, 0);
    return error != 0 ? -error : status;
}

/// Children without the environment that ties them to the board.
void StartWithNothing() {
    const int lines = open("/sys/class/gpio/export", O_WRONLY);
    Say("export", write(lines, "86", 2));
    close(lines);
    std::array<char*, 1> nothing{nullptr};
    Say("posix_spawn", Spawn(nothing.data()));
    environ = nothing.data();
    Say("system", system("cat /sys/class/gpio/gpio86/direction"));
    std::FILE* pipe = popen("cat /sys/class/gpio/gpio86/direction", "r");
    std::array<char, 10> text{};
    std::printf("popen %s", std::fgets(text.data(), text.size(), pipe));
    Say("pclose", pclose(pipe));
    if (fork() == 0) {
        execle("/bin/cat", "cat", "/sys/class/gpio/gpio86/direction", nullptr, nothing.data());
    }
    int status = 0;
    wait(&status);
    Say("execle", status);
}

/// A program beside this one that can't be on the board.
void StartWhatCannotBe() {
    std::array<char*, 2> words{const_cast<char*>("./program"), nullptr};
    pid_t child = 0;
    errno = posix_spawn(&child, "./program", nullptr, nullptr, words.data(), environ);
    Say("posix_spawn", -1);
}

void GoIntoTheBackground() {
    Say("daemon", daemon(1, 1));
}

/// A function of libc in which the board's library may have a mistake.
void AskForTheHost() {
    try {
        std::printf("hostid %ld\n", gethostid());
    } catch (...) {
        std::printf("caught\n");
    }
}

void WriteAllBack() {
    sync();
    std::printf("written back\n");
}

}  // namespace

int main(int argc, char** argv) {
    static const std::map<std::string, void (*)()> kWays{
        {"pointers", GiveWrongPointers},
        {"folders", NameFilesAsFolders},
        {"look", LookAround},
        {"start", StartWithNothing},
        {"refused", StartWhatCannotBe},
        {"daemon", GoIntoTheBackground},
        {"hostid", AskForTheHost},
        {"sync", WriteAllBack},
    };
    const auto way = argc == 2 ? kWays.find(argv[1]) : kWays.end();
    if (way == kWays.end()) {
        return 2;
    }
    way->second();
    return 0;
}
