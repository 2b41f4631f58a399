// SPDX-License-Identifier: MIT
#ifndef FLASHMCU_MSPBOARDPROFILE_H
#define FLASHMCU_MSPBOARDPROFILE_H

// How one MSP430 is wired to the host: which devices lead to it and which GPIO lines hold its pins.
// The front end fills one record and hands out pointers to it; nobody else copies or changes it.
// The texts are not owned: they are literals or command-line arguments, and outlive the record.
struct MspBoardProfile {
    const char* programmingPort;    // RS232 device of the bootstrap loader's link
    const char* communicationPort;  // device of the version query and of the tristate switch
    const char* resetGpio;  // sysfs GPIO numbers, decimal text, pasted into paths as they are
    const char* rxdNmiGpio;
    const char* tckGpio;
};

#endif
