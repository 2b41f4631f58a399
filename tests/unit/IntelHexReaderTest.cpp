// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <string>
#include <type_traits>
#include <vector>

#include "flashmcu/IntelHexFileWrapper.h"
#include "tests/support/Expected.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/HexText.h"
#include "tests/support/ScriptedHost.h"
#include "tests/support/TempFolder.h"
#include "tests/unit/ClassLayout.h"
#include "tests/unit/ReaderLog.h"

using reader_log::kEndOfText;
using reader_log::kLineFailed;
using reader_log::kReadError;
using reader_log::Said;

namespace {

constexpr int kUntouchedLength = -77;

// A reader of a file with this text, the host that hears its lines, and the record read last.
class IntelHexReader : public testing::Test {
protected:
    void Read(const std::string& text) {
        m_fileName = m_folder.WriteFile("image.hex", text);
        ASSERT_TRUE(m_reader.Open(m_fileName));
    }

    bool Next(int bufferLength = 250) {
        m_length = kUntouchedLength;
        m_data = GuardedBuffer(300);
        return m_reader.GetNextData(m_data.Data(), bufferLength, m_address, m_length);
    }

    // The next record is taken and carries exactly this.
    void ExpectData(std::uint16_t address, const Bytes& data) {
        ASSERT_TRUE(Next());
        EXPECT_EQ(m_address, address);
        EXPECT_EQ(m_length, static_cast<int>(data.size()));
        EXPECT_EQ(ToText(m_data.First(static_cast<int>(data.size()))), ToText(data));
        EXPECT_TRUE(m_data.UntouchedBut(static_cast<int>(data.size())));
    }

    void ExpectNoData() {
        EXPECT_TRUE(Next());
        EXPECT_EQ(m_length, 0);
        EXPECT_TRUE(m_data.Untouched());
    }

    void ExpectEndOfFileRecord() {
        EXPECT_FALSE(Next());
        EXPECT_EQ(m_length, 0);
        EXPECT_TRUE(m_data.Untouched());
    }

    [[nodiscard]] std::string Conversation() { return m_host.Conversation(); }

    TempFolder m_folder;
    ScriptedHost m_host;
    std::string m_fileName;
    CIntelHexWrapper m_reader;
    GuardedBuffer m_data{300};
    unsigned short m_address = 0xBEEF;
    int m_length = kUntouchedLength;
};

}  // namespace

TEST_F(IntelHexReader, StartsWithZeroCountersAndAZeroBuffer) {
    const CIntelHexWrapper named("image.hex");
    for (const CIntelHexWrapper* reader : std::vector<const CIntelHexWrapper*>{&m_reader, &named}) {
        EXPECT_EQ(reader->m_lineLength, 0);
        EXPECT_EQ(reader->m_segmentBase, 0U);
        EXPECT_EQ(reader->m_lastChar, 0);
        EXPECT_EQ(reader->m_recordNumber, 0U);
        EXPECT_EQ(std::string(reader->m_lineBuffer, sizeof(reader->m_lineBuffer)),
                  std::string(1024, '\0'));
    }
    EXPECT_EQ(m_reader.m_fileName, "");
    EXPECT_EQ(named.m_fileName, "image.hex");
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, HasAVirtualDestructorAndItsFieldsInOrder) {
    EXPECT_TRUE(std::has_virtual_destructor_v<CIntelHexWrapper>);
    const std::vector<const void*> fields{m_reader.m_lineBuffer,   &m_reader.m_lineLength,
                                          &m_reader.m_segmentBase, &m_reader.m_lastChar,
                                          &m_reader.m_file,        &m_reader.m_fileName,
                                          &m_reader.m_recordNumber};
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
}

TEST_F(IntelHexReader, HasTheFieldsThatItsUsersWereCompiledWith) {
    EXPECT_TRUE(layout::HasNoBase<CIntelHexWrapper>());
    EXPECT_EQ(layout::VirtualEntries<CIntelHexWrapper>(), 2U);
    static_assert(std::is_same_v<decltype(CIntelHexWrapper::m_lineBuffer), char[1024]>);
    static_assert(std::is_same_v<decltype(CIntelHexWrapper::m_lineLength), int>);
    static_assert(std::is_same_v<decltype(CIntelHexWrapper::m_segmentBase), unsigned int>);
    static_assert(std::is_same_v<decltype(CIntelHexWrapper::m_lastChar), int>);
    static_assert(std::is_same_v<decltype(CIntelHexWrapper::m_file), std::ifstream>);
    static_assert(std::is_same_v<decltype(CIntelHexWrapper::m_fileName), std::string>);
    static_assert(std::is_same_v<decltype(CIntelHexWrapper::m_recordNumber), unsigned int>);
}

