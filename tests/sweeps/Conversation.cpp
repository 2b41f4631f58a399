// SPDX-License-Identifier: MIT
#include "tests/sweeps/Conversation.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <utility>

#include "tests/support/Bytes.h"
#include "tests/support/LoaderFrames.h"
#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace sweeps {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr const char* kPort = "/dev/ttyS1";
constexpr const char* kComm = "/dev/knxspi";
constexpr const char* kReset = "90";
constexpr const char* kRxdNmi = "86";
constexpr const char* kTck = "91";

constexpr std::uint8_t kAck = 0x90;
constexpr int kLongestBlock = 250;

/// The recording is at its end although the conversation is not.
struct RecordingEnded {};
/// The recording breaks a rule.
struct RuleBroken {
    std::string problem;
};

std::string Hex(const Bytes& bytes) {
    return vboard::HexText(bytes);
}

int ErrnoNumber(const std::string& name) {
    constexpr int kLargest = 133;
    for (int number = 1; number <= kLargest; ++number) {
        const char* candidate = strerrorname_np(number);
        if (candidate != nullptr && name == candidate) {
            return number;
        }
    }
    return 0;
}

class Conversation {
public:
    Conversation(const std::vector<Event>& recording, const Image& image, bool force)
        : m_recording(recording), m_image(image), m_force(force) {}

    /// The whole program; its exit status.
    int Run();

    [[nodiscard]] const std::vector<std::string>& Lines() const { return m_log; }
    [[nodiscard]] bool AllTaken() const { return m_next == m_recording.size(); }
    [[nodiscard]] std::string NextDescribed() const { return Describe(m_recording[m_next]); }

private:
    // Steps of the recording.
    const Event& Take(const std::string& name, const std::string& target);
    const Event& Take(const std::string& name, const std::string& target,
                      const std::string& detail);
    void Pause(unsigned microseconds);
    void FlushText(const std::string& path, const std::string& text);
    void Log(const char* source, const char* level, const std::string& text);
    void Program(const char* level, const std::string& text) {
        Log("flashmcu/flashmcu", level, text);
    }
    void Target(const char* level, const std::string& text) {
        Log("flashmcu/FWU_MSP", level, text);
    }

    // Lines and switch.
    bool Tristate(int state);
    bool Value(const std::string& gpio, bool high);
    bool WriteDirection(const std::string& gpio, const std::string& direction);
    bool Directions(bool input);
    void Release();
    void Export();
    void Unexport();
    void Entry();

    // Link and loader.
    bool OpenPort();
    void ClosePort();
    bool Exchange(const Bytes& frame);
    bool Sync() { return Exchange({0x80}); }
    bool EraseMain();
    bool Download();

    // Operations.
    bool Detect();
    bool Clear();
    bool Update();
    bool UpdateSession();
    bool ProgramImage();
    bool DetectEraseProgram();

    // Version query.
    bool ReadVersion(unsigned& version);
    bool Query(unsigned& version);
    std::optional<Bytes> ReadMessage();

    const std::vector<Event>& m_recording;
    const Image& m_image;
    bool m_force;
    std::size_t m_next = 0;
    std::vector<std::string> m_log;
};

const Event& Conversation::Take(const std::string& name, const std::string& target) {
    if (m_next == m_recording.size()) {
        throw RecordingEnded{};
    }
    const Event& event = m_recording[m_next];
    if (event.name != name || event.target != target) {
        throw RuleBroken{vboard::Formatted("event {}: expected '{} {}', recorded '{}'", m_next + 1,
                                           name, target, Describe(event))};
    }
    ++m_next;
    return event;
}

const Event& Conversation::Take(const std::string& name, const std::string& target,
                                const std::string& detail) {
    const Event& event = Take(name, target);
    if (event.detail != detail) {
        throw RuleBroken{vboard::Formatted("event {}: expected '{} {} {}', recorded '{}'", m_next,
                                           name, target, detail, Describe(event))};
    }
    return event;
}

void Conversation::Pause(unsigned microseconds) {
    static_cast<void>(Take("pause", "", vboard::Formatted("{} us", microseconds)));
}

void Conversation::Log(const char* source, const char* level, const std::string& text) {
    m_log.push_back(vboard::Formatted("{} {} {}", source, level, text));
}

