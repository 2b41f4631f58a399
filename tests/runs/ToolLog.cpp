// SPDX-License-Identifier: MIT
#include "tests/runs/ToolLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <vector>

#include "tests/runs/Lines.h"
#include "tests/runs/Process.h"

namespace runs {
namespace {

const std::vector<std::string>& SourceLines(const std::string& path) {
    static std::map<std::string, std::vector<std::string>> sources;
    auto& lines = sources[path];
    if (lines.empty()) {
        lines = LinesOf(ReadFile(std::string(FLASHMCU_SOURCE_DIR) + "/" + path + ".cpp"));
    }
    return lines;
}

/// The statement that begins at a line (numbered from 1), its lines joined.
std::string StatementAt(const std::vector<std::string>& lines, std::size_t number) {
    std::string statement;
    for (std::size_t i = number - 1; i < lines.size(); ++i) {
        statement += lines[i];
        if (lines[i].ends_with(";")) {
            break;
        }
    }
    return statement;
}

/// Whether the message begins with the first text that the statement quotes.
bool Emits(const std::string& statement, const std::string& message) {
    static const std::regex kQuoted("\"([^\"]*)\"");
    std::smatch quoted;
    return std::regex_search(statement, quoted, kQuoted) && message.starts_with(quoted[1].str());
}

std::string CheckedLine(const std::string& line) {
    static const std::regex kLogLine(
        "(flashmcu/(?:flashmcu|IntelHexFileWrapper|MSPCommands|FWU_MSP)):([0-9]+) "
        "(error|warn|info|verbose) ([^]*)");
    std::smatch parts;
    if (!std::regex_match(line, parts, kLogLine)) {
        return line;
    }
    const auto& source = SourceLines(parts[1]);
    const std::size_t number = std::stoul(parts[2]);
    if (number < 1 || number > source.size()) {
        ADD_FAILURE() << "no such line in the source: " << line;
        return line;
    }
    const std::string statement = StatementAt(source, number);
    EXPECT_TRUE(statement.find("LogLine(") != std::string::npos && Emits(statement, parts[4]))
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
