// SPDX-License-Identifier: MIT
#include "vboard/process/OwnMistakes.h"

#include <exception>
#include <typeinfo>

#include "vboard/process/RunLink.h"
#include "vboard/text/Format.h"
#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

Instant (*theNow)() = nullptr;

[[noreturn]] void EndRun(std::string_view what, SourceLine where) {
    const double seconds = static_cast<double>(theNow().time_since_epoch().count()) / 1e9;
    FailRun(Formatted("a mistake of its own at {:.6f} s of virtual time: {} ({}:{})", seconds, what,
                      where.file, where.line));
}

[[noreturn]] void EndByException() {
    try {
        std::rethrow_exception(std::current_exception());
    } catch (const std::exception& exception) {
        Mistake(exception.what());
    } catch (...) {
        Mistake("an exception of an unknown kind");
    }
}

}  // namespace

// Every throw of the library comes here in place of the run-time library's own function
// (--wrap=__cxa_throw): none is to look for a catch beyond this one.
extern "C" {
[[noreturn]] void __real___cxa_throw(void* thrown, std::type_info* type, void (*destroy)(void*));
[[noreturn]] void __wrap___cxa_throw(void* thrown, std::type_info* type, void (*destroy)(void*)) {
    try {
        __real___cxa_throw(thrown, type, destroy);
    } catch (const std::exception& exception) {
        Mistake(exception.what());
    } catch (...) {
        Mistake("an exception of an unknown kind");
    }
}
}

// The library has a run-time library of its own, so the program's handler stays what it is.
void EndRunOnOwnMistakes(Instant (*now)()) {
    theNow = now;
    SetMistakeHandler(&EndRun);
    static_cast<void>(std::set_terminate(&EndByException));
}

}  // namespace vboard
