// SPDX-License-Identifier: MIT
#include "vboard/host/TermiosText.h"

#include "vboard/host/LineSettings.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

char ParityLetter(Parity parity) {
    switch (parity) {
        case Parity::kNone:
            return 'N';
        case Parity::kEven:
            return 'E';
        case Parity::kOdd:
            return 'O';
    }
    return '?';
}

}  // namespace

std::string TermiosText(const termios& attributes) {
    const SerialFormat format = FormatOf(attributes);
    const bool raw = attributes.c_lflag == 0 && attributes.c_iflag == 0 && attributes.c_oflag == 0;
    std::string text =
        Formatted("{} {}{}{} {}", format.bitsPerSecond, format.dataBits,
                  ParityLetter(format.parity), format.stopBits,
                  raw ? "raw"
                      : Formatted("iflag={:#o} oflag={:#o} lflag={:#o}", attributes.c_iflag,
                                  attributes.c_oflag, attributes.c_lflag));
    const struct {
        tcflag_t flag;
        const char* name;
    } kFlags[] = {{CREAD, "cread"}, {CLOCAL, "clocal"}, {CRTSCTS, "crtscts"}, {HUPCL, "hupcl"}};
    for (const auto& named : kFlags) {
        if ((attributes.c_cflag & named.flag) != 0) {
            text += Formatted(" {}", named.name);
        }
    }
    return text + Formatted(" vmin={} vtime={}", attributes.c_cc[VMIN], attributes.c_cc[VTIME]);
}

}  // namespace vboard
