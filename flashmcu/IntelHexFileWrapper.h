// SPDX-License-Identifier: MIT
#ifndef FLASHMCU_INTELHEXFILEWRAPPER_H
#define FLASHMCU_INTELHEXFILEWRAPPER_H

#include <fstream>
#include <string>

// Reads a firmware image in Intel HEX format, one record at a time; only the text of the current
// record is kept in memory.
//
//   CIntelHexWrapper reader("image.hex");
//   if (reader.Open())
//       while (reader.GetNextData(data, sizeof(data), address, length))
//           ... the first `length` bytes of `data` belong at `address` ...
//   reader.Close();
//
// A record begins at a ':' and ends before the next one; line ends have no meaning. Addresses are
// 16 bits wide. Nothing throws.
//
// Text of a record by character position:
//   0     1-2     3-4        5-6        7-8    9 ...                      then
//   ':'   byLen   byAddrHi   byAddrLo   type   data, two digits a byte    checksum, two digits
class CIntelHexWrapper {
public:
    CIntelHexWrapper();
    explicit CIntelHexWrapper(const std::string& fileName);
    virtual ~CIntelHexWrapper();

    CIntelHexWrapper(const CIntelHexWrapper&) = delete;
    CIntelHexWrapper& operator=(const CIntelHexWrapper&) = delete;

    // Opens `m_fileName` (the second form stores the name first) and starts at its first record.
    // False, with an error line, when the name is empty, the file cannot be opened, or this
    // reader's file is still open.
    [[nodiscard]] bool Open();
    [[nodiscard]] bool Open(const std::string& fileName);

    // Takes the text of the next record into `m_lineBuffer`, rest zeros. False when the file has no
    // more characters, with an error line, and when the text is longer than 1023 characters,
    // without one.
    [[nodiscard]] bool ReadLineToBuffer();

    // Decodes the next record.
    //   data     the caller's buffer of `buffLen` bytes; an absent one has room for none
    //   address  where the record's bytes belong
    //   length   number of bytes put into `data`; 0 for records that carry none
    // True when the record was taken, also when its checksum is wrong (an info line says so). False
    // at the end-of-file record (length 0), when no text could be read, for a type other than 00 to
    // 05 and FF, and for more than `buffLen` data bytes; the last three with a line, and with
    // `length` and `data` left alone.
    [[nodiscard]] bool GetNextData(unsigned char* data, int buffLen, unsigned short& address,
                                   int& length);

    // Closes the file if it is open; after that it can be opened again.
    void Close();

    // Public and in a fixed order: diagnostics look at the reader's state.
    char m_lineBuffer[1024];
    int m_lineLength;            // characters held in m_lineBuffer
    unsigned int m_segmentBase;  // base from the last type 02 record, times 16 already
    int m_lastChar;              // a ':' here opens the next record
    std::ifstream m_file;
    std::string m_fileName;
    unsigned int m_recordNumber;  // GetNextData calls since Open; the "frame" of the messages

private:
    void TakeReadAhead();
    [[nodiscard]] unsigned char ByteAt(int position) const;
    [[nodiscard]] unsigned char Checksum(int byteCount) const;
    void TakeSegment(int byLen);
    [[nodiscard]] bool TakeData(unsigned char* data, int buffLen, int byLen, int& length);
    void LogUnknownType() const;
};

// Finds the image's own version: the 16-bit little-endian word at `location` (its high byte at the
// next address, in 16 bits). True as soon as both bytes have been seen, in records of any order.
// False, with `version` left alone, when the file cannot be opened or ends, or holds a record that
// cannot be taken, before that.
[[nodiscard]] bool GetHexFileVersion(const std::string& fileName, unsigned short location,
                                     unsigned short& version);

#endif
