// SPDX-License-Identifier: MIT
//
// Blinks the light on P1.0: seven short flashes, then a long one, for ever.
#include "firmware.h"

FIRMWARE_VERSION(0x1234);

// Turns of the delay loop while the light keeps its state; some 0.3 s at the chip's start-up clock
// of about 1 MHz. Volatile, so that a debugger can change it while the light blinks.
static volatile uint16_t flashLoops = 20000;

static uint8_t flashCount;

static void Wait(uint16_t loops) {
    for (volatile uint16_t left = loops; left != 0; --left) {
    }
}

int main(void) {
    P1OUT &= (uint8_t)~LIGHT_PIN;
    P1DIR |= LIGHT_PIN;

    for (;;) {
        P1OUT ^= LIGHT_PIN;
        Wait(flashLoops);
        if ((++flashCount & 0x0F) == 0x0F) {
            Wait(flashLoops);
            Wait(flashLoops);
        }
    }
}
