// SPDX-License-Identifier: MIT

// Only in builds that bring the C++ run-time library along. The library's own handler for an
// exception that nobody catches prints its name, for which it carries a demangler of 50 KiB; the
// tool catches none and ends the same way without a word.

#include <cstdlib>
#include <exception>

// GNU's library starts with what stands in this variable of its own and takes this definition for
// it. NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
namespace __cxxabiv1 {
extern std::terminate_handler __terminate_handler;
std::terminate_handler __terminate_handler = std::abort;
}  // namespace __cxxabiv1