/// stdio's flush: what a short write left over is written again, an error gives up.
void Conversation::FlushText(const std::string& path, const std::string& text) {
    std::string left = text;
    while (!left.empty()) {
        const Event& event = Take("flush", path);
        const bool isPart = event.detail.size() > 2 && event.detail.front() == '"' &&
                            left.starts_with(event.detail.substr(1, event.detail.size() - 2));
        if (!isPart) {
            throw RuleBroken{
                vboard::Formatted("event {}: expected a write of \"{}\", recorded '{}'", m_next,
                                  left, Describe(event))};
        }
        if (event.failed) {
            return;
        }
        left.erase(0, static_cast<std::size_t>(event.result));
    }
}

bool Conversation::Tristate(int state) {
    if (Take("open", kComm, "O_RDWR").failed) {
        Target("error", "CFWUMsp::SetGPIOTriState open /dev/knxspi failed fd:-1");
        return false;
    }
    static_cast<void>(Take("ioctl", kComm, vboard::Formatted("tristate {}", state)));
    static_cast<void>(Take("close", kComm));
    return true;
}

bool Conversation::Value(const std::string& gpio, bool high) {
    const std::string path = vboard::Formatted("/sys/class/gpio/gpio{}/value", gpio);
    if (Take("fopen", path, "w+").failed) {
        Target("error",
               vboard::Formatted("CFWUMsp::SetGPIOValue ->Error opening gpio{}/value!", gpio));
        return false;
    }
    FlushText(path, high ? "1" : "0");
    static_cast<void>(Take("close", path));
    return true;
}

bool Conversation::WriteDirection(const std::string& gpio, const std::string& direction) {
    const std::string path = vboard::Formatted("/sys/class/gpio/gpio{}/direction", gpio);
    if (Take("fopen", path, "rb+").failed) {
        return false;
    }
    FlushText(path, direction);
    static_cast<void>(Take("close", path));
    return true;
}

bool Conversation::Directions(bool input) {
    const std::string direction = input ? "in" : "out";
    if (!WriteDirection(kTck, direction)) {
        Target("error", "MSP Test: Error opening the direction file of the MSP_TCK_GPIO!");
        return false;
    }
    if (!WriteDirection(kRxdNmi, direction)) {
        Target("error", "MSP Test: Error opening the direction file of the RxD_NMI_GPIO!");
        return false;
    }
    return true;
}

