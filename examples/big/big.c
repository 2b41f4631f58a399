// SPDX-License-Identifier: MIT
//
// Lets the light on P1.0 swell and fade along the waveforms of waves.S, one after the other. There
// is no timer involved: a running sum of the samples overflows the more often the larger they are,
// and the light is lit whenever it does.
#include "firmware.h"

FIRMWARE_VERSION(0x1234);

// 20 waveforms of 1024 samples each, back to back; 0 is dark, 65535 full brightness.
extern const uint16_t waves[];
extern const uint16_t wavesEnd[];

// For how many steps one sample is shown; volatile, so that a debugger can change the speed.
static volatile uint16_t stepsPerSample = 64;

static uint16_t brightnessSum;

static void ShowStep(uint16_t sample) {
    const uint16_t before = brightnessSum;
    brightnessSum = (uint16_t)(before + sample);
    if (brightnessSum < before) {
        P1OUT |= LIGHT_PIN;
    } else {
        P1OUT &= (uint8_t)~LIGHT_PIN;
    }
}

int main(void) {
    P1OUT &= (uint8_t)~LIGHT_PIN;
    P1DIR |= LIGHT_PIN;

    for (;;) {
        for (const uint16_t* sample = waves; sample != wavesEnd; ++sample) {
            for (uint16_t step = stepsPerSample; step != 0; --step) {
                ShowStep(*sample);
            }
        }
    }
}
