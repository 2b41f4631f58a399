// SPDX-License-Identifier: MIT
#pragma once

// What ties a program to the run it is part of: the memory shared with the runner, its words in it.
// There is one in every program of the run, also in those that never touch the board.

#include <cstdint>
#include <optional>
#include <string_view>

#include "vboard/process/OtherPrograms.h"
#include "vboard/session/Session.h"
#include "vboard/text/TextSink.h"
#include "vboard/time/MustHold.h"
#include "vboard/time/VirtualClock.h"

namespace vboard {

class RunLink {
public:
    /// nullptr when the program was not started by the runner.
    [[nodiscard]] static RunLink* Get();

    /// The runner's words and all of the memory shared with it, for as long as the program lives.
    [[nodiscard]] const Session& TheSession() const { return m_memory->session; }
    [[nodiscard]] RunMemory& Memory() const { return *m_memory; }

    /// True for paths that belong to the board, or to hardware that the program must not reach.
    [[nodiscard]] bool Owns(std::string_view path) const;

    /// The descriptors that the run needs, first and last. Programs that close whatever they find
    /// open may not close these.
    [[nodiscard]] unsigned FirstReserved() const {
        return static_cast<unsigned>(TheSession().FirstDescriptor());
    }
    [[nodiscard]] unsigned LastReserved() const {
        return static_cast<unsigned>(TheSession().LastDescriptor());
    }

    /// Writes to the descriptor of `output` past every wrapper. What can't be written is lost, and
    /// the runner told that it is not whole. The link must outlive what is returned.
    [[nodiscard]] TextSink WriterOf(Output output);

    /// The time of the board for a program that has none itself. Asking takes a microsecond.
    [[nodiscard]] Instant AskTime();
    /// It is `when`, for a program that has no board, if that is later.
    void PassTo(Instant when);

    /// From its first fork on a process has a time of its own, which its children begin with: what
    /// they let pass at the same time passes once. Before, and here without one, it is the board's.
    [[nodiscard]] Instant OwnTime() const;
    /// From here on this process has one, as after a fork.
    void BeginOwnTime() { m_ownNs = OwnTime().time_since_epoch().count(); }
    [[nodiscard]] bool HasOwnTime() const { return m_ownNs.has_value(); }
    /// The program has heard of what others have done: their time is its own as well.
    void HearOfOthers() { m_ownNs.reset(); }

    /// The other programs of the run that there are.
    [[nodiscard]] OtherPrograms& Others() { return *m_others; }

private:
    RunLink() = default;
    [[nodiscard]] bool Make(const char* words);
    static void BeforeFork();
    static void AfterForkInChild();

    RunMemory* m_memory = nullptr;
    std::optional<std::int64_t> m_ownNs;
    std::optional<OtherPrograms> m_others;
};

/// The link of a program that is known to be of a run: one of its files is the board's, for one.
[[nodiscard]] inline RunLink& TheRunLink() {
    RunLink* link = RunLink::Get();
    MustHold(link != nullptr, "a program with something of the board's is part of a run");
    return *link;
}

/// One line to standard error about what the board doesn't do.
void Remark(std::string_view text);

/// vboard can't go on: one line to standard error, and the exit status for that.
[[noreturn]] void FailRun(std::string_view problem);

}  // namespace vboard
