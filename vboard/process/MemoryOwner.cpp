// SPDX-License-Identifier: MIT
#include "vboard/process/MemoryOwner.h"

#include <pthread.h>
#include <unistd.h>

namespace vboard {
namespace {

pid_t g_owner = 0;

void TakeMemory() {
    g_owner = getpid();
}

// Before main: vfork does not tell, fork does.
__attribute__((constructor)) void BeginningOfMemory() {
    TakeMemory();
    static_cast<void>(pthread_atfork(nullptr, nullptr, TakeMemory));
}

}  // namespace

bool RunsInParentsMemory() {
    return g_owner != 0 && g_owner != getpid();
}

}  // namespace vboard