TEST_F(IntelHexReader, ReadsTheFileNamedInTheConstructor) {
    const std::string name = m_folder.WriteFile("named.hex", hex::Data(0x2100, {1, 2}));
    CIntelHexWrapper reader(name);
    ASSERT_TRUE(reader.Open());
    EXPECT_TRUE(reader.GetNextData(m_data.Data(), 250, m_address, m_length));
    EXPECT_EQ(m_address, 0x2100);
    EXPECT_EQ(m_length, 2);
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, OpenWithANameKeepsTheName) {
    Read(hex::EndOfFile());
    EXPECT_EQ(m_reader.m_fileName, m_fileName);
}

TEST_F(IntelHexReader, OpenStartsTheReadingStateAnew) {
    m_reader.m_lastChar = ':';
    m_reader.m_recordNumber = 12;
    m_reader.m_segmentBase = 0x10000;
    Read(hex::EndOfFile());
    EXPECT_EQ(m_reader.m_lastChar, 0);
    EXPECT_EQ(m_reader.m_recordNumber, 0U);
    EXPECT_EQ(m_reader.m_segmentBase, 0U);
}

TEST_F(IntelHexReader, OpenWithoutANameFailsWithALine) {
    m_reader.m_lastChar = ':';
    m_reader.m_recordNumber = 12;
    m_reader.m_segmentBase = 0x10000;
    EXPECT_FALSE(m_reader.Open());
    EXPECT_EQ(m_reader.m_lastChar, 0);
    EXPECT_EQ(m_reader.m_recordNumber, 0U);
    EXPECT_EQ(m_reader.m_segmentBase, 0U);
    EXPECT_FALSE(m_reader.Open(""));
    const std::string line = Said("error", "CIntelHexWrapper::Open Error empty filename ");
    EXPECT_EQ(Conversation(), line + line);
}

TEST_F(IntelHexReader, OpenOfAMissingFileFailsWithItsName) {
    const std::string name = m_folder.PathOf("missing.hex");
    EXPECT_FALSE(m_reader.Open(name));
    EXPECT_EQ(Conversation(), Said("error", "CIntelHexWrapper::Open failed to open " + name));
}

TEST_F(IntelHexReader, AMessageOfThousandsOfCharactersIsWhole) {
    const std::string name = "/" + std::string(5000, 'x');
    CIntelHexWrapper reader(name);
    EXPECT_FALSE(reader.Open());
    EXPECT_EQ(Conversation(), Said("error", "CIntelHexWrapper::Open failed to open " + name));
}

TEST_F(IntelHexReader, OpenOfAnOpenReaderFailsAsIfTheFileWereMissing) {
    Read(hex::EndOfFile());
    EXPECT_FALSE(m_reader.Open());
    EXPECT_EQ(Conversation(), Said("error", "CIntelHexWrapper::Open failed to open " + m_fileName));
}

TEST_F(IntelHexReader, CanBeClosedAndReadAgainFromTheStart) {
    Read(hex::Segment(0x1234) + hex::Data(0x0010, {7}));
    ExpectNoData();
    ExpectData(0x2350, {7});
    EXPECT_FALSE(Next());
    m_reader.Close();
    m_host.Forget();
    ASSERT_TRUE(m_reader.Open());
    ExpectNoData();
    ExpectData(0x2350, {7});
    EXPECT_EQ(m_reader.m_recordNumber, 2U);
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, ClosesItsFileByCloseAndByItsEnd) {
    const std::string name = m_folder.WriteFile("image.hex", hex::EndOfFile());
    m_host.WatchesImage(name);
    EXPECT_TRUE(m_reader.Open(name));
    EXPECT_EQ(Conversation(), "image opened\n");
    m_reader.Close();
    EXPECT_EQ(Conversation(), "image opened\nimage closed\n");
    m_reader.Close();
    m_host.Forget();
    {
        CIntelHexWrapper another(name);
        EXPECT_TRUE(another.Open());
        EXPECT_EQ(Conversation(), "image opened\n");
    }
    EXPECT_EQ(Conversation(), "image opened\nimage closed\n");
}

