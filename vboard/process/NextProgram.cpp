// SPDX-License-Identifier: MIT
#include "vboard/process/NextProgram.h"

#include <cstdlib>
#include <string_view>

#include "vboard/board/ProgramFile.h"
#include "vboard/process/RunLink.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr std::string_view kPreload = "LD_PRELOAD";

/// The variables that tie a program to its run, as this one came into being with them.
struct Ties {
    std::string session;
    std::string library;  ///< Empty where an emulator has loaded it.
    ElfKind kind;
};

std::string Variable(std::string_view name) {
    const char* value = std::getenv(std::string(name).c_str());
    return value == nullptr ? "" : value;
}

/// Taken before the program can change its environment. Never destroyed.
const Ties& TheTies() {
    static const auto* ties = [] {
        auto* made = new Ties;
        made->session = Formatted("{}={}", kSessionVariable, Variable(kSessionVariable));
        // The runner puts its own library in front.
        const std::string all = Variable(kPreload);
        made->library = all.substr(0, all.find_first_of(" :"));
        std::string problem;
        static_cast<void>(ReadElfKind("/proc/self/exe", made->kind, problem));
        return made;
    }();
    return *ties;
}

char* Find(char* const* variables, std::string_view name) {
    for (char* const* variable = variables; variable != nullptr && *variable != nullptr;
         ++variable) {
        const std::string_view text = *variable;
        if (text.starts_with(name) && text.substr(name.size()).starts_with('=')) {
            return *variable;
        }
    }
    return nullptr;
}

}  // namespace

NextProgram::NextProgram(const char* file, bool inPath, char* const* variables)
    : NextProgram(variables) {
    std::string problem;
    if (file != nullptr && RunLink::Get() != nullptr && !TheTies().library.empty() &&
        !CanBeOnBoard(inPath ? FindProgram(file) : file, TheTies().kind, problem)) {
        FailRun(problem);
    }
}

NextProgram::NextProgram(char* const* variables) : m_variables(variables) {
    if (RunLink::Get() == nullptr || TheTies().library.empty()) {
        return;
    }
    const Ties& ties = TheTies();
    const char* preload = Find(variables, kPreload);
    const bool loaded = preload != nullptr &&
                        std::string_view(preload).find(ties.library) != std::string_view::npos;
    const char* session = Find(variables, kSessionVariable);
    if (loaded && session != nullptr) {
        return;
    }
    for (char* const* variable = variables; variable != nullptr && *variable != nullptr;
         ++variable) {
        if (*variable != preload && *variable != session) {
            m_completed.push_back(*variable);
        }
    }
    m_preload = Formatted("{}={}", kPreload, ties.library);
    if (preload != nullptr) {
        m_preload += Formatted(":{}", preload + kPreload.size() + 1);
    }
    m_completed.push_back(m_preload.data());
    m_completed.push_back(const_cast<char*>(ties.session.c_str()));
    m_completed.push_back(nullptr);
    m_variables = m_completed.data();
}

}  // namespace vboard

namespace {
__attribute__((constructor)) void BeforeTheProgramChangesThem() {
    static_cast<void>(vboard::TheTies());
}
}  // namespace
