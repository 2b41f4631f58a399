// SPDX-License-Identifier: MIT
#include "tests/runs/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace runs {
namespace {

constexpr int kNotStarted = 127;
constexpr int kSignalBase = 128;
constexpr mode_t kFileMode = 0600;

void Redirect(int target, const std::string& path, int flags) {
    const int fd = open(path.c_str(), flags, kFileMode);
    if (fd < 0 || dup2(fd, target) < 0) {
        _exit(kNotStarted);
    }
    close(fd);
}

[[noreturn]] void Become(std::vector<char*> arguments, const std::string& folder,
                         const std::string& path, const std::string& output,
                         const std::string& error) {
    Redirect(STDIN_FILENO, "/dev/null", O_RDONLY);
    Redirect(STDOUT_FILENO, output, O_WRONLY | O_CREAT | O_TRUNC);
    Redirect(STDERR_FILENO, error, O_WRONLY | O_CREAT | O_TRUNC);
    if (chdir(folder.c_str()) == 0 && setenv("PATH", path.c_str(), 1) == 0 &&
        setenv("LC_ALL", "C", 1) == 0) {
        execvp(arguments.front(), arguments.data());
    }
    _exit(kNotStarted);
}

}  // namespace

Ended RunProcess(const std::vector<std::string>& words, const std::string& folder) {
    std::vector<std::string> texts = words;
    std::vector<char*> arguments;
    for (std::string& text : texts) {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);
    const char* path = std::getenv("PATH");
    // Programs of the same names that stand in for those of this build.
    const char* others = std::getenv("SCENARIO_PROGRAMS");
    const std::string programs = (others == nullptr ? "" : std::string(others) + ":") +
                                 FLASHMCU_PROGRAM_DIR +
                                 (path == nullptr ? "" : std::string(":") + path);
    const std::string output = folder + "/.output";
    const std::string error = folder + "/.error";

    const pid_t child = fork();
    if (child == 0) {
        Become(arguments, folder, programs, output, error);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return {WIFSIGNALED(status) ? kSignalBase + WTERMSIG(status) : WEXITSTATUS(status),
            ReadFile(output), ReadFile(error)};
}

std::string ReadFile(const std::string& path) {
    const std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace runs