TEST_F(IntelHexReader, TakesRecordsWhateverLiesBetweenThem) {
    const std::string first = hex::Data(0x2100, {0x34, 0x12, 0xFF});
    const std::string second = hex::Data(0x2103, {0x00, 0x9A});
    for (const std::string separator : {"\n", "\r\n", "", " \t \r\r\n\n", "; a remark\n"}) {
        const auto without = [](std::string line) { return line.substr(0, line.size() - 1); };
        Read(without(first) + separator + without(second) + separator + without(hex::EndOfFile()) +
             separator);
        ExpectData(0x2100, {0x34, 0x12, 0xFF});
        ExpectData(0x2103, {0x00, 0x9A});
        ExpectEndOfFileRecord();
        m_reader.Close();
    }
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, KeepsTheTextOfTheRecordUpToTheNextColon) {
    const std::string first = ":0221000034128B \r\n";
    Read(first + ":00000001FF");
    EXPECT_TRUE(m_reader.ReadLineToBuffer());
    EXPECT_EQ(m_reader.m_lineLength, static_cast<int>(first.size()));
    EXPECT_EQ(std::string(m_reader.m_lineBuffer, 1024),
              first + std::string(1024 - first.size(), '\0'));
    EXPECT_EQ(m_reader.m_lastChar, ':');
    EXPECT_TRUE(m_reader.ReadLineToBuffer());
    EXPECT_EQ(m_reader.m_lineLength, 11);
    EXPECT_EQ(std::string(m_reader.m_lineBuffer, 1024),
              ":00000001FF" + std::string(1024 - 11, '\0'));
    EXPECT_EQ(Conversation(), "");
    EXPECT_FALSE(m_reader.ReadLineToBuffer());
    EXPECT_EQ(m_reader.m_lineLength, 0);
    EXPECT_EQ(Conversation(), kReadError);
}

TEST_F(IntelHexReader, LeavesNothingOfALongRecordBehindAShortOne) {
    Read(hex::Data(0x2100, Repeat(0x5A, 255)) + std::string(400, ' ') + ":00000001FF");
    EXPECT_TRUE(Next(255));
    EXPECT_EQ(m_length, 255);
    EXPECT_TRUE(m_reader.ReadLineToBuffer());
    EXPECT_EQ(std::string(m_reader.m_lineBuffer, 1024),
              ":00000001FF" + std::string(1024 - 11, '\0'));
}

TEST_F(IntelHexReader, CountsEveryCallAsAFrame) {
    Read(hex::Data(0, {1}) + hex::Segment(0) + hex::EndOfFile());
    for (unsigned frame = 1; frame <= 5; ++frame) {
        EXPECT_EQ(Next(), frame < 3);
        EXPECT_EQ(m_reader.m_recordNumber, frame);
    }
}

TEST_F(IntelHexReader, TheCallAfterTheLastRecordFailsWithBothLines) {
    Read(hex::Data(0x2100, {1}));
    ExpectData(0x2100, {1});
    EXPECT_FALSE(Next());
    EXPECT_EQ(m_length, kUntouchedLength);
    EXPECT_TRUE(m_data.Untouched());
    EXPECT_EQ(Conversation(), kEndOfText);
}

TEST_F(IntelHexReader, AnEmptyFileFailsWithBothLines) {
    Read("");
    EXPECT_FALSE(Next());
    EXPECT_EQ(m_length, kUntouchedLength);
    EXPECT_EQ(Conversation(), kEndOfText);
}

TEST_F(IntelHexReader, AReaderThatWasNeverOpenedFailsWithBothLines) {
    EXPECT_FALSE(Next());
    EXPECT_EQ(Conversation(), kEndOfText);
}

