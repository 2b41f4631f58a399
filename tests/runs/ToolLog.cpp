// SPDX-License-Identifier: MIT
#include "tests/runs/ToolLog.h"

#include <gtest/gtest.h>

#include <regex>

#include "tests/runs/Lines.h"
#include "tests/support/LogStatements.h"

namespace runs {
namespace {

std::string CheckedLine(const std::string& line) {
    static const std::regex kLogLine(
        "(flashmcu/(?:flashmcu|IntelHexFileWrapper|MSPCommands|FWU_MSP)):([0-9]+) "
        "(error|warn|info|verbose) ([^]*)");
    std::smatch parts;
    if (!std::regex_match(line, parts, kLogLine)) {
        return line;
    }
    const auto words = WordsOfLogStatement(parts[1], std::stoul(parts[2]));
    EXPECT_TRUE(words && !words->empty() && parts[4].str().starts_with(*words))
        << "not the line of the statement that says so: " << line;
    return parts[1].str() + " " + parts[3].str() + " " + parts[4].str();
}

}  // namespace

std::string CheckedLog(const std::string& output) {
    std::string log;
    for (const std::string& line : LinesOf(output)) {
        log += CheckedLine(line) + "\n";
    }
    return log;
}

std::string Say(const std::string& level, const std::string& message) {
    return "flashmcu/flashmcu " + level + " " + message + "\n";
}

std::string Target(const std::string& level, const std::string& message) {
    return "flashmcu/FWU_MSP " + level + " " + message + "\n";
}

std::string DetectionLog() {
    return Say("verbose", "Detecting MSP...") + Target("verbose", "StartBSL()") +
           Target("verbose", "OpenSerial()") + Target("verbose", "SendSync()") +
           Target("info", "CFWUMsp::RunSystemTest -> SendSync OK -> SystemTest OK");
}

std::string EraseLog() {
    return Say("verbose", "Erasing MSP...") + Target("verbose", "StartBSL()") +
           Target("verbose", "OpenSerial()") + Target("verbose", "SendSync()");
}

std::string UpdateLog(const std::string& within) {
    return Say("verbose", "Programming MSP...") +
           Target("info", "CFWUMsp::UpdateMSP -> starting update MSP") + within +
           Target("info", "CFWUMsp::UpdateMSP -> finish update MSP");
}

std::string ProgrammingLog(unsigned versionBefore) {
    return Say("info", "HEX file version is 4660") +
           Say("info", "Current MSP version is " + std::to_string(versionBefore)) + DetectionLog() +
           EraseLog() + UpdateLog() + Say("verbose", "Success");
}

}  // namespace runs