void Conversation::Release() {
    Value(kRxdNmi, false);
    Pause(100'000);
    Directions(true);
}

void Conversation::Export() {
    const std::string path = "/sys/class/gpio/export";
    if (Take("fopen", path, "ab").failed) {
        Target("error", "MSP Test: Error opening GPIO export!");
        return;
    }
    for (const char* gpio : {kTck, kRxdNmi, kReset}) {
        FlushText(path, gpio);
    }
    static_cast<void>(Take("close", path));
    if (!WriteDirection(kReset, "out")) {
        Target("error", "MSP Test: Error opening the direction file of RESET_GPIO!");
    }
}

void Conversation::Unexport() {
    const std::string path = "/sys/class/gpio/unexport";
    if (Take("fopen", path, "ab").failed) {
        Target("error", "MSP Test: Error opening GPIO export!");
        return;
    }
    for (const char* gpio : {kTck, kRxdNmi, kReset}) {
        FlushText(path, gpio);
    }
    static_cast<void>(Take("close", path));
}

void Conversation::Entry() {
    struct Step {
        const char* gpio;  // Absent: the tristate switch goes off.
        bool high;
        unsigned pause;
    };
    constexpr std::array<Step, 11> kSteps{{
        {kReset, true, 500'000},
        {kTck, false, 0},
        {kRxdNmi, false, 0},
        {kReset, false, 100'000},
        {nullptr, false, 100'000},
        {kTck, true, 50'000},
        {kTck, false, 50'000},
        {kTck, true, 100'000},
        {kTck, false, 50'000},
        {kRxdNmi, true, 50'000},
        {kTck, true, 50'000},
    }};
    for (const Step& step : kSteps) {
        step.gpio == nullptr ? Tristate(0) : Value(step.gpio, step.high);
        if (step.pause != 0) {
            Pause(step.pause);
        }
    }
}

bool Conversation::OpenPort() {
    const Event& opened = Take("open", kPort, "O_RDWR|O_NOCTTY");
    if (opened.failed) {
        Target("error",
               vboard::Formatted("TalSerial::Open failed errno: {}", ErrnoNumber(opened.error)));
        return false;
    }
    if (Take("tcsetattr", kPort, "9600 8E1 raw cread clocal vmin=1 vtime=0").failed) {
        ClosePort();
        return false;
    }
    return true;
}

void Conversation::ClosePort() {
    static_cast<void>(Take("close", kPort));
}

bool Conversation::Exchange(const Bytes& frame) {
    const Event& written = Take("write", kPort);
    const auto count = static_cast<std::size_t>(written.failed ? 0 : written.result);
    const Bytes part(frame.begin(),
                     frame.begin() + static_cast<std::ptrdiff_t>(std::min(count, frame.size())));
    if (written.detail != Hex(frame) && written.detail != Hex(part)) {
        throw RuleBroken{vboard::Formatted("event {}: expected a write of {}, recorded '{}'",
                                           m_next, Hex(frame), Describe(written))};
    }
    if (written.failed || count != frame.size()) {
        return false;
    }
    const Event& reply = Take("read", kPort);
    return !reply.failed && reply.result == 1 && FromText(reply.detail) == Bytes{kAck};
}

bool Conversation::EraseMain() {
    for (int round = 0; round < 20; ++round) {
        if (!Sync()) {
            Target(
                "error",
                vboard::Formatted(
                    "bool CFWUMsp::EraseMainFlashSegment() send sync failed in round {}", round));
            continue;
        }
        if (!Exchange(loader::Frame(0x16, 0x2100, 0xA504, {}))) {
            Target("error", vboard::Formatted(
                                "bool CFWUMsp::EraseMainFlashSegment() failed in round {}", round));
            return false;
        }
    }
    return true;
}

bool Conversation::Download() {
    Bytes buffer(300, 0);
    bool result = false;
    for (const Record& record : m_image.Records()) {
        if (record.type != 0 || record.data.empty()) {
            continue;
        }
        if (record.data.size() > kLongestBlock) {
            return result;
        }
        result = true;
        std::copy(record.data.begin(), record.data.end(), buffer.begin());
        const std::size_t sent = record.data.size() + record.data.size() % 2;
        const Bytes block(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(sent));
        for (int attempt = 1;; ++attempt) {
            if (!Sync()) {
                Target("error", vboard::Formatted(
                                    "CFWUMsp::SendFirmwareToMSP -> error send sync for address: {}",
                                    record.address));
                return result;
            }
            result = Exchange(
                loader::Frame(0x12, record.address, static_cast<std::uint16_t>(sent), block));
            if (result) {
                break;
            }
            Target("error",
                   vboard::Formatted("CFWUMsp::SendFirmwareToMSP -> error WriteDataBlock nRead {} "
                                     "wAddress {} try {}",
                                     record.data.size(), record.address, attempt));
            if (attempt == 3) {
                return false;
            }
        }
    }
    if (!result) {
        Target("error", "CFWUMsp::SendFirmwareToMSP -> error getting first data");
    }
    return result;
}

bool Conversation::Detect() {
    if (!Tristate(1)) {
        Target("error", "CFWUMsp::RunSystemTest -> error setting gpio to tristate mode");
        return false;
    }
    Value(kReset, true);
    Pause(100'000);
    bool result = false;
    if (Directions(false)) {
        Target("verbose", "StartBSL()");
        Entry();
        Target("verbose", "OpenSerial()");
        if (OpenPort()) {
            Target("verbose", "SendSync()");
            result = Sync();
            if (result) {
                Target("info", "CFWUMsp::RunSystemTest -> SendSync OK -> SystemTest OK");
            }
            ClosePort();
        } else {
            Target("error", "CFWUMsp::RunSystemTest -> error opening comport");
        }
    }
    Release();
    return result;
}

bool Conversation::Clear() {
    if (!Tristate(1)) {
        Target("error", "CFWUMsp::ClearMSP -> error setting gpio to tristate mode");
        Directions(true);
        return false;
    }
    Value(kReset, true);
    Pause(100'000);
    bool result = false;
    if (Directions(false)) {
        Target("verbose", "StartBSL()");
        Entry();
        Target("verbose", "OpenSerial()");
        if (OpenPort()) {
            Target("verbose", "SendSync()");
            if (Sync()) {
                result = Exchange(loader::Frame(0x18, 0xFF00, 0xA506, {}));
                if (!result) {
                    Target("error", "CFWUMsp::ClearMSP() failed");
                }
            }
            ClosePort();
        } else {
            Target("error", "CFWUMsp::ClearMSP -> error opening comport");
        }
        Release();
    }
    Directions(true);
    return result;
}

bool Conversation::UpdateSession() {
    if (!Sync()) {
        Target("error", "CFWUMsp::UpdateMSP -> error send sync");
        return false;
    }
    if (!Exchange(loader::Frame(0x10, 0, 0, Bytes(32, 0xFF)))) {
        Target("error", "CFWUMsp::UpdateMSP -> error send password");
        return false;
    }
    if (!EraseMain()) {
        Target("error", "CFWUMsp::UpdateMSP -> error Erase Main Flash");
        return false;
    }
    if (!Download()) {
        Target("error", "CFWUMsp::UpdateMSP -> error sending firmware");
        return false;
    }
    return true;
}

bool Conversation::ProgramImage() {
    if (!Tristate(1)) {
        Target("error", "CFWUMsp::UpdateMSP -> Error setting gpio tristate");
        return false;
    }
    Value(kReset, true);
    Pause(100'000);
    if (!Directions(false)) {
        return false;
    }
    Entry();
    bool result = false;
    if (OpenPort()) {
        result = UpdateSession();
        ClosePort();
    } else {
        Target("error", "CFWUMsp::UpdateMSP -> error opening comport");
    }
    Release();
    return result;
}

bool Conversation::Update() {
    Target("info", "CFWUMsp::UpdateMSP -> starting update MSP");
    const bool result = ProgramImage();
    Target("info", "CFWUMsp::UpdateMSP -> finish update MSP");
    return result;
}

bool Conversation::DetectEraseProgram() {
    const auto step = [this](const char* progress, bool (Conversation::*operation)(),
                             const char* failure) {
        Program("verbose", progress);
        if (!(this->*operation)()) {
            Program("error", failure);
            return false;
        }
        return true;
    };
    Export();
    const bool result = step("Detecting MSP...", &Conversation::Detect, "MSP not found") &&
                        step("Erasing MSP...", &Conversation::Clear, "MSP not erased") &&
                        step("Programming MSP...", &Conversation::Update, "MSP not programmed");
    Tristate(0);
    Unexport();
    return result;
}

std::optional<Bytes> Conversation::ReadMessage() {
    const Event& waited = Take("select", kComm);
    if (waited.failed || waited.result <= 0) {
        return std::nullopt;
    }
    const Event& head = Take("read", kComm);
    if (head.failed || head.result != 1) {
        return std::nullopt;
    }
    const std::size_t length = FromText(head.detail).at(0);
    const Event& body = Take("read", kComm);
    if (body.failed || body.result != static_cast<int>(length)) {
        return std::nullopt;
    }
    return FromText(body.detail);
}

bool Conversation::Query(unsigned& version) {
    const Event& request = Take("write", kComm);
    if (request.failed || request.result != 3) {
        return false;
    }
    if (request.detail != "02 b4 00") {
        throw RuleBroken{vboard::Formatted("event {}: not the version request: '{}'", m_next,
                                           Describe(request))};
    }
    while (const auto message = ReadMessage()) {
        if (message->size() >= 3 && message->at(0) == 0xB5) {
            version = message->at(1) * 256U + message->at(2);
            return true;
        }
    }
    return false;
}

bool Conversation::ReadVersion(unsigned& version) {
    version = 0;
    if (Take("open", kComm, "O_RDWR").failed) {
        Program("error", "Error opening MSP for reading version");
        return false;
    }
    if (!Query(version)) {
        Program("warn", "Error reading current version from MSP");
    }
    Pause(500'000);
    static_cast<void>(Take("close", kComm));
    return true;
}

int Conversation::Run() {
    constexpr int kFailure = 255;
    const unsigned wanted = m_image.VersionWord();
    unsigned running = 0;
    Program("info", vboard::Formatted("HEX file version is {}", wanted));
    if (!m_force) {
        if (!ReadVersion(running)) {
            return kFailure;
        }
        Program("info", vboard::Formatted("Current MSP version is {}", running));
        if (running == wanted) {
            Program("info", "Not programming MSP because it's firmware version is already current");
            return 0;
        }
    }
    if (!DetectEraseProgram()) {
        return kFailure;
    }
    Pause(500'000);
    if (!ReadVersion(running)) {
        return kFailure;
    }
    if (running != wanted) {
        Program("error", vboard::Formatted(
                             "New MSP firmware version is {} which does not match hexfile version",
                             running));
        return kFailure;
    }
    Program("verbose", "Success");
    return 0;
}

}  // namespace

Expectation Follow(const std::vector<Event>& recording, const Image& image, bool force) {
    Expectation expectation;
    Conversation conversation(recording, image, force);
    try {
        expectation.status = conversation.Run();
        expectation.complete = true;
        if (!conversation.AllTaken()) {
            expectation.problem = vboard::Formatted(
                "the conversation is over, but there follows '{}'", conversation.NextDescribed());
        }
    } catch (const RecordingEnded&) {
        expectation.complete = false;
    } catch (const RuleBroken& broken) {
        expectation.problem = broken.problem;
    }
    expectation.log = conversation.Lines();
    return expectation;
}

}  // namespace sweeps