TEST_F(IntelHexReader, TheEndOfFileRecordEndsTheDataInSilence) {
    Read(hex::Record(0x01, 0x1234, {}));
    ExpectEndOfFileRecord();
    EXPECT_EQ(m_address, 0x1234);
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, SkipsTheRecordTypesThatCarryNoDataForUs) {
    Read(hex::Record(0x03, 0x1111, {0, 0, 0, 1}) + hex::Record(0x04, 0x2222, {0x00, 0x01}) +
         hex::Record(0x05, 0x3333, {0, 0, 0x21, 0x00}) + hex::Record(0xFF, 0x4444, {1, 2, 3}) +
         hex::Data(0x2100, {9}));
    for (const int address : {0x1111, 0x2222, 0x3333, 0x4444}) {
        ExpectNoData();
        EXPECT_EQ(m_address, address);
    }
    ExpectData(0x2100, {9});
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, SkippedRecordsAreNotCheckedAgainstTheirChecksum) {
    Read(":0200000400010\n:02000004000100\n:0400000500002100D1\n:00000003FF\n:000000FF77\n");
    for (int record = 0; record < 5; ++record) {
        ExpectNoData();
    }
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, ADataRecordOfNoBytesIsTaken) {
    Read(hex::Data(0x2100, {}));
    ExpectNoData();
    EXPECT_EQ(m_address, 0x2100);
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, EveryByteValueComesThrough) {
    Bytes low;
    for (int value = 0; value < 250; ++value) {
        low.push_back(static_cast<std::uint8_t>(value));
    }
    const Bytes high{250, 251, 252, 253, 254, 255};
    Read(hex::Data(0x0000, low) + hex::Data(0xFFFF, high));
    ExpectData(0x0000, low);
    ExpectData(0xFFFF, high);
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, ASegmentRecordMovesTheFollowingAddressesKeptTo16Bits) {
    Read(hex::Segment(0x1000) + hex::Data(0x2100, {1}) + hex::Segment(0x0123) +
         hex::Data(0x2100, {2}) + hex::Segment(0xFFFF) + hex::Data(0xFFFF, {3}) + hex::Segment(0) +
         hex::Data(0x2100, {4}));
    ExpectNoData();
    EXPECT_EQ(m_reader.m_segmentBase, 0x10000U);
    ExpectData(0x2100, {1});
    ExpectNoData();
    EXPECT_EQ(m_reader.m_segmentBase, 0x1230U);
    ExpectData(0x3330, {2});
    ExpectNoData();
    EXPECT_EQ(m_reader.m_segmentBase, 0xFFFF0U);
    ExpectData(0xFFEF, {3});
    ExpectNoData();
    ExpectData(0x2100, {4});
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, ASegmentRecordWithAWrongChecksumStillCountsAfterALine) {
    Read(hex::Data(0, {}) + ":020000021000AB\n" + hex::Data(0x2100, {1}));
    ExpectNoData();
    ExpectNoData();
    EXPECT_EQ(m_reader.m_segmentBase, 0x10000U);
    ExpectData(0x2100, {1});
    EXPECT_EQ(Conversation(),
              Said("info",
                   "CIntelHexWrapper::GetNextData - > Checksum Error RecTyp 02 frame: 2 expected: "
                   "\\xAB calculated: \\xEC"));
}

TEST_F(IntelHexReader, ASegmentRecordOfFourBytesIsCheckedAtTheFixedPlaceOverAllItsBytes) {
    // The sum of all bytes is 4 + 2 + 0x12 + 0x34 + 0x56 + 0x78 = 0x11A; 0x56 stands at 13-14.
    Read(":0400000212345678E6\n");
    ExpectNoData();
    EXPECT_EQ(m_reader.m_segmentBase, 0x12340U);
    EXPECT_EQ(Conversation(),
              Said("info",
                   "CIntelHexWrapper::GetNextData - > Checksum Error RecTyp 02 frame: 1 expected: "
                   "V calculated: \\xE6"));
}

TEST_F(IntelHexReader, ASegmentRecordOfNoBytesTakesWhatStandsInTheBuffer) {
    // The bytes at the places of data and checksum: "FE", a line feed with a zero, two zeros.
    Read(":00000002FE\n");
    ExpectNoData();
    EXPECT_EQ(m_reader.m_segmentBase, 0xFE700U);
    EXPECT_EQ(Conversation(),
              Said("info",
                   "CIntelHexWrapper::GetNextData - > Checksum Error RecTyp 02 frame: 1 expected: "
                   "\\xD0 calculated: \\xFE"));
}

