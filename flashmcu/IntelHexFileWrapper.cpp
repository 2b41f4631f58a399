// SPDX-License-Identifier: MIT
#include "flashmcu/IntelHexFileWrapper.h"

#include <cstring>
#include <optional>
#include <streambuf>
#include <string_view>

#include "flashmcu/Log.h"

namespace {

constexpr const char* kLogPath = "flashmcu/IntelHexFileWrapper";

constexpr int kLineBufferBytes = sizeof(CIntelHexWrapper::m_lineBuffer);
constexpr int kHeaderBytes = 4;  // byLen, byAddrHi, byAddrLo, type
constexpr int kLengthPosition = 1;
constexpr int kAddressHighPosition = 3;
constexpr int kAddressLowPosition = 5;
constexpr int kTypePosition = 7;
constexpr int kDataPosition = 9;
constexpr int kSegmentChecksumPosition = 13;
constexpr int kVersionBufferBytes = 256;

// byLen is one byte, so the farthest digit that is ever decoded lies inside the buffer.
// Oddity (short-record): what a record's text lacks is decoded from the buffer's zeros, as 0xD0.
static_assert(kDataPosition + 2 * 255 + 2 <= kLineBufferBytes);

int DigitValue(char digit) {
    const int code = static_cast<unsigned char>(digit);
    // Oddity (lower-case-digits): only 0-9 and A-F are converted as one expects; 'a' to 'f' give 42
    // to 47 and other characters other numbers, and nothing is reported.
    return code < 58 ? code - 48 : code - 55;
}

// Oddity (raw-message-bytes): messages show bytes as one raw character each, not as numbers.
std::string Raw(unsigned char byte) {
    return std::string(1, static_cast<char>(byte));
}

// What a stream has read ahead, which its buffer shows to its descendants alone.
class ReadAhead : public std::streambuf {
public:
    static std::string_view Of(const std::streambuf& buffer) {
        const char* begin = (buffer.*&ReadAhead::gptr)();
        return {begin, static_cast<std::size_t>((buffer.*&ReadAhead::egptr)() - begin)};
    }
    static void Drop(std::streambuf& buffer, std::size_t count) {
        (buffer.*&ReadAhead::gbump)(static_cast<int>(count));
    }
};

// Where the byte of `address` lies in a record of `length` bytes from `start` on; nothing if it is
// not part of it.
std::optional<int> OffsetInRecord(unsigned short address, unsigned short start, int length) {
    const int offset = address - start;
    if (offset < 0 || offset >= length) {
        return std::nullopt;
    }
    return offset;
}

}  // namespace

CIntelHexWrapper::CIntelHexWrapper() : CIntelHexWrapper(std::string()) {}

CIntelHexWrapper::CIntelHexWrapper(const std::string& fileName)
    : m_lineBuffer{},
      m_lineLength(0),
      m_segmentBase(0),
      m_lastChar(0),
      m_fileName(fileName),
      m_recordNumber(0) {}

CIntelHexWrapper::~CIntelHexWrapper() {
    Close();
}

bool CIntelHexWrapper::Open() {
    m_lastChar = 0;
    m_recordNumber = 0;
    m_segmentBase = 0;
    if (m_fileName.empty()) {
        LogLine(kLogPath, __LINE__, kLogError, "CIntelHexWrapper::Open Error empty filename ");
        return false;
    }
    // Oddity (second-open): with the file still open this fails, and the reader cannot read on
    // either until Close and Open.
    m_file.open(m_fileName, std::ios::in);
    if (m_file.good()) {
        return true;
    }
    LogLine(kLogPath, __LINE__, kLogError, "CIntelHexWrapper::Open failed to open " + m_fileName);
    return false;
}

bool CIntelHexWrapper::Open(const std::string& fileName) {
    m_fileName = fileName;
    return Open();
}

