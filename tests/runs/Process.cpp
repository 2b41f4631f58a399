// SPDX-License-Identifier: MIT
#include "tests/runs/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string_view>

namespace runs {
namespace {

constexpr int kNotStarted = 127;
constexpr int kSignalBase = 128;
constexpr mode_t kFileMode = 0600;

/// The folders in which programs are looked for, those that stand in for this build's first.
std::vector<std::string> ProgramFolders() {
    const char* others = std::getenv("SCENARIO_PROGRAMS");
    std::vector<std::string> folders;
    if (others != nullptr) {
        folders.emplace_back(others);
    }
    folders.emplace_back(FLASHMCU_PROGRAM_DIR);
    return folders;
}

/// The same environment for each program, but with these folders in front of its path.
std::vector<std::string> Environment() {
    std::string path = "PATH=";
    for (const std::string& folder : ProgramFolders()) {
        path += folder + ":";
    }
    std::vector<std::string> texts{"LC_ALL=C"};
    for (char** text = environ; *text != nullptr; ++text) {
        const std::string_view entry = *text;
        if (entry.starts_with("PATH=")) {
            path += entry.substr(5);
        } else if (!entry.starts_with("LC_ALL=")) {
            texts.emplace_back(entry);
        }
    }
    texts.push_back(path);
    return texts;
}

std::string PathOfProgram(const std::string& name) {
    if (name.find('/') == std::string::npos) {
        for (const std::string& folder : ProgramFolders()) {
            const std::string path = folder + "/" + name;
            if (access(path.c_str(), X_OK) == 0) {
                return path;
            }
        }
    }
    return name;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

pid_t StartProcess(const std::vector<std::string>& words, const std::string& folder,
                   const std::string& output, const std::string& error) {
    std::vector<std::string> texts = words;
    std::vector<std::string> environment = Environment();
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    const auto opens = [&actions](int target, const std::string& path, int flags) {
        posix_spawn_file_actions_addopen(&actions, target, path.c_str(), flags, kFileMode);
    };
    opens(STDIN_FILENO, "/dev/null", O_RDONLY);
    opens(STDOUT_FILENO, output, O_WRONLY | O_CREAT | O_TRUNC);
    opens(STDERR_FILENO, error, O_WRONLY | O_CREAT | O_TRUNC);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    pid_t process = -1;
    const int failed = posix_spawnp(&process, PathOfProgram(words.front()).c_str(), &actions,
                                    nullptr, Pointers(texts).data(), Pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    return failed == 0 ? process : -1;
}

int WaitForEnd(pid_t process) {
    if (process < 0) {
        return kNotStarted;
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? kSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

Ended RunProcess(const std::vector<std::string>& words, const std::string& folder) {
    const std::string output = folder + "/.output";
    const std::string error = folder + "/.error";
    const int status = WaitForEnd(StartProcess(words, folder, output, error));
    return {status, ReadFile(output), ReadFile(error)};
}

std::string ReadFile(const std::string& path) {
    const std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace runs