TEST_F(IntelHexReader, ADataRecordWithAWrongChecksumIsDeliveredAfterALine) {
    Read(hex::Data(0x2000, {}) + hex::DataWithChecksum(0x2100, {0x01, 0x02}, 0x42));
    ExpectNoData();
    ExpectData(0x2100, {0x01, 0x02});
    EXPECT_EQ(Conversation(),
              Said("info",
                   "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 frame: 2 expected: "
                   "B calculated: \\xDA"));
}

TEST_F(IntelHexReader, AZeroChecksumByteEndsThePrintedMessage) {
    Read(hex::DataWithChecksum(0x2100, {0x01, 0x02}, 0x00));
    ExpectData(0x2100, {0x01, 0x02});
    EXPECT_EQ(Conversation(), Said("info",
                                   "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 "
                                   "frame: 1 expected: "));
}

TEST_F(IntelHexReader, EveryWrongChecksumByteIsNoticed) {
    const std::uint8_t right = hex::Checksum(0, 0x2100, {0xAA});
    for (int stored = 0; stored < 256; ++stored) {
        Read(hex::DataWithChecksum(0x2100, {0xAA}, static_cast<std::uint8_t>(stored)));
        ExpectData(0x2100, {0xAA});
        m_reader.Close();
        EXPECT_EQ(Conversation().empty(), stored == right) << stored;
        m_host.Forget();
    }
}

TEST_F(IntelHexReader, AnUnknownTypeIsRejectedWithItsBytesAsRawCharacters) {
    Read(hex::Data(0, {}) + hex::Record(0x0A, 0x4142, Repeat(0x55, 0x43)));
    ExpectNoData();
    EXPECT_FALSE(Next());
    EXPECT_EQ(m_length, kUntouchedLength);
    EXPECT_EQ(m_address, 0x4142);
    EXPECT_TRUE(m_data.Untouched());
    EXPECT_EQ(Conversation(),
              Said("info",
                   "CIntelHexWrapper::GetNextData - > Unknown RecType \\x0A frame: 2 byLen C "
                   "byAddrHi A byAddrLo B"));
}

TEST_F(IntelHexReader, EveryTypeButTheKnownSevenIsRejected) {
    for (int type = 0; type < 256; ++type) {
        Read(hex::Record(static_cast<std::uint8_t>(type), 0x2100, {0x00, 0x00}));
        const bool taken = type == 0 || (type >= 2 && type <= 5) || type == 0xFF;
        EXPECT_EQ(Next(), taken) << type;
        EXPECT_EQ(Conversation().empty(), taken || type == 1) << type;
        m_reader.Close();
        m_host.Forget();
    }
}

TEST_F(IntelHexReader, ADataRecordLongerThanTheBufferFailsWithoutTouchingIt) {
    const Bytes data = Repeat(0x11, 32);
    // The checksum place of a record without data holds the first data byte, 0x11; the sum over
    // the whole text is 0x20 + 0x21 + 32 x 0x11 = 0x261, negated 0x9F.
    Read(hex::Data(0x2100, data));
    EXPECT_FALSE(Next(16));
    EXPECT_TRUE(m_data.Untouched());
    EXPECT_EQ(m_length, kUntouchedLength);
    EXPECT_EQ(m_address, 0x2100);
    EXPECT_EQ(Conversation(),
              Said("info",
                   "CIntelHexWrapper::GetNextData - > Error RecType 00 frame: 1  byLen <= buffLen "
                   "") +
                  Said("info",
                       "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 frame: 1 "
                       "expected: \\x11 calculated: \\x9F"));
}

TEST_F(IntelHexReader, AnOverlongRecordWhoseFirstByteIsItsChecksumHasOneLineOnly) {
    // The first data byte x stands at the checksum place and in the sum: x = -(0x24 + x).
    Read(hex::Data(0x2100, {0x6E, 0x01}));
    EXPECT_FALSE(Next(1));
    EXPECT_TRUE(m_data.Untouched());
    EXPECT_EQ(Conversation(), Said("info",
                                   "CIntelHexWrapper::GetNextData - > Error RecType 00 frame: 1  "
                                   "byLen <= buffLen "));
}

