// SPDX-License-Identifier: MIT
#include "tests/tty/ProbeRun.h"

#include <cstdlib>
#include <sstream>

#include "tests/runs/Transcript.h"
#include "vboard/text/Format.h"

namespace tty {

bool IsInstalled(const std::string& program) {
    return std::system(("command -v " + program + " >/dev/null").c_str()) == 0;
}

ProbeRun& ProbeRun::With(const std::string& option, const std::string& value) {
    m_options.push_back(option);
    m_options.push_back(value);
    return *this;
}

runs::Ended ProbeRun::Run(const std::vector<std::string>& program) {
    std::vector<std::string> words{"vboard", "run", "--quiet", "--transcript",
                                   m_folder.PathOf("transcript")};
    words.insert(words.end(), m_options.begin(), m_options.end());
    words.emplace_back("--");
    words.insert(words.end(), program.begin(), program.end());
    return runs::RunProcess(words, m_folder.PathOf("."));
}

std::string ProbeRun::Says(const std::string& words, int status) {
    std::vector<std::string> program{TTY_PROBE};
    std::istringstream stream(words);
    for (std::string word; stream >> word;) {
        program.push_back(word);
    }
    const runs::Ended ended = Run(program);
    return ended.status == status
               ? ended.output
               : vboard::Formatted("{}ended {}: {}", ended.output, ended.status, ended.error);
}

std::vector<std::string> ProbeRun::Calls() const {
    const std::string transcript = runs::ReadFile(m_folder.PathOf("transcript"));
    const auto calls = runs::WordsOf(transcript, "call");
    return {calls.begin(), calls.end()};
}

}  // namespace tty
