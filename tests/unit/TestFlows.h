// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "flashmcu/flashmcu.h"
#include "tests/support/Expected.h"
#include "tests/support/LoaderFrames.h"
#include "tests/support/ScriptedHost.h"

// Whole runs of the program, and what their steps say.
namespace flows {

inline std::string Say(const std::string& level, const std::string& message) {
    return expected::LogOf("flashmcu", level, message);
}

// Runs the program with these arguments after its name; its exit status.
inline int RunTool(const std::vector<std::string>& arguments,
                   const std::string& name = "flashmcu") {
    std::vector<std::string> texts{name};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& text : texts) {
        argv.push_back(text.data());
    }
    argv.push_back(nullptr);
    return RunFlashmcu(static_cast<int>(texts.size()), argv.data());
}

inline std::string Select(const std::string& end, const std::string& path = "/dev/knxspi") {
    return "select read {" + path + "} write {} except {} timeout 0 s 200000 us " + end + "\n";
}

// A message taken from the communication device: its length byte, then the rest.
inline std::string Message(const Bytes& message, const std::string& path = "/dev/knxspi") {
    const std::string count = std::to_string(message.size());
    return Select("ready", path) + "read " + path + " 1 gets " +
           ToText({static_cast<std::uint8_t>(message.size())}) + "\nread " + path + " " + count +
           (message.empty() ? " gets nothing\n" : " gets " + ToText(message) + "\n");
}

// The request on the open device.
inline std::string Request(const std::string& path = "/dev/knxspi") {
    return "write " + path + " 02 B4 00\n";
}

// A whole query that these messages answer, and one that nobody answers.
inline std::string QueryTalk(const std::string& talk, const std::string& path = "/dev/knxspi") {
    return "open " + path + " O_RDWR\n" + talk + expected::Pause(500000) + "close " + path + "\n";
}
inline std::string QueryAnswered(const Bytes& reply, const std::string& path = "/dev/knxspi") {
    return QueryTalk(Request(path) + Message(reply, path), path);
}
inline std::string QueryUnanswered() {
    return QueryTalk(Request() + Select("times out") +
                     Say("warn", "Error reading current version from MSP"));
}

// The three operations of the target on a default board, each as it succeeds.
inline std::string Detected() {
    return expected::Preparation() + expected::Log("verbose", "StartBSL()") +
           expected::LoaderEntry() + expected::Log("verbose", "OpenSerial()") +
           expected::PortOpened() + expected::Log("verbose", "SendSync()") + expected::Sync() +
           expected::Log("info", "CFWUMsp::RunSystemTest -> SendSync OK -> SystemTest OK") +
           expected::PortClosed() + expected::Release();
}
inline std::string MassErased(std::uint8_t reply = 0x90) {
    const std::string failed =
        reply == 0x90 ? "" : expected::Log("error", "CFWUMsp::ClearMSP() failed");
    return expected::Preparation() + expected::Log("verbose", "StartBSL()") +
           expected::LoaderEntry() + expected::Log("verbose", "OpenSerial()") +
           expected::PortOpened() + expected::Log("verbose", "SendSync()") + expected::Sync() +
           expected::Exchange(loader::MassEraseFrame(), reply) + failed + expected::PortClosed() +
           expected::Release() + expected::Directions("in");
}
// The update up to the erased main memory, and with these bytes as the one block of the image.
inline std::string Unlocked() {
    std::string talk = expected::Log("info", "CFWUMsp::UpdateMSP -> starting update MSP") +
                       expected::Preparation() + expected::LoaderEntry() + expected::PortOpened() +
                       expected::Sync() + expected::Exchange(loader::ErasedPasswordFrame(), 0x90);
    for (int round = 0; round < 20; ++round) {
        talk += expected::Sync() + expected::Exchange(loader::EraseMainFrame(), 0x90);
    }
    return talk;
}
inline std::string Updated(std::uint16_t address, const Bytes& data) {
    return Unlocked() + expected::Sync() +
           expected::Exchange(loader::WriteFrame(address, data), 0x90) + expected::PortClosed() +
           expected::Release() + expected::Log("info", "CFWUMsp::UpdateMSP -> finish update MSP");
}

// The acks that the target gives to a whole programming of one block: detection 1, mass erase 2,
// sync and password 2, erase rounds 40, block 2.
constexpr int kAcksOfDetection = 1;
constexpr int kAcksOfErase = 2;
constexpr int kAcksOfUpdate = 44;

}  // namespace flows
