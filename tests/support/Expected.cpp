// SPDX-License-Identifier: MIT
#include "Expected.h"

namespace expected {

std::string Log(const std::string& level, const std::string& message) {
    return LogOf("FWU_MSP", level, message);
}

std::string LogOf(const std::string& source, const std::string& level, const std::string& message) {
    return "log " + level + " " + source + " " + message + "\n";
}

std::string Pause(long microseconds) {
    return "pause " + std::to_string(microseconds) + "\n";
}

std::string GpioFile(const std::string& name, const std::string& mode, const std::string& text) {
    const std::string path = "/sys/class/gpio/" + name;
    return "fopen " + path + " " + mode + "\nflush " + path + " \"" + text + "\"\nfclose " + path +
           "\n";
}

std::string NoGpioFile(const std::string& name, const std::string& mode) {
    return "fopen /sys/class/gpio/" + name + " " + mode + " fails\n";
}

std::string Value(const std::string& line, char level) {
    return GpioFile("gpio" + line + "/value", "w+", std::string(1, level));
}

std::string NoValue(const std::string& line) {
    return NoGpioFile("gpio" + line + "/value", "w+") +
           Log("error", "CFWUMsp::SetGPIOValue ->Error opening gpio" + line + "/value!");
}

std::string Direction(const std::string& line, const std::string& text) {
    return GpioFile("gpio" + line + "/direction", "rb+", text);
}

std::string Directions(const std::string& text) {
    return Direction(kTck, text) + Direction(kRxdNmi, text);
}

std::string NoTckDirection() {
    return NoGpioFile("gpio91/direction", "rb+") +
           Log("error", "MSP Test: Error opening the direction file of the MSP_TCK_GPIO!");
}

std::string NoRxdNmiDirection() {
    return NoGpioFile("gpio86/direction", "rb+") +
           Log("error", "MSP Test: Error opening the direction file of the RxD_NMI_GPIO!");
}

std::string Construction() {
    return Exported() + Direction(kReset, "out");
}

std::string Destruction() {
    return TriState(0) + Unexported();
}

std::string Exported() {
    return "fopen /sys/class/gpio/export ab\n"
           "flush /sys/class/gpio/export \"91\"\n"
           "flush /sys/class/gpio/export \"86\"\n"
           "flush /sys/class/gpio/export \"90\"\n"
           "fclose /sys/class/gpio/export\n";
}

std::string Unexported() {
    return "fopen /sys/class/gpio/unexport ab\n"
           "flush /sys/class/gpio/unexport \"91\"\n"
           "flush /sys/class/gpio/unexport \"86\"\n"
           "flush /sys/class/gpio/unexport \"90\"\n"
           "fclose /sys/class/gpio/unexport\n";
}

std::string TriState(int state) {
    return "open /dev/knxspi O_RDWR\n"
           "ioctl /dev/knxspi 0x40046b01 " +
           std::to_string(state) + "\nclose /dev/knxspi\n";
}

std::string NoTriState() {
    return "open /dev/knxspi O_RDWR fails\n" +
           Log("error", "CFWUMsp::SetGPIOTriState open /dev/knxspi failed fd:-1");
}

std::string PortOpened(const std::string& port) {
    return "open " + port + " O_RDWR|O_NOCTTY\ntcsetattr " + port +
           " TCSANOW in 9600 out 9600 cflag 0x9b0 iflag 0 oflag 0 lflag 0 min 1 time 0\n";
}

std::string PortClosed(const std::string& port) {
    return "close " + port + "\n";
}

std::string Sent(const Bytes& bytes, const std::string& port) {
    return "write " + port + " " + ToText(bytes) + "\n";
}

std::string Got(const Bytes& bytes, const std::string& port) {
    return "read " + port + " 300 gets " + ToText(bytes) + "\n";
}

std::string Exchange(const Bytes& frame, std::uint8_t reply, const std::string& port) {
    return Sent(frame, port) + Got({reply}, port);
}

std::string Sync(std::uint8_t reply, const std::string& port) {
    return Exchange({0x80}, reply, port);
}

std::string Preparation() {
    return TriState(1) + Value(kReset, '1') + Pause(100000) + Directions("out");
}

std::string LoaderEntry() {
    return Value(kReset, '1') + Pause(500000)    //
           + Value(kTck, '0')                    //
           + Value(kRxdNmi, '0')                 //
           + Value(kReset, '0') + Pause(100000)  //
           + TriState(0) + Pause(100000)         //
           + Value(kTck, '1') + Pause(50000)     //
           + Value(kTck, '0') + Pause(50000)     //
           + Value(kTck, '1') + Pause(100000)    //
           + Value(kTck, '0') + Pause(50000)     //
           + Value(kRxdNmi, '1') + Pause(50000)  //
           + Value(kTck, '1') + Pause(50000);
}

std::string Release() {
    return Value(kRxdNmi, '0') + Pause(100000) + Directions("in");
}

}  // namespace expected
