// SPDX-License-Identifier: MIT
//
// From the reset vector to main: stop the watchdog, set the stack pointer, copy .data out of flash,
// clear .bss. Then the vector table itself. The names with two underscores come from firmware.ld.

WDTCTL  = 0x0120
WDTHOLD = 0x5A80                        // password 0x5A in the high byte, hold in bit 7

    .section .startup, "ax", @progbits
    .global reset_handler
reset_handler:
    mov     #__stack_top, r1
    mov     #WDTHOLD, &WDTCTL           // before the copy, which could outlast the watchdog

    mov     #__data_start, r12
    mov     #__data_load, r13
    jmp     copy_data_test
copy_data:
    mov     @r13+, r14
    mov     r14, 0(r12)
    incd    r12
copy_data_test:
    cmp     #__data_end, r12
    jlo     copy_data

    mov     #__bss_start, r12
    jmp     clear_bss_test
clear_bss:
    mov     #0, 0(r12)
    incd    r12
clear_bss_test:
    cmp     #__bss_end, r12
    jlo     clear_bss

    call    #main

// Where main would return to, and where every interrupt without a handler ends: stay, so that a
// debugger finds the chip at the spot.
default_handler:
    jmp     default_handler

// 16 vectors, 0xFFE0 to 0xFFFE. To serve an interrupt, write its handler's name in its row; which
// row belongs to which peripheral is in the chip's data sheet.
    .section .vectors, "a", @progbits
    .short  default_handler             // 0xFFE0
    .short  default_handler
    .short  default_handler
    .short  default_handler
    .short  default_handler             // 0xFFE8
    .short  default_handler
    .short  default_handler
    .short  default_handler
    .short  default_handler             // 0xFFF0
    .short  default_handler
    .short  default_handler
    .short  default_handler
    .short  default_handler             // 0xFFF8
    .short  default_handler
    .short  default_handler
    .short  reset_handler               // 0xFFFE