bool CIntelHexWrapper::ReadLineToBuffer() {
    std::memset(m_lineBuffer, 0, sizeof(m_lineBuffer));
    m_lineLength = 0;
    if (m_lastChar == ':') {
        m_lineBuffer[m_lineLength++] = ':';
    }

    bool anyRead = false;
    for (int next = m_file.get(); !m_file.fail(); next = m_file.get()) {
        m_lastChar = next;
        anyRead = true;
        // Oddity (text-before-mark): text before the file's first ':' is a record like any other.
        if (next == ':' && m_lineLength > 0) {
            return true;
        }
        if (m_lineLength == kLineBufferBytes - 1) {
            return false;
        }
        m_lineBuffer[m_lineLength++] = static_cast<char>(next);
        TakeReadAhead();
    }

    // Oddity (lone-mark): a ':' at the very end of the file is a record of its own, after this
    // line.
    if (!anyRead) {
        LogLine(kLogPath, __LINE__, kLogError,
                "CIntelHexWrapper::ReadLineToBuffer() Error reading char from file.");
    }
    return m_lineLength > 0;
}

// Takes the characters of the record that the stream has read ahead, all at once: one by one with
// get() they are most of what reading costs. What comes behind them (the mark, the end, one
// character too many) is left to get(), so that the stream is in the state in which get() leaves
// it.
void CIntelHexWrapper::TakeReadAhead() {
    std::streambuf& buffer = *static_cast<std::ios&>(m_file).rdbuf();
    std::string_view text = ReadAhead::Of(buffer);
    text = text.substr(0, static_cast<std::size_t>(kLineBufferBytes - 1 - m_lineLength));
    text = text.substr(0, text.find(':'));
    if (!text.empty()) {
        std::memcpy(m_lineBuffer + m_lineLength, text.data(), text.size());
        m_lineLength += static_cast<int>(text.size());
        m_lastChar = static_cast<unsigned char>(text.back());
        ReadAhead::Drop(buffer, text.size());
    }
}

bool CIntelHexWrapper::GetNextData(unsigned char* data, int buffLen, unsigned short& address,
                                   int& length) {
    ++m_recordNumber;
    if (!ReadLineToBuffer()) {
        LogLine(kLogPath, __LINE__, kLogError,
                "CIntelHexWrapper::GetNextData() ReadLineToBuffer failed ");
        return false;
    }

    // Oddity (address-wraps): addresses are cut to 16 bits, so a record above 64 KiB is delivered
    // at its address modulo 65536.
    address = static_cast<unsigned short>(m_segmentBase + ByteAt(kAddressHighPosition) * 256U +
                                          ByteAt(kAddressLowPosition));
    const int byLen = ByteAt(kLengthPosition);
    switch (ByteAt(kTypePosition)) {
        case 0x00:
            return TakeData(data, buffLen, byLen, length);
        case 0x01:
            // Oddity (end-looks-like-failure): the proper end gives false as every error does;
            // callers cannot tell them apart.
            length = 0;
            return false;
        case 0x02:
            TakeSegment(byLen);
            length = 0;
            return true;
        case 0x03:
        case 0x04:
        case 0x05:
        case 0xFF:
            // Oddity (linear-address-skipped): extended linear addresses (04) change nothing.
            length = 0;
            return true;
        default:
            LogUnknownType();
            return false;
    }
}

void CIntelHexWrapper::Close() {
    if (m_file.is_open()) {
        m_file.close();
    }
}

unsigned char CIntelHexWrapper::ByteAt(int position) const {
    return static_cast<unsigned char>(DigitValue(m_lineBuffer[position]) * 16 +
                                      DigitValue(m_lineBuffer[position + 1]));
}

// What the checksum of a record with `byteCount` bytes before it should be.
unsigned char CIntelHexWrapper::Checksum(int byteCount) const {
    int sum = 0;
    for (int index = 0; index < byteCount; ++index) {
        sum += ByteAt(kLengthPosition + 2 * index);
    }
    return static_cast<unsigned char>(-sum);
}

