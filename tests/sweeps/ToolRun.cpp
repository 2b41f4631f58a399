// SPDX-License-Identifier: MIT
#include "tests/sweeps/ToolRun.h"

#include <array>
#include <csignal>
#include <cstdio>

#include "flashmcu/flashmcu.h"
#include "vboard/text/Format.h"

namespace sweeps {
namespace {

/// Standard output of the tool, handed on line by line as its main() has it.
void PrintInto(bench::SharedText& text) {
    const auto write = [](void* to, const char* data, std::size_t size) {
        static_cast<bench::SharedText*>(to)->Append({data, size});
        return static_cast<ssize_t>(size);
    };
    stdout = fopencookie(&text, "w", {nullptr, write, nullptr, nullptr});
    static_cast<void>(std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ));
}

int StatusOf(const bench::Record& record) {
    constexpr int kStatusBits = 0xFF;
    switch (record.end) {
        case bench::End::kItself:
            return record.exitStatus & kStatusBits;
        case bench::End::kKilled:
            return kExitKilled;
        case bench::End::kCrashed:
            return record.exitStatus;
        default:
            return kExitHeld;
    }
}

/// The last line of a transcript, which is the runner's.
std::string EndLine(const bench::Record& record, int status) {
    const std::int64_t microseconds = record.endNs / 1000;
    return vboard::Formatted(
        "{:>5}.{:06} end     {}\n", microseconds / 1'000'000, microseconds % 1'000'000,
        record.end == bench::End::kKilled ? vboard::Formatted("killed by signal {}", SIGKILL)
                                          : vboard::Formatted("exit status {}", status));
}

}  // namespace

Ended ToolRun::Run(const std::string& path, const std::vector<std::string>& rules) {
    m_output.Clear();
    m_transcript.Clear();
    m_calls.Clear();
    const auto program = [&] {
        PrintInto(m_output);
        std::array<std::string, 3> words{"flashmcu", "-f", path};
        std::array<char*, 4> arguments{words[0].data(), words[1].data(), words[2].data(), nullptr};
        const int status = RunFlashmcu(static_cast<int>(words.size()), arguments.data());
        // As at the end of a process: what a stream holds goes where it belongs.
        static_cast<void>(std::fflush(nullptr));
        return status;
    };
    m_run.Run(program, {rules}, {&m_transcript, &m_calls});
    const int status = StatusOf(*m_record);
    return {status, std::string(m_output.Text()),
            m_record->end == bench::End::kCrashed ? "crashed" : m_record->verdict.data(),
            std::string(m_transcript.Text()) + EndLine(*m_record, status), m_record->memory};
}

}  // namespace sweeps
