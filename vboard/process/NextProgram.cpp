// SPDX-License-Identifier: MIT
#include "vboard/process/NextProgram.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "vboard/process/MemoryOwner.h"
#include "vboard/process/ProgramMemory.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/World.h"
#include "vboard/session/ProgramFile.h"
#include "vboard/text/Format.h"

// Only where the address sanitizer is part of the program.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" void __asan_handle_no_return() __attribute__((weak));

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

/// A program that replaces a vfork child leaves its frames without returning: the address
/// sanitizer's marks of them would stand in its parent's stack.
void UnmarkStack() {
    if (__asan_handle_no_return != nullptr) {
        __asan_handle_no_return();
    }
}

/// What keeps a program from the board, in words; empty where nothing does.
std::string WhyNotOnBoard(const char* file, bool inPath) {
    std::string problem;
    if (RunLink::Get() == nullptr || TheTies().library.empty() || !IsText(file)) {
        return problem;
    }
    const std::string path = inPath ? FindProgram(file) : file;
    if (!CanBeOnBoard(path, TheTies().kind, problem)) {
        return problem;
    }
    // Below another root, or for another user, it may be out of sight.
    return Real().access(TheTies().library.c_str(), R_OK) == 0
               ? ""
               : Formatted(
                     "'{}' can't be started where the board's library '{}' is out of its "
                     "sight: make it visible there",
                     file, TheTies().library);
}

}  // namespace

NextProgram::NextProgram(const char* file, bool inPath, char* const* variables)
    : NextProgram(variables) {
    const std::string problem = WhyNotOnBoard(file, inPath);
    if (!problem.empty()) {
        FailRun(problem);
    }
}

NextProgram::NextProgram(char* const* variables) : m_variables(variables) {
    RunLink* link = RunLink::Get();
    if (link == nullptr || TheTies().library.empty()) {
        return;
    }
    if (RunsInParentsMemory()) {
        link->BeginOwnTime();  // vfork does not tell; both go on from here.
        UnmarkStack();
    }
    const Ties& ties = TheTies();
    if (link->HasOwnTime()) {
        World* world = World::IfMade();
        const Instant own = world != nullptr ? world->Now() : link->OwnTime();
        m_time = Formatted("{}={}", kOwnTimeVariable, own.time_since_epoch().count());
    }
    const char* preload = Find(variables, kPreload);
    const bool loaded = preload != nullptr &&
                        std::string_view(preload).find(ties.library) != std::string_view::npos;
    const char* session = Find(variables, kSessionVariable);
    const char* time = Find(variables, kOwnTimeVariable);
    if (loaded && session != nullptr && m_time == (time == nullptr ? "" : time)) {
        return;
    }
    for (char* const* variable = variables; variable != nullptr && *variable != nullptr;
         ++variable) {
        if (*variable != session && *variable != time && (loaded || *variable != preload)) {
            m_completed.push_back(*variable);
        }
    }
    if (!loaded) {
        m_preload = Formatted("{}={}", kPreload, ties.library);
        if (preload != nullptr) {
            m_preload += Formatted(":{}", preload + kPreload.size() + 1);
        }
        m_completed.push_back(m_preload.data());
    }
    m_completed.push_back(const_cast<char*>(ties.session.c_str()));
    if (!m_time.empty()) {
        m_completed.push_back(m_time.data());
    }
    m_completed.push_back(nullptr);
    m_variables = m_completed.data();
}

bool NextProgram::CanStart(const char* file, bool inPath) {
    const std::string problem = WhyNotOnBoard(file, inPath);
    if (problem.empty()) {
        return true;
    }
    TheRunLink().Memory().report.ownError = 1;
    Remark(problem);
    return false;
}

NextProgram NextProgram::Beside(char* const* variables) {
    if (RunLink* link = RunLink::Get()) {
        link->BeginOwnTime();
    }
    return NextProgram(variables);
}

WithTies::WithTies() : m_before(environ), m_next(NextProgram::Beside(environ)) {
    environ = const_cast<char**>(m_next.Variables());
}

WithTies::~WithTies() {
    environ = m_before;
}

}  // namespace vboard

namespace {
__attribute__((constructor)) void BeforeTheProgramChangesThem() {
    static_cast<void>(vboard::TheTies());
}
}  // namespace
