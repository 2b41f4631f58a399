// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "flashmcu/IntelHexFileWrapper.h"
#include "tests/support/HexText.h"
#include "tests/support/ScriptedHost.h"
#include "tests/support/TempFolder.h"
#include "tests/unit/ReaderLog.h"

using reader_log::kEndOfText;
using reader_log::Said;

namespace {

constexpr unsigned short kVersionBefore = 0xABCD;

// Looks for the version in a file with a text of the test's.
class HexFileVersion : public testing::Test {
protected:
    bool Find(const std::string& text, unsigned short location = 0x2100) {
        m_version = kVersionBefore;
        m_host.Forget();
        const std::string name = m_folder.WriteFile("image.hex", text);
        m_host.WatchesImage(name);
        return GetHexFileVersion(name, location, m_version);
    }

    void ExpectFound(unsigned version, const std::string& text, unsigned short location = 0x2100) {
        EXPECT_TRUE(Find(text, location));
        EXPECT_EQ(m_version, version);
        EXPECT_EQ(m_host.Conversation(), "");
    }

    void ExpectMissing(const std::string& text, unsigned short location = 0x2100) {
        EXPECT_FALSE(Find(text, location));
        EXPECT_EQ(m_version, kVersionBefore);
    }

    TempFolder m_folder;
    ScriptedHost m_host;
    unsigned short m_version = kVersionBefore;
};

}  // namespace

TEST_F(HexFileVersion, IsTheLittleEndianWordAtTheLocation) {
    ExpectFound(4660, hex::Data(0x2100, {0x34, 0x12}) + hex::EndOfFile());
    ExpectFound(0x5678, hex::Data(0x20F0, Repeat(0, 16) + Bytes{0x78, 0x56, 0x99}));
    ExpectFound(0x0100, hex::Data(0x0FFE, {0x11, 0x22, 0x00, 0x01}), 0x1000);
}

TEST_F(HexFileVersion, MayBeSplitOverTwoRecords) {
    ExpectFound(0x1234, hex::Data(0x20F0, Repeat(0, 16) + Bytes{0x34}) +
                            hex::Data(0x2101, {0x12, 0x99}) + hex::EndOfFile());
}

TEST_F(HexFileVersion, MayComeHighByteFirstAndWithRecordsBetween) {
    ExpectFound(0x1234, hex::Data(0x2101, {0x12}) + hex::Data(0x3000, {1, 2, 3}) +
                            hex::Record(0x04, 0, {0, 0}) + hex::Data(0x2100, {}) +
                            hex::Data(0x2100, {0x34}));
}

TEST_F(HexFileVersion, ASlotFilledTwiceBeforeTheWordIsWholeHoldsTheLaterByte) {
    ExpectFound(0x1256,
                hex::Data(0x2100, {0x34}) + hex::Data(0x2100, {0x56}) + hex::Data(0x2101, {0x12}));
    ExpectFound(0x3412, hex::Data(0x2101, {0x56}) + hex::Data(0x2100, {0x12, 0x34}));
}

TEST_F(HexFileVersion, RecordsAfterTheWordAreNotRead) {
    ExpectFound(0x1234, hex::Data(0x2100, {0x34, 0x12}) + hex::Data(0x2100, {0xFF, 0xFF}) +
                            hex::Record(0x0A, 0, {}));
}

TEST_F(HexFileVersion, IsMissingWhenItsHighByteIs) {
    ExpectMissing(hex::Data(0x20FF, {0x11, 0x34}) + hex::EndOfFile());
    EXPECT_EQ(m_host.Conversation(), "");
}

TEST_F(HexFileVersion, IsMissingWhenItsLowByteIs) {
    ExpectMissing(hex::Data(0x2101, {0x12, 0x34}) + hex::EndOfFile());
    EXPECT_EQ(m_host.Conversation(), "");
}

TEST_F(HexFileVersion, IsMissingWhenTheDataEndsBesideIt) {
    ExpectMissing(hex::Data(0x20FE, {0x11, 0x22}) + hex::Data(0x2102, {0x33}) + hex::EndOfFile());
    EXPECT_EQ(m_host.Conversation(), "");
}

