// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Bytes.h"

// Pieces of the conversation that a ScriptedHost writes down, for a test to put together what it
// expects. Each ends its lines. Where nothing else is said they speak of the default board: reset
// line 90, RxD/NMI line 86, TCK line 91, ports /dev/ttyS1 and /dev/knxspi.
namespace expected {

constexpr const char* kPort = "/dev/ttyS1";
constexpr const char* kReset = "90";
constexpr const char* kRxdNmi = "86";
constexpr const char* kTck = "91";

// A log line of the target controller, and of any source.
std::string Log(const std::string& level, const std::string& message);
std::string LogOf(const std::string& source, const std::string& level, const std::string& message);
std::string Pause(long microseconds);

// A GPIO file opened, this text flushed to it, closed; and one that is not there.
std::string GpioFile(const std::string& name, const std::string& mode, const std::string& text);
std::string NoGpioFile(const std::string& name, const std::string& mode);
// One level, '1' or '0', written to a line; and a line whose value file is not there.
std::string Value(const std::string& line, char level);
std::string NoValue(const std::string& line);
// "in" or "out" written to one line; to the TCK and then the RxD/NMI line.
std::string Direction(const std::string& line, const std::string& text);
std::string Directions(const std::string& text);
// The direction file of the TCK, or of the RxD/NMI line, is not there.
std::string NoTckDirection();
std::string NoRxdNmiDirection();

// All that a new target controller does, and all that its end does.
std::string Construction();
std::string Destruction();
std::string Exported();
std::string Unexported();
// The tristate switch set to 1 or 0, and not set because its device is not there.
std::string TriState(int state);
std::string NoTriState();

// The programming port opened and set to 9600 baud, 8 bits, even parity, raw.
std::string PortOpened(const std::string& port = kPort);
std::string PortClosed(const std::string& port = kPort);
std::string Sent(const Bytes& bytes, const std::string& port = kPort);
std::string Got(const Bytes& bytes, const std::string& port = kPort);
// A frame sent and one reply byte taken.
std::string Exchange(const Bytes& frame, std::uint8_t reply, const std::string& port = kPort);
// The sync byte sent and answered.
std::string Sync(std::uint8_t reply = 0x90, const std::string& port = kPort);

// Tristate on, reset line high, both loader lines to output.
std::string Preparation();
// The waveform that brings the target into its loader.
std::string LoaderEntry();
// RxD/NMI low for 100 ms, then both loader lines to input.
std::string Release();

}  // namespace expected