void CIntelHexWrapper::TakeSegment(int byLen) {
    m_segmentBase = (ByteAt(kDataPosition) * 256U + ByteAt(kDataPosition + 2)) * 16U;

    // Oddity (segment-checksum-place): the checksum is looked for behind two data bytes, whatever
    // length the record states.
    const unsigned char expected = ByteAt(kSegmentChecksumPosition);
    const unsigned char calculated = Checksum(byLen + kHeaderBytes);
    if (expected != calculated) {
        // Oddity (rectyp-spelling): "RecTyp" here, "RecType" in all other messages.
        LogLine(kLogPath, __LINE__, kLogInfo,
                "CIntelHexWrapper::GetNextData - > Checksum Error RecTyp 02 frame: " +
                    std::to_string(m_recordNumber) + " expected: " + Raw(expected) +
                    " calculated: " + Raw(calculated));
    }
}

bool CIntelHexWrapper::TakeData(unsigned char* data, int buffLen, int byLen, int& length) {
    const bool fits = byLen <= buffLen && (data != nullptr || byLen == 0);
    // The sum is taken along with the data: decoding is what most of a download's work is.
    unsigned char calculated = Checksum(fits ? kHeaderBytes : byLen + kHeaderBytes);
    if (fits) {
        for (int index = 0; index < byLen; ++index) {
            data[index] = ByteAt(kDataPosition + 2 * index);
            calculated = static_cast<unsigned char>(calculated - data[index]);
        }
        length = byLen;
    } else {
        // Oddity (overlong-record-text): the message states the opposite of the fault.
        LogLine(kLogPath, __LINE__, kLogInfo,
                "CIntelHexWrapper::GetNextData - > Error RecType 00 frame: " +
                    std::to_string(m_recordNumber) + "  byLen <= buffLen ");
    }

    // Oddity (overlong-record-checksum): for a record that does not fit, the checksum is taken from
    // where its data begins, so a checksum message usually follows.
    const unsigned char expected = ByteAt(fits ? kDataPosition + 2 * byLen : kDataPosition);
    if (expected != calculated) {
        // Oddity (wrong-checksum-accepted): the record is used all the same; only this line tells.
        LogLine(kLogPath, __LINE__, kLogInfo,
                "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 frame: " +
                    std::to_string(m_recordNumber) + " expected: " + Raw(expected) +
                    " calculated: " + Raw(calculated));
    }
    return fits;
}

void CIntelHexWrapper::LogUnknownType() const {
    // Oddity (fatal-at-info): a record that ends all reading (this one, an overlong one) is no
    // error line, only an info line.
    LogLine(kLogPath, __LINE__, kLogInfo,
            "CIntelHexWrapper::GetNextData - > Unknown RecType " + Raw(ByteAt(kTypePosition)) +
                " frame: " + std::to_string(m_recordNumber) + " byLen " +
                Raw(ByteAt(kLengthPosition)) + " byAddrHi " + Raw(ByteAt(kAddressHighPosition)) +
                " byAddrLo " + Raw(ByteAt(kAddressLowPosition)));
}

bool GetHexFileVersion(const std::string& fileName, unsigned short location,
                       unsigned short& version) {
    CIntelHexWrapper reader(fileName);
    if (!reader.Open()) {
        return false;
    }

    const auto highLocation = static_cast<unsigned short>(location + 1);
    std::optional<unsigned char> low;
    std::optional<unsigned char> high;
    unsigned char data[kVersionBufferBytes];
    unsigned short address = 0;
    int length = 0;
    while (reader.GetNextData(data, kVersionBufferBytes, address, length)) {
        if (const auto offset = OffsetInRecord(location, address, length)) {
            low = data[*offset];
        }
        if (const auto offset = OffsetInRecord(highLocation, address, length)) {
            high = data[*offset];
        }
        if (low && high) {
            version = static_cast<unsigned short>(*low + *high * 256);
            return true;
        }
    }
    return false;
}
