// SPDX-License-Identifier: MIT
//
// What both example firmwares share with their start-up code and linker script: the few chip
// registers they touch and the version word. Register addresses are those of the MSP430 family's
// 16-bit parts (1xx and 2xx); compare them with the data sheet of your own chip.
#ifndef EXAMPLES_COMMON_FIRMWARE_H
#define EXAMPLES_COMMON_FIRMWARE_H

#include <stdint.h>

// Port 1: a bit set in P1DIR makes the pin an output, its level is the bit in P1OUT.
#define P1OUT (*(volatile uint8_t*)0x0021)
#define P1DIR (*(volatile uint8_t*)0x0022)

// The light hangs on P1.0 and is lit by a high level.
#define LIGHT_PIN ((uint8_t)0x01)

// The 16-bit version of the firmware, which the linker script puts at 0x2100, low byte first. Must
// be used exactly once in a firmware; the link fails otherwise.
#define FIRMWARE_VERSION(number) \
    __attribute__((section(".version"), used)) const uint16_t firmwareVersion = (number)

#endif
