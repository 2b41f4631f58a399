// SPDX-License-Identifier: MIT
#ifndef FLASHMCU_FWU_MSP_H
#define FLASHMCU_FWU_MSP_H

#include <string>

#include "flashmcu/IntelHexFileWrapper.h"
#include "flashmcu/MspBoardProfile.h"

// Controls one MSP430 target: drives its three lines through the sysfs GPIO files, switches the
// board's tristate buffer, brings the chip into its ROM bootstrap loader (BSL) and talks to the
// loader over the programming port.
//
//   CFWUMsp target(&profile);
//   if (target.RunSystemTest() && target.ClearMSP() && target.UpdateMSP("image.hex", password)) ...
//
// The lines, as messages name them: RESET_GPIO (held in reset at 1), RxD_NMI_GPIO and MSP_TCK_GPIO
// (the "BSL lines", inputs at rest). Everything blocks; there is no time-out on the programming
// port. Operations answer true on success and log one line where a failure happens; nothing throws
// and nothing is repeated unless said. One thread at a time.
class CFWUMsp {
public:
    // Exports the three lines and makes RESET_GPIO an output; failures are logged and do not stop
    // construction. `profile` is not owned and must outlive the object.
    explicit CFWUMsp(const MspBoardProfile* profile);

    // Closes the HEX file and the port, switches the tristate off and unexports the lines.
    virtual ~CFWUMsp();

    CFWUMsp(const CFWUMsp&) = delete;
    CFWUMsp& operator=(const CFWUMsp&) = delete;

    // ---- lines ----

    // Writes '1' or '0' to the value file of line `gpio`. False, with a line, when the file cannot
    // be opened.
    bool SetGPIOValue(std::string gpio, bool value);

    // Switches the tristate buffer: 1 cuts the communication device off from the chip, 0 connects
    // it. False, with a line, when the device cannot be opened.
    bool SetGPIOTriState(int state);

    void ExportGPIOs();
    void UnexportGPIOs();

    // Makes MSP_TCK_GPIO, then RxD_NMI_GPIO, an input (true) or an output (false). Stops at the
    // first failure, with a line.
    bool SetGPIODirections(bool input);

    // Lets go of the BSL lines: RxD_NMI_GPIO low, 100 ms, both to input. Always true.
    bool ReleaseGPIOs();

    // Whether `path` can be opened for reading.
    static bool FileExists(const char* path);

    // ---- link ----

    // Opens the programming port, raw, with the given settings. False when it is already open (no
    // line), cannot be opened (a line) or refuses the settings (no line; it is closed again).
    [[nodiscard]] bool OpenSerial(const char* device, unsigned baud, unsigned char dataBits,
                                  bool parity, bool oddParity, bool twoStopBits, bool rtsCts);

    // Closes the port if it is open.
    void CloseSerial();

    // Clears m_frameBuffer and reads into it once. The number of bytes read; 0 also for a closed
    // port and on errors.
    [[nodiscard]] int ReadReply();

    // Writes the first `frameLength` bytes of m_frameBuffer and reads one reply; true when that is
    // exactly the `expectedLength` bytes at `expected`. False for a length that the buffer cannot
    // hold, with nothing written.
    [[nodiscard]] bool SendFrameExpectReply(int frameLength, const unsigned char* expected,
                                            int expectedLength);

    // ---- entry ----

    // Plays the waveform that brings the chip into its loader; 1.05 s. Before it: tristate on,
    // RESET_GPIO high, BSL lines outputs. Always true.
    bool StartBSL();

    // Plays the plain reset; 0.7 s.
    void RestartMSP();

    // ---- session: the port is open and the chip in its loader ----

    // The sync byte out, one DATA_ACK back. False without a line otherwise.
    [[nodiscard]] bool SendSync();

    // Unlocks the loader with 32 bytes, an erased device's when `password` is absent. False without
    // a line when it is not acknowledged.
    [[nodiscard]] bool SendPassword(const unsigned char* password);

    // Writes one block of at most 250 bytes; of an odd one, the byte after it too. False, without a
    // line of its own, when the block is refused or not acknowledged.
    [[nodiscard]] bool WriteDataBlock(const unsigned char* data, int length,
                                      unsigned short address);

    // Erases the main memory in 20 rounds of sync and erase. False, with a line, as soon as an
    // erase is not acknowledged; a failed sync costs only its round.
    [[nodiscard]] bool EraseMainFlashSegment();

    // A session of its own, from lines to version reply. On success both values are written, the
    // port stays open and the lines as they are; both pointers must be valid. After a failure the
    // port is as before the call, and of the lines:
    //   no programming port given        nothing was touched
    //   a direction cannot be set        BSL lines inputs; RESET_GPIO high and the tristate on
    //   anything later                   released; RESET_GPIO low and the tristate off
    [[nodiscard]] bool GetBSLVersion(unsigned short* deviceFamily, unsigned short* bslVersion,
                                     const unsigned char* password);

    // ---- download ----

    // Writes all data records of the opened m_hexReader to the chip, each as one block at its own
    // address: sync, frame, up to three attempts. False when a block failed three times, when the
    // sync before a repeated attempt failed, and when there was no data at all. A block costs two
    // writes and two reads and allocates nothing.
    [[nodiscard]] bool SendFirmwareToMSP();

    // ---- operations: each a whole conversation, port and BSL lines released at its end ----

    // Whether the loader can be reached.
    [[nodiscard]] bool RunSystemTest();

    // Erases the whole flash.
    [[nodiscard]] bool ClearMSP();

    // Unlocks the loader with the 32 bytes at `password`, erases the main memory and writes the HEX
    // file.
    [[nodiscard]] bool UpdateMSP(const std::string& fileName, const unsigned char* password);

    // Public and in a fixed order: diagnostics look at the controller's state.
    const MspBoardProfile* m_profile;
    int m_serialFd;  // the programming port; -1 while closed
    CIntelHexWrapper m_hexReader;
    unsigned char m_frameBuffer[300];  // frames out, replies in
    unsigned char m_dataBuffer[300];   // the block that is being written

private:
    void DriveLine(const char* gpio, bool value, unsigned pauseUs);

    [[nodiscard]] bool HasProgrammingPort() const;
    [[nodiscard]] bool OpenProgrammingPort();
    void ClearFrameBuffer();
    [[nodiscard]] bool SendFrame(int frameLength);
    [[nodiscard]] bool ExchangeFrame(int frameLength);

    void ReleaseAfterBSL();
    [[nodiscard]] bool RequestBSLVersion();
    [[nodiscard]] bool ReceiveBSLVersion(unsigned short* deviceFamily, unsigned short* bslVersion);

    [[nodiscard]] bool EnterAndDetect();
    [[nodiscard]] bool EnterAndMassErase();
    [[nodiscard]] bool MassErase();
    [[nodiscard]] bool PrepareAndProgram(const unsigned char* password);
    [[nodiscard]] bool EnterAndProgram(const unsigned char* password);
    [[nodiscard]] bool ProgramInSession(const unsigned char* password);
};

#endif
