// SPDX-License-Identifier: MIT
#pragma once

// The tool's log statements, as its sources have them.

#include <cstddef>
#include <optional>
#include <string>

/// The first text that a log statement quotes, which stands in its message: the one that begins in
/// a line, numbered from 1, of a source named as in the log ("flashmcu/FWU_MSP"). Empty where a
/// function composes the words; nothing where no log statement begins.
std::optional<std::string> WordsOfLogStatement(const std::string& source, std::size_t line);
