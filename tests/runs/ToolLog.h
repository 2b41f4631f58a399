// SPDX-License-Identifier: MIT
#pragma once

// The program's log lines, "PATH:LINE LEVEL MESSAGE".

#include <string>

namespace runs {

/// Takes the line number out of every log line, "PATH LEVEL MESSAGE", and leaves every other line
/// as it is. Each number must be the line of a log statement in the source that PATH names, and
/// that statement must hold the words of the message; a test failure tells where it is not so.
std::string CheckedLog(const std::string& output);

// ------ lines as CheckedLog() leaves them ------

std::string Say(const std::string& level, const std::string& message);     ///< The front end's.
std::string Target(const std::string& level, const std::string& message);  ///< The controller's.

/// What the three operations say when they go well, the front end's announcement included.
std::string DetectionLog();
std::string EraseLog();
/// `within` stands between the update's first and last line.
std::string UpdateLog(const std::string& within = "");
/// A whole programming run that goes well, of an image of version 4660.
std::string ProgrammingLog(unsigned versionBefore = 256);

}  // namespace runs
