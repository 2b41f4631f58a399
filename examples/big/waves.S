// SPDX-License-Identifier: MIT
//
// The waveforms, computed by the assembler: waveform k (1 to 20) is a sine with its (k + 1)th
// harmonic added at half the strength, in 1024 unsigned 16-bit samples around 32768.
//
// The sine is Bhaskara's approximation in whole numbers, better than 0.2 % of full scale: over a half
// wave of 512 samples, with q = h * (512 - h),
//
//     sin(pi * h / 512) = 4 * q / (327680 - q)
//
// where 327680 is 5 / 4 * 512 * 512.

WAVES   = 20
SAMPLES = 1024

// Sets `result` to strength * sin(2 * pi * turn / SAMPLES); the second half wave is the first one
// with its sign changed.
    .macro  sine result, turn, strength
    .set    half, (\turn) % 512
    .set    q, half * (512 - half)
    .set    \result, (1 - 2 * ((\turn) / 512 % 2)) * (\strength) * 4 * q / (327680 - q)
    .endm

    .section .rodata.waves, "a", @progbits
    .global waves, wavesEnd
    .balign 2
waves:
    .set    k, 1
    .rept   WAVES
    .set    i, 0
    .rept   SAMPLES
    sine    fundamental, i, 20000
    sine    harmonic, i * (k + 1), 10000
    .short  32768 + fundamental + harmonic
    .set    i, i + 1
    .endr
    .set    k, k + 1
    .endr
wavesEnd:
