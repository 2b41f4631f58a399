// SPDX-License-Identifier: MIT
#include "guard/link/Lines.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

#include "guard/link/Clock.h"
#include "guard/link/SmallFile.h"

namespace guard {
namespace {

using std::chrono_literals::operator""ms;

constexpr int kLineTries = 3;
constexpr Milliseconds kSettle = 100ms;
constexpr Milliseconds kHold = 500ms;

constexpr const char* kFolder = "/sys/class/gpio";

std::string PathOf(const std::string& gpio, const char* file) {
    return std::string(kFolder) + "/gpio" + gpio + "/" + file;
}

}  // namespace

Lines::Lines(Target& target)
    : m_target(target),
      m_gpios{target.TheBoard().resetGpio, target.TheBoard().rxdNmiGpio,
              target.TheBoard().tckGpio} {}

bool Lines::Fail(std::string problem) {
    m_problem = std::move(problem);
    return false;
}

bool Lines::Exported(const std::string& gpio) {
    return access(PathOf(gpio, "direction").c_str(), F_OK) == 0;
}

// The controller exports through stdio, which writes the rest of a number by itself where the
// kernel takes a part of it: "86" then exports 8 and 6.
void Lines::NoteStrangers() {
    if (m_target.Made()) {
        return;
    }
    for (const std::string& gpio : m_gpios) {
        for (std::size_t cut = 1; cut < gpio.size(); ++cut) {
            for (const std::string& part : {gpio.substr(0, cut), gpio.substr(cut)}) {
                if (!Exported(part)) {
                    m_strangers.push_back(part);
                }
            }
        }
    }
}

bool Lines::ExportAll() {
    for (int round = 0; round < kLineTries; ++round) {
        const auto missing = std::find_if(m_gpios.begin(), m_gpios.end(),
                                          [](const auto& gpio) { return !Exported(gpio); });
        if (missing == m_gpios.end()) {
            return true;
        }
        if (!WriteSmallFile(std::string(kFolder) + "/export", *missing)) {
            m_problem = "GPIO line " + *missing + " cannot be exported";
        }
    }
    return std::all_of(m_gpios.begin(), m_gpios.end(), Exported);
}

bool Lines::AllAre(const std::string& direction) const {
    return std::all_of(m_gpios.begin(), m_gpios.end(), [&direction](const auto& gpio) {
        return ReadSmallFile(PathOf(gpio, "direction")) == direction;
    });
}

// Tristate on, chip held, lines driven.
bool Lines::Prepare() {
    NoteStrangers();
    CFWUMsp& controller = m_target.Controller();
    if (!ExportAll()) {
        return false;
    }
    const auto& communication = m_target.TheBoard().communication;
    if (communication && !controller.SetGPIOTriState(1)) {
        return Fail("the communication device " + *communication + " cannot be opened");
    }
    m_driven = true;
    if (ReadSmallFile(PathOf(m_gpios[0], "direction")) != "out") {
        (void)WriteSmallFile(PathOf(m_gpios[0], "direction"), "out");
    }
    (void)controller.SetGPIOValue(m_gpios[0], true);
    Pause(kSettle);
    if (!controller.SetGPIODirections(false) || !AllAre("out")) {
        return Fail("a GPIO line among " + m_gpios[0] + ", " + m_gpios[1] + " and " + m_gpios[2] +
                    " does not become an output");
    }
    return true;
}

bool Lines::EnterLoader() {
    for (int round = 0; round < kLineTries; ++round) {
        if (Prepare()) {
            return m_target.Controller().StartBSL();
        }
    }
    return false;
}

bool Lines::StartFirmware(bool hard) {
    CFWUMsp& controller = m_target.Controller();
    bool free = false;
    for (int round = 0; round < kLineTries && !free; ++round) {
        if (hard) {
            (void)WriteSmallFile(PathOf(m_gpios[0], "direction"), "high");
            Pause(kHold);
        }
        (void)controller.SetGPIOValue(m_gpios[0], false);
        // Also after an entry that was cut short, with one of the lines still an input.
        (void)controller.SetGPIODirections(false);
        (void)controller.ReleaseGPIOs();
        (void)controller.SetGPIOTriState(0);
        (void)WriteSmallFile(PathOf(m_gpios[0], "direction"), "in");
        free = AllAre("in");
    }
    m_driven = !free;
    return free;
}

bool Lines::UnexportAll() {
    m_strangers.insert(m_strangers.end(), m_gpios.begin(), m_gpios.end());
    for (int round = 0; round < kLineTries; ++round) {
        for (const std::string& gpio : m_strangers) {
            if (Exported(gpio)) {
                (void)WriteSmallFile(std::string(kFolder) + "/unexport", gpio);
            }
        }
    }
    return std::none_of(m_gpios.begin(), m_gpios.end(), Exported);
}

bool Lines::Free() {
    if (!m_target.Made()) {
        return true;
    }
    const bool released = !m_driven || StartFirmware(false);
    m_target.Drop();
    return UnexportAll() && released;
}

bool Lines::LetGo() {
    NoteStrangers();
    (void)m_target.Controller();
    m_driven = true;
    const bool exported = ExportAll();
    return Free() && exported;
}

}  // namespace guard
