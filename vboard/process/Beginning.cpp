// SPDX-License-Identifier: MIT

// What happens in a program of a run before its main.

#include <memory>

#include "vboard/process/Descriptors.h"
#include "vboard/process/Locks.h"
#include "vboard/process/OwnMistakes.h"
#include "vboard/process/RunLink.h"
#include "vboard/process/World.h"

namespace vboard {
namespace {

/// Finds the devices behind descriptors that were open when the program came into being.
void AdoptInherited() {
    if (RunLink::Get() == nullptr) {
        return;
    }
    for (const Placeholder& placeholder : InheritedPlaceholders()) {
        std::shared_ptr<OpenFile> file =
            World::Get()->TheHost().Inherit(placeholder.path, placeholder.flags);
        if (file != nullptr) {
            NoteInherited(*file);
            TheDescriptors().Put(placeholder.descriptor, std::move(file));
        }
    }
}

Instant TimeOfAMistake() {
    World* world = World::IfMade();
    const RunLink* link = RunLink::Get();
    return world != nullptr ? world->Now() : link != nullptr ? link->OwnTime() : Instant{};
}

// Before main: the program may have come into being with devices open.
__attribute__((constructor)) void BeginningOfProgram() {
    EndRunOnOwnMistakes(TimeOfAMistake);
    AdoptInherited();
}
}  // namespace
}  // namespace vboard