TEST_F(IntelHexReader, ARecordAsLongAsTheBufferIsTaken) {
    for (const int length : {1, 16, 250, 255}) {
        Read(hex::Data(0x2100, Repeat(0x5A, static_cast<std::size_t>(length))));
        EXPECT_TRUE(Next(length));
        EXPECT_EQ(m_length, length);
        EXPECT_TRUE(m_data.UntouchedBut(length));
        m_reader.Close();
    }
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, ABufferOfNegativeLengthTakesNothing) {
    for (const int length : {-1, -300}) {
        Read(hex::Data(0x2100, {}));
        EXPECT_FALSE(Next(length));
        EXPECT_TRUE(m_data.Untouched());
        EXPECT_EQ(m_length, kUntouchedLength);
        m_reader.Close();
    }
    Read(hex::Data(0x2100, {}));
    EXPECT_FALSE(m_reader.GetNextData(nullptr, -1, m_address, m_length));
    EXPECT_EQ(m_length, kUntouchedLength);
}

TEST_F(IntelHexReader, WithoutABufferOnlyARecordOfNoBytesIsTaken) {
    Read(hex::Data(0x2100, {7}) + hex::Data(0x2101, {}));
    m_length = kUntouchedLength;
    EXPECT_FALSE(m_reader.GetNextData(nullptr, 250, m_address, m_length));
    EXPECT_EQ(m_length, kUntouchedLength);
    EXPECT_TRUE(m_reader.GetNextData(nullptr, 250, m_address, m_length));
    EXPECT_EQ(m_address, 0x2101);
    EXPECT_EQ(m_length, 0);
}

TEST_F(IntelHexReader, TheReaderGoesOnAfterAnOverlongRecord) {
    Read(hex::Data(0x2100, Repeat(0x11, 32)) + hex::Data(0x2120, {7}));
    EXPECT_FALSE(Next(16));
    ExpectData(0x2120, {7});
}

TEST_F(IntelHexReader, LowerCaseDigitsGiveWrongDataWithoutAnyMessage) {
    // 'a' to 'f' count 42 to 47: "ab" is 42 x 16 + 43 = 0x2CB, cut to 0xCB; checksum of CB.
    Read(":01210000ab13\n");
    ExpectData(0x2100, {0xCB});
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, EveryOtherCharacterFollowsTheTwoRules) {
    const auto digit = [](int code) { return code < 58 ? code - 48 : code - 55; };
    for (int code = 0; code < 256; ++code) {
        if (code == ':') {
            continue;
        }
        const auto character = static_cast<char>(code);
        Read(std::string(":02210000") + character + '3' + '4' + character + "00");
        const Bytes expected{static_cast<std::uint8_t>(digit(code) * 16 + 3),
                             static_cast<std::uint8_t>(4 * 16 + digit(code))};
        ExpectData(0x2100, expected);
        m_reader.Close();
    }
}

TEST_F(IntelHexReader, AShortRecordDecodesTheZerosOfTheClearedBuffer) {
    // A zero counts -48 as a digit, so two of them make 0xD0.
    Read(":02210000\n:04");
    ExpectData(0x2100, {0x70, 0xD0});
    EXPECT_FALSE(Next());
    EXPECT_EQ(Conversation(),
              Said("info",
                   "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 frame: 1 expected: "
                   "\\xD0 calculated: \\x9D") +
                  Said("info",
                       "CIntelHexWrapper::GetNextData - > Unknown RecType \\xD0 frame: 2 byLen "
                       "\\x04 byAddrHi \\xD0 byAddrLo \\xD0"));
}

TEST_F(IntelHexReader, TextBeforeTheFirstColonIsARecordLikeAnyOther) {
    Read("hello\n" + hex::EndOfFile());
    EXPECT_FALSE(Next());
    EXPECT_EQ(Conversation(),
              Said("info",
                   "CIntelHexWrapper::GetNextData - > Unknown RecType \\xD0 frame: 1 byLen \\x15 "
                   "byAddrHi \\x88 byAddrLo p"));
    m_host.Forget();
    ExpectEndOfFileRecord();
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, ALoneColonAtTheEndIsARecordAfterTheReadErrorLine) {
    Read(hex::Data(0x2100, {1}) + ":");
    ExpectData(0x2100, {1});
    EXPECT_FALSE(Next());
    EXPECT_EQ(
        Conversation(),
        kReadError + Said("info",
                          "CIntelHexWrapper::GetNextData - > Unknown RecType \\xD0 frame: 2 byLen "
                          "\\xD0 byAddrHi \\xD0 byAddrLo \\xD0"));
}

