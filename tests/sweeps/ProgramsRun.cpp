// SPDX-License-Identifier: MIT
#include "tests/sweeps/ProgramsRun.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <utility>

#include "tests/runs/Process.h"
#include "vboard/board/BoardFile.h"
#include "vboard/text/Format.h"

namespace sweeps {
namespace {

std::string ContentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Empty where there is no such board.
std::vector<std::uint8_t> MemoryIn(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
    vboard::BoardFile file;
    std::string problem;
    const bool opened = descriptor >= 0 && file.Attach(descriptor, problem);
    close(descriptor);
    return opened ? std::vector<std::uint8_t>(file.ChipMemory().begin(), file.ChipMemory().end())
                  : std::vector<std::uint8_t>();
}

}  // namespace

ProgramsRun::ProgramsRun(std::string vboard, std::string flashmcu, std::string folder,
                         std::string prefix)
    : m_vboard(std::move(vboard)),
      m_flashmcu(std::move(flashmcu)),
      m_folder(std::move(folder)),
      m_prefix(std::move(prefix)) {}

ProgramsRun::~ProgramsRun() {
    for (const char* name : {"board", "transcript", "output", "errors"}) {
        unlink(File(name).c_str());
    }
}

std::string ProgramsRun::File(const char* name) const {
    return vboard::Formatted("{}/{}.{}", m_folder, m_prefix, name);
}

void ProgramsRun::Renew() {
    unlink(File("board").c_str());
}

Ended ProgramsRun::Run(const std::string& path, const std::vector<std::string>& rules) {
    std::vector<std::string> words{m_vboard,           "run",          "--quiet",
                                   "--board",          File("board"),  "--transcript",
                                   File("transcript"), "--time-limit", "100000"};
    for (const std::string& rule : rules) {
        words.insert(words.end(), {"--fault", rule});
    }
    words.insert(words.end(), {"--", m_flashmcu, "-f", path});
    const int status =
        runs::WaitForEnd(runs::StartProcess(words, m_folder, File("output"), File("errors")));
    m_memory = MemoryIn(File("board"));
    return {status, ContentOf(File("output")), ContentOf(File("errors")),
            ContentOf(File("transcript")), m_memory};
}

}  // namespace sweeps