TEST_F(HexFileVersion, IsMissingBehindTheEndOfFileRecord) {
    ExpectMissing(hex::EndOfFile() + hex::Data(0x2100, {0x34, 0x12}));
    EXPECT_EQ(m_host.Conversation(), "");
}

TEST_F(HexFileVersion, IsMissingWhenTheTextEndsBeforeItWithTheReadersLines) {
    ExpectMissing(hex::Data(0x2000, {0x34, 0x12}));
    EXPECT_EQ(m_host.Conversation(), "image opened\n" + kEndOfText + "image closed\n");
}

TEST_F(HexFileVersion, IsMissingBehindAnUnknownRecordAndTheFileIsClosed) {
    ExpectMissing(hex::Record(0x0A, 0x4142, Repeat(0, 0x43)) + hex::Data(0x2100, {0x34, 0x12}));
    EXPECT_EQ(m_host.Conversation(),
              "image opened\n" +
                  Said("info",
                       "CIntelHexWrapper::GetNextData - > Unknown RecType \\x0A frame: 1 byLen C "
                       "byAddrHi A byAddrLo B") +
                  "image closed\n");
}

TEST_F(HexFileVersion, IsMissingInAFileThatIsNotThere) {
    const std::string name = m_folder.PathOf("missing.hex");
    unsigned short version = kVersionBefore;
    EXPECT_FALSE(GetHexFileVersion(name, 0x2100, version));
    EXPECT_EQ(version, kVersionBefore);
    EXPECT_EQ(m_host.Conversation(),
              Said("error", "CIntelHexWrapper::Open failed to open " + name));
}

TEST_F(HexFileVersion, IsMissingInAFileWithoutAName) {
    unsigned short version = kVersionBefore;
    EXPECT_FALSE(GetHexFileVersion("", 0x2100, version));
    EXPECT_EQ(version, kVersionBefore);
    EXPECT_EQ(m_host.Conversation(), Said("error", "CIntelHexWrapper::Open Error empty filename "));
}

TEST_F(HexFileVersion, IsFoundBehindTheLongestRecordTheFormatHas) {
    ExpectFound(0x1234, hex::Data(0x1000, Repeat(0, 255)) + hex::Data(0x2100, {0x34, 0x12}));
    ExpectFound(0x0505, hex::Data(0x2100 - 253, Repeat(5, 255)));
}

TEST_F(HexFileVersion, IsUsedFromARecordWithAWrongChecksum) {
    EXPECT_TRUE(Find(hex::DataWithChecksum(0x2100, {0x34, 0x12}, 0x41)));
    EXPECT_EQ(m_version, 0x1234);
    EXPECT_EQ(m_host.Conversation(),
              "image opened\n" +
                  Said("info",
                       "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 frame: 1 "
                       "expected: A calculated: \\x97") +
                  "image closed\n");
}

TEST_F(HexFileVersion, IsTakenFromARecordAbove64KiBWhoseLow16BitsCoverIt) {
    ExpectFound(0x1234, hex::Segment(0x1000) + hex::Data(0x2100, {0x34, 0x12}));
    ExpectFound(0x1234, hex::Segment(0x0200) + hex::Data(0x0100, {0x34, 0x12}));
}

TEST_F(HexFileVersion, AtTheLastAddressHasItsHighByteAtZero) {
    ExpectFound(0x1234, hex::Data(0xFFFF, {0x34}) + hex::Data(0x0000, {0x12}), 0xFFFF);
    ExpectMissing(hex::Data(0xFFFF, {0x34, 0x12}) + hex::EndOfFile(), 0xFFFF);
}

TEST_F(HexFileVersion, IsFoundInARecordThatRunsOverTheEndOfTheAddresses) {
    ExpectFound(0x5555, hex::Data(0xFFF0, Repeat(0x55, 32)), 0xFFF5);
    ExpectMissing(hex::Data(0xFFF0, Repeat(0x55, 32)) + hex::EndOfFile(), 0x0005);
}