TEST_F(IntelHexReader, AColonDirectlyAfterAnotherMakesARecordOfOneCharacter) {
    Read("::00000001FF");
    EXPECT_TRUE(m_reader.ReadLineToBuffer());
    EXPECT_EQ(m_reader.m_lineLength, 1);
    EXPECT_TRUE(m_reader.ReadLineToBuffer());
    EXPECT_EQ(m_reader.m_lineLength, 11);
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, ARecordTextOf1023CharactersFits) {
    const std::string record = hex::Data(0x2100, {0x42});
    Read(record + std::string(1023 - record.size(), ' ') + hex::EndOfFile());
    ExpectData(0x2100, {0x42});
    EXPECT_EQ(m_reader.m_lineLength, 1023);
    ExpectEndOfFileRecord();
    EXPECT_EQ(Conversation(), "");
}

TEST_F(IntelHexReader, ARecordTextOf1024CharactersIsRefusedWithTheCallersLineOnly) {
    const std::string record = hex::Data(0x2100, {0x42});
    for (const std::size_t characters : {1024U, 1025U, 5000U}) {
        for (const std::string& before : {std::string(), hex::Data(0x2000, {1})}) {
            Read(before + record + std::string(characters - record.size(), ' '));
            if (!before.empty()) {
                ExpectData(0x2000, {1});
            }
            EXPECT_FALSE(Next());
            EXPECT_EQ(m_length, kUntouchedLength);
            EXPECT_TRUE(m_data.Untouched());
            EXPECT_EQ(Conversation(), kLineFailed);
            m_reader.Close();
            m_host.Forget();
        }
    }
}

RC_GTEST_PROP(IntelHexReaderProperty, WhateverTheTextNothingIsWrittenOutsideTheBuffers, ()) {
    ScriptedHost host;
    const TempFolder folder;
    const auto piece = rc::gen::oneOf(
        rc::gen::just(std::string(":")), rc::gen::just(std::string(":10210000")),
        rc::gen::just(std::string(":FF210000")), rc::gen::just(std::string(":02000002F000")),
        rc::gen::just(hex::EndOfFile()), rc::gen::string<std::string>(),
        rc::gen::map(rc::gen::inRange(0, 1100),
                     [](int count) { return std::string(static_cast<std::size_t>(count), '7'); }));
    std::string text;
    for (const std::string& part : *rc::gen::container<std::vector<std::string>>(piece)) {
        text += part;
    }
    const int bufferLength = *rc::gen::inRange(-2, 257);
    CIntelHexWrapper reader;
    const std::string name = folder.WriteFile("image.hex", text);
    RC_ASSERT(reader.Open(name));
    for (std::size_t call = 0; call < 40; ++call) {
        GuardedBuffer data(300);
        unsigned short address = 0;
        int length = 0;
        const bool taken = reader.GetNextData(data.Data(), bufferLength, address, length);
        RC_ASSERT(taken || length == 0);
        RC_ASSERT(length == 0 || length <= bufferLength);
        RC_ASSERT(data.UntouchedBut(length));
        RC_ASSERT(reader.m_lineLength >= 0);
        RC_ASSERT(reader.m_lineLength <= 1023);
        RC_ASSERT(reader.m_lineBuffer[1023] == '\0');
        RC_ASSERT(reader.m_fileName == name);
    }
}

RC_GTEST_PROP(IntelHexReaderProperty, EveryWellFormedRecordComesBackAsItWasWritten,
              (std::uint16_t address, const Bytes& given)) {
    ScriptedHost host;
    const TempFolder folder;
    const Bytes data(given.begin(),
                     given.begin() + static_cast<long>(std::min<std::size_t>(given.size(), 250)));
    CIntelHexWrapper reader;
    RC_ASSERT(reader.Open(folder.WriteFile("image.hex", hex::Data(address, data))));
    GuardedBuffer buffer(300);
    unsigned short readAddress = 0;
    int length = 0;
    RC_ASSERT(reader.GetNextData(buffer.Data(), 250, readAddress, length));
    RC_ASSERT(readAddress == address);
    RC_ASSERT(buffer.First(length) == data);
    RC_ASSERT(host.Conversation().empty());
}
