// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <climits>
#include <ostream>
#include <string>
#include <vector>

#include "flashmcu/MSPCommands.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Expected.h"
#include "tests/support/GuardedBuffer.h"
#include "tests/support/LoaderFrames.h"
#include "tests/support/ScriptedHost.h"

namespace {

// The lines of the write builder's two refusals, and of the other builders'.
std::string M1(int capacity, int count) {
    return expected::LogOf("MSPCommands", "error",
                           "CMSPBSLCommand::BuildWriteDataFrame buff == null or bufflen < datalen "
                           "+ 10. Given Bufflen =  " +
                               std::to_string(capacity) + " datalen = " + std::to_string(count));
}

std::string M2(int count) {
    return expected::LogOf("MSPCommands", "error",
                           "CMSPBSLCommand::BuildWriteDataFrame data == null or datalen > 250. "
                           "Given datalen =  " +
                               std::to_string(count));
}

std::string BufferRefused(const std::string& builder, int capacity, int needed = 10) {
    return expected::LogOf("MSPCommands", "error",
                           "CMSPBSLCommand::" + builder + " buff == null or bufflen < " +
                               std::to_string(needed) +
                               ". Given Bufflen =  " + std::to_string(capacity));
}

std::string AddressRefused(const std::string& builder) {
    return expected::LogOf(
        "MSPCommands", "error",
        "CMSPBSLCommand::" + builder + " given segment address is not even numbered");
}

const std::string kDefaultPasswordNotice =
    expected::LogOf("MSPCommands", "info", "CMSPBSLCommand::BuildPasswordFrame using default pwd");

const std::vector<int> kCapacitiesBelowTen{9, 8, 1, 0, -1, INT_MIN};

// 300 bytes of data that differ from their neighbours.
Bytes SomeData() {
    Bytes data;
    for (int index = 0; index < 300; ++index) {
        data.push_back(static_cast<std::uint8_t>(index * 7 + 3));
    }
    return data;
}

Bytes FirstOf(const Bytes& data, int count) {
    return {data.begin(), data.begin() + count};
}

}  // namespace

TEST(LoaderFrames, TheChecksumOfTheTestsAgreesWithThePublishedFrames) {
    EXPECT_TRUE(loader::ChecksumHolds(FromText("80 14 04 04 00 0F 0E 00 75 E0")));
    EXPECT_TRUE(loader::ChecksumHolds(
        FromText("80 00 0E 0E F2 13 40 40 00 00 00 00 00 00 02 01 01 01 C0 A2")));
    EXPECT_FALSE(loader::ChecksumHolds(FromText("80 14 04 04 00 0F 0E 00 75 E1")));
    EXPECT_FALSE(loader::ChecksumHolds(FromText("80 14 04 04 01 0F 0E 00 75 E0")));
}

TEST(MassEraseFrame, IsTheSampleFrameAndNothingBehindIt) {
    ScriptedHost host;
    for (const int capacity : {10, 11, 300}) {
        GuardedBuffer buffer(300);
        EXPECT_EQ(CMSPBSLCommand::EraseMassFrame(buffer.Data(), capacity), 10);
        EXPECT_EQ(ToText(buffer.First(10)), "80 18 04 04 00 FF 06 A5 7D B9");
        EXPECT_TRUE(buffer.UntouchedBut(10));
    }
    EXPECT_EQ(host.Conversation(), "");
}

TEST(MassEraseFrame, RefusesAnAbsentBufferOrOneBelowTenBytesWithALine) {
    for (const int capacity : kCapacitiesBelowTen) {
        ScriptedHost host;
        GuardedBuffer buffer(300);
        EXPECT_EQ(CMSPBSLCommand::EraseMassFrame(buffer.Data(), capacity), 0);
        EXPECT_TRUE(buffer.Untouched());
        EXPECT_EQ(host.Conversation(), BufferRefused("EraseMassFrame", capacity));
    }
    ScriptedHost host;
    EXPECT_EQ(CMSPBSLCommand::EraseMassFrame(nullptr, 300), 0);
    EXPECT_EQ(host.Conversation(), BufferRefused("EraseMassFrame", 300));
}

TEST(LoaderVersionFrame, IsTheSampleFrameAndNothingBehindIt) {
    ScriptedHost host;
    for (const int capacity : {10, 11, 300}) {
        GuardedBuffer buffer(300);
        EXPECT_EQ(CMSPBSLCommand::ReceiveBSLVersionFrame(buffer.Data(), capacity), 10);
        EXPECT_EQ(ToText(buffer.First(10)), "80 1E 04 04 FF FF FF FF 7B E5");
        EXPECT_TRUE(buffer.UntouchedBut(10));
    }
    EXPECT_EQ(host.Conversation(), "");
}

TEST(LoaderVersionFrame, RefusesAnAbsentBufferOrOneBelowTenBytesWithALine) {
    for (const int capacity : kCapacitiesBelowTen) {
        ScriptedHost host;
        GuardedBuffer buffer(300);
        EXPECT_EQ(CMSPBSLCommand::ReceiveBSLVersionFrame(buffer.Data(), capacity), 0);
        EXPECT_TRUE(buffer.Untouched());
        EXPECT_EQ(host.Conversation(), BufferRefused("ReceiveBSLVersionFrame", capacity));
    }
    ScriptedHost host;
    EXPECT_EQ(CMSPBSLCommand::ReceiveBSLVersionFrame(nullptr, 300), 0);
    EXPECT_EQ(host.Conversation(), BufferRefused("ReceiveBSLVersionFrame", 300));
}

TEST(EraseCheckFrame, CarriesAddressAndLengthLowByteFirst) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    EXPECT_EQ(CMSPBSLCommand::EraseCheckFrame(buffer.Data(), 10, 0x1234, 0xABCD), 10);
    EXPECT_EQ(ToText(buffer.First(8)), "80 1C 04 04 34 12 CD AB");
    EXPECT_TRUE(loader::ChecksumHolds(buffer.First(10)));
    EXPECT_TRUE(buffer.UntouchedBut(10));
    EXPECT_EQ(host.Conversation(), "");
}

TEST(EraseCheckFrame, RefusesAnAbsentBufferOrOneBelowTenBytesWithALine) {
    for (const int capacity : kCapacitiesBelowTen) {
        ScriptedHost host;
        GuardedBuffer buffer(300);
        EXPECT_EQ(CMSPBSLCommand::EraseCheckFrame(buffer.Data(), capacity, 0x2100, 2), 0);
        EXPECT_TRUE(buffer.Untouched());
        EXPECT_EQ(host.Conversation(), BufferRefused("EraseCheckFrame", capacity));
    }
    ScriptedHost host;
    EXPECT_EQ(CMSPBSLCommand::EraseCheckFrame(nullptr, 300, 0x2101, 2), 0);
    EXPECT_EQ(host.Conversation(), BufferRefused("EraseCheckFrame", 300));
}

namespace {

// The two builders that take a segment address and differ in control word and names.
struct SegmentBuilder {
    const char* name;
    int (*build)(unsigned char*, int, unsigned short);
    std::uint16_t controlWord;

    friend std::ostream& operator<<(std::ostream& out, const SegmentBuilder& builder) {
        return out << builder.name;
    }
};

class SegmentFrame : public testing::TestWithParam<SegmentBuilder> {};

INSTANTIATE_TEST_SUITE_P(
    , SegmentFrame,
    testing::Values(SegmentBuilder{"EraseSegmentFrame", CMSPBSLCommand::EraseSegmentFrame, 0xA502},
                    SegmentBuilder{"EraseMainOrInfoFrame", CMSPBSLCommand::EraseMainOrInfoFrame,
                                   0xA504}),
    [](const auto& subject) { return std::string(subject.param.name); });

}  // namespace

TEST_P(SegmentFrame, CarriesTheEvenAddressAndItsControlWord) {
    ScriptedHost host;
    for (unsigned address = 0; address <= 0xFFFF; address += 2) {
        GuardedBuffer buffer(12);
        const auto segment = static_cast<unsigned short>(address);
        ASSERT_EQ(GetParam().build(buffer.Data(), 10, segment), 10);
        ASSERT_EQ(ToText(buffer.First(10)),
                  ToText(loader::Frame(0x16, segment, GetParam().controlWord)));
        ASSERT_TRUE(buffer.UntouchedBut(10));
    }
    EXPECT_EQ(host.Conversation(), "");
}

TEST_P(SegmentFrame, RefusesAnOddAddressWithTheAddressLineOnly) {
    for (const unsigned short address : std::vector<unsigned short>{0x0001, 0x2101, 0xFFFF}) {
        ScriptedHost host;
        GuardedBuffer buffer(300);
        EXPECT_EQ(GetParam().build(buffer.Data(), 300, address), 0);
        EXPECT_TRUE(buffer.Untouched());
        EXPECT_EQ(host.Conversation(), AddressRefused(GetParam().name));
    }
}

TEST_P(SegmentFrame, RefusesABadBufferWithTheBufferLineOnly) {
    for (const int capacity : kCapacitiesBelowTen) {
        ScriptedHost host;
        GuardedBuffer buffer(300);
        EXPECT_EQ(GetParam().build(buffer.Data(), capacity, 0x2100), 0);
        EXPECT_TRUE(buffer.Untouched());
        EXPECT_EQ(host.Conversation(), BufferRefused(GetParam().name, capacity));
    }
    ScriptedHost host;
    EXPECT_EQ(GetParam().build(nullptr, 300, 0x2100), 0);
    EXPECT_EQ(host.Conversation(), BufferRefused(GetParam().name, 300));
}

TEST_P(SegmentFrame, RefusesBothFaultsWithTheAddressLineFirst) {
    {
        ScriptedHost host;
        EXPECT_EQ(GetParam().build(nullptr, 300, 0x2101), 0);
        EXPECT_EQ(host.Conversation(),
                  AddressRefused(GetParam().name) + BufferRefused(GetParam().name, 300));
    }
    ScriptedHost host;
    GuardedBuffer buffer(300);
    EXPECT_EQ(GetParam().build(buffer.Data(), 9, 0x2101), 0);
    EXPECT_TRUE(buffer.Untouched());
    EXPECT_EQ(host.Conversation(),
              AddressRefused(GetParam().name) + BufferRefused(GetParam().name, 9));
}

TEST(EraseMainOrInfoFrame, ForAddress2100IsTheSampleFrame) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    EXPECT_EQ(CMSPBSLCommand::EraseMainOrInfoFrame(buffer.Data(), 300, 0x2100), 10);
    EXPECT_EQ(ToText(buffer.First(10)), "80 16 04 04 00 21 04 A5 7F 69");
}

TEST(ReadDataFrame, IsThePublishedFrameForFourteenBytesAt0F00) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    EXPECT_EQ(CMSPBSLCommand::BuildReadDataFrame(buffer.Data(), 10, 14, 0x0F00), 10);
    EXPECT_EQ(ToText(buffer.First(10)), "80 14 04 04 00 0F 0E 00 75 E0");
    EXPECT_TRUE(buffer.UntouchedBut(10));
    EXPECT_EQ(host.Conversation(), "");
}

TEST(ReadDataFrame, TakesEveryCountUpTo250) {
    ScriptedHost host;
    for (int count = 0; count <= 250; ++count) {
        GuardedBuffer buffer(300);
        ASSERT_EQ(CMSPBSLCommand::BuildReadDataFrame(buffer.Data(), 10, count, 0x2100), 10);
        ASSERT_EQ(ToText(buffer.First(10)),
                  ToText(loader::Frame(0x14, 0x2100, static_cast<std::uint16_t>(count))));
    }
    EXPECT_EQ(host.Conversation(), "");
}

TEST(ReadDataFrame, ANegativeCountIsTakenWithItsLowByteAndAZeroHighByte) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    EXPECT_EQ(CMSPBSLCommand::BuildReadDataFrame(buffer.Data(), 10, -1, 0x2100), 10);
    EXPECT_EQ(ToText(buffer.First(10)), ToText(loader::Frame(0x14, 0x2100, 0x00FF)));
    EXPECT_EQ(host.Conversation(), "");
}

TEST(ReadDataFrame, RefusesMoreThan250BytesWithTheWriteBuildersText) {
    for (const int count : {251, 252, 65536, INT_MAX}) {
        ScriptedHost host;
        GuardedBuffer buffer(300);
        EXPECT_EQ(CMSPBSLCommand::BuildReadDataFrame(buffer.Data(), 10, count, 0x2100), 0);
        EXPECT_TRUE(buffer.Untouched());
        EXPECT_EQ(host.Conversation(), M1(10, count));
    }
}

TEST(ReadDataFrame, RefusesAPresentBufferBelowTenBytesInSilence) {
    ScriptedHost host;
    for (const int capacity : kCapacitiesBelowTen) {
        for (const int count : {14, 251}) {
            GuardedBuffer buffer(300);
            EXPECT_EQ(CMSPBSLCommand::BuildReadDataFrame(buffer.Data(), capacity, count, 0x2100),
                      0);
            EXPECT_TRUE(buffer.Untouched());
        }
    }
    EXPECT_EQ(host.Conversation(), "");
}

TEST(ReadDataFrame, RefusesAnAbsentBufferOfAnyCapacityWithTheWriteBuildersText) {
    for (const int capacity : {300, 10, 9, 0, -1}) {
        for (const int count : {14, 251}) {
            ScriptedHost host;
            EXPECT_EQ(CMSPBSLCommand::BuildReadDataFrame(nullptr, capacity, count, 0x2100), 0);
            EXPECT_EQ(host.Conversation(), M1(capacity, count));
        }
    }
}

TEST(PasswordFrame, CarriesTheCallersThirtyTwoBytes) {
    ScriptedHost host;
    const Bytes password = FirstOf(SomeData(), 32);
    for (const int capacity : {42, 43, 300}) {
        GuardedBuffer buffer(300);
        EXPECT_EQ(CMSPBSLCommand::BuildPasswordFrame(buffer.Data(), capacity, password.data(), 32),
                  42);
        EXPECT_EQ(ToText(buffer.First(40)), ToText(FromText("80 10 24 24 00 00 00 00") + password));
        EXPECT_TRUE(loader::ChecksumHolds(buffer.First(42)));
        EXPECT_TRUE(buffer.UntouchedBut(42));
    }
    EXPECT_EQ(host.Conversation(), "");
}

TEST(PasswordFrame, WithTheDefaultPasswordIsTheSampleFrame) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    EXPECT_EQ(CMSPBSLCommand::BuildPasswordFrame(buffer.Data(), 300, nullptr, 32), 42);
    EXPECT_EQ(ToText(buffer.First(42)),
              ToText(FromText("80 10 24 24 00 00 00 00") + Repeat(0xFF, 32) + FromText("5B CB")));
    EXPECT_EQ(host.Conversation(), kDefaultPasswordNotice);
}

TEST(PasswordFrame, AnyLengthButThirtyTwoSendsTheDefaultPasswordWithANotice) {
    const Bytes password = SomeData();
    for (const int length : {31, 33, 0, 1, 64, -1, -32, INT_MIN, INT_MAX}) {
        ScriptedHost host;
        GuardedBuffer buffer(300);
        EXPECT_EQ(CMSPBSLCommand::BuildPasswordFrame(buffer.Data(), 42, password.data(), length),
                  42);
        EXPECT_EQ(ToText(buffer.First(42)), ToText(loader::ErasedPasswordFrame()));
        EXPECT_TRUE(buffer.UntouchedBut(42));
        EXPECT_EQ(host.Conversation(), kDefaultPasswordNotice);
    }
}

TEST(PasswordFrame, RefusesAnAbsentBufferOrOneBelow42BytesWithALine) {
    const Bytes password = SomeData();
    for (const int capacity : {41, 10, 0, -1, INT_MIN}) {
        for (const int length : {32, 31}) {
            ScriptedHost host;
            GuardedBuffer buffer(300);
            EXPECT_EQ(CMSPBSLCommand::BuildPasswordFrame(buffer.Data(), capacity, password.data(),
                                                         length),
                      0);
            EXPECT_TRUE(buffer.Untouched());
            EXPECT_EQ(host.Conversation(), BufferRefused("BuildPasswordFrame", capacity, 42));
        }
    }
    ScriptedHost host;
    EXPECT_EQ(CMSPBSLCommand::BuildPasswordFrame(nullptr, 300, password.data(), 32), 0);
    EXPECT_EQ(host.Conversation(), BufferRefused("BuildPasswordFrame", 300, 42));
}

TEST(WriteDataFrame, OfTwoBytesTo2100IsTheSampleFrame) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    const Bytes data{0x34, 0x12};
    EXPECT_EQ(CMSPBSLCommand::BuildWriteDataFrame(buffer.Data(), 300, data.data(), 2, 0x2100), 12);
    EXPECT_EQ(ToText(buffer.First(12)), "80 12 06 06 00 21 02 00 34 12 4F D8");
    EXPECT_EQ(host.Conversation(), "");
}

TEST(WriteDataFrame, OfThreeBytesSendsTheByteAfterTheBlockToo) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    const Bytes data{0x11, 0x22, 0x33, 0x44, 0x55};
    EXPECT_EQ(CMSPBSLCommand::BuildWriteDataFrame(buffer.Data(), 14, data.data(), 3, 0xBEEF), 14);
    EXPECT_EQ(ToText(buffer.First(12)), "80 12 08 08 EF BE 04 00 11 22 33 44");
    EXPECT_TRUE(loader::ChecksumHolds(buffer.First(14)));
    EXPECT_TRUE(buffer.UntouchedBut(14));
    EXPECT_EQ(host.Conversation(), "");
}

TEST(WriteDataFrame, OfNoBytesIsAFrameOfTenBytesWithLengthZero) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    const Bytes data{0x11};
    EXPECT_EQ(CMSPBSLCommand::BuildWriteDataFrame(buffer.Data(), 10, data.data(), 0, 0x2100), 10);
    EXPECT_EQ(ToText(buffer.First(10)), ToText(loader::WriteFrame(0x2100, {})));
    EXPECT_TRUE(buffer.UntouchedBut(10));
    EXPECT_EQ(host.Conversation(), "");
}

TEST(WriteDataFrame, OfEveryLengthUpTo250NeedsExactlyItsLengthPlusTen) {
    const Bytes data = SomeData();
    for (int length = 0; length <= 250; ++length) {
        const int even = length + length % 2;
        ScriptedHost host;
        GuardedBuffer buffer(300);
        ASSERT_EQ(CMSPBSLCommand::BuildWriteDataFrame(buffer.Data(), even + 10, data.data(), length,
                                                      0x21A4),
                  even + 10);
        ASSERT_EQ(ToText(buffer.First(even + 10)),
                  ToText(loader::WriteFrame(0x21A4, FirstOf(data, even))));
        ASSERT_TRUE(buffer.UntouchedBut(even + 10));
        ASSERT_EQ(host.Conversation(), "");

        GuardedBuffer tooSmall(300);
        ASSERT_EQ(CMSPBSLCommand::BuildWriteDataFrame(tooSmall.Data(), even + 9, data.data(),
                                                      length, 0x21A4),
                  0);
        ASSERT_TRUE(tooSmall.Untouched());
        ASSERT_EQ(host.Conversation(), M2(even));
    }
}

TEST(WriteDataFrame, Of251BytesIsRefusedAs252WithTheFirstMessageOnly) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    const Bytes data = SomeData();
    EXPECT_EQ(CMSPBSLCommand::BuildWriteDataFrame(buffer.Data(), 300, data.data(), 251, 0x2100), 0);
    EXPECT_TRUE(buffer.Untouched());
    EXPECT_EQ(host.Conversation(), M1(300, 252));
}

TEST(WriteDataFrame, LogsItsRefusalsByTheDecisionTableAndNotByTheirWords) {
    const Bytes data = SomeData();
    enum Logged { kNothing, kFirst, kSecond, kBoth };
    struct Row {
        bool buffer;
        int capacityOverNeed;
        bool data;
        int length;
        Logged logged;
    };
    std::vector<Row> rows;
    for (const int over : {-400, -1, 0, 100}) {
        for (const int length : {0, 1, 16, 249, 250}) {
            rows.push_back({false, over, false, length, kBoth});
            rows.push_back({false, over, true, length, kBoth});
            rows.push_back({true, over, false, length, over >= 0 ? kBoth : kSecond});
            if (over < 0) {
                rows.push_back({true, over, true, length, kSecond});
            }
        }
        for (const int length : {251, 252, 300, 65535}) {
            rows.push_back({false, over, false, length, kBoth});
            rows.push_back({false, over, true, length, kFirst});
            rows.push_back({true, over, false, length, over >= 0 ? kBoth : kSecond});
            rows.push_back({true, over, true, length, over >= 0 ? kFirst : kNothing});
        }
    }
    for (const Row& row : rows) {
        const int even = row.length + row.length % 2;
        const int capacity = even + 10 + row.capacityOverNeed;
        ScriptedHost host;
        GuardedBuffer buffer(300);
        const std::string expected =
            (row.logged == kFirst || row.logged == kBoth ? M1(capacity, even) : "") +
            (row.logged == kSecond || row.logged == kBoth ? M2(even) : "");
        EXPECT_EQ(
            CMSPBSLCommand::BuildWriteDataFrame(row.buffer ? buffer.Data() : nullptr, capacity,
                                                row.data ? data.data() : nullptr, row.length, 2),
            0);
        EXPECT_TRUE(buffer.Untouched());
        EXPECT_EQ(host.Conversation(), expected)
            << "buffer " << row.buffer << ", capacity over need " << row.capacityOverNeed
            << ", data " << row.data << ", length " << row.length;
    }
}

TEST(WriteDataFrame, RefusesALengthThatRoundsBelowZeroWithBothMessages) {
    const Bytes data = SomeData();
    for (const int length : {-2, -3, -10, -11, -300, INT_MIN + 1, INT_MIN}) {
        ScriptedHost host;
        GuardedBuffer buffer(300);
        const int even = length + (length & 1);
        EXPECT_EQ(
            CMSPBSLCommand::BuildWriteDataFrame(buffer.Data(), 300, data.data(), length, 0x2100),
            0);
        EXPECT_TRUE(buffer.Untouched());
        EXPECT_EQ(host.Conversation(), M1(300, even) + M2(even));
    }
}

TEST(WriteDataFrame, RefusesANegativeLengthByTheRulesOfTheDecisionTable) {
    const Bytes data = SomeData();
    ScriptedHost host;
    GuardedBuffer buffer(300);
    const auto build = [&](auto* target, int capacity, const std::uint8_t* source) {
        host.Forget();
        EXPECT_EQ(CMSPBSLCommand::BuildWriteDataFrame(target, capacity, source, -2, 0x2100), 0);
        return host.Conversation();
    };
    EXPECT_EQ(build(buffer.Data(), 8, data.data()), M1(8, -2) + M2(-2));
    EXPECT_EQ(build(buffer.Data(), 7, data.data()), M2(-2));
    EXPECT_EQ(build(buffer.Data(), 300, nullptr), M1(300, -2) + M2(-2));
    EXPECT_EQ(build(buffer.Data(), 7, nullptr), M2(-2));
    EXPECT_EQ(build(static_cast<std::uint8_t*>(nullptr), 300, data.data()), M1(300, -2) + M2(-2));
    EXPECT_TRUE(buffer.Untouched());
}

TEST(WriteDataFrame, ALengthOfMinusOneRoundsToZeroAndIsBuilt) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    const Bytes data{0x11};
    EXPECT_EQ(CMSPBSLCommand::BuildWriteDataFrame(buffer.Data(), 300, data.data(), -1, 0x2100), 10);
    EXPECT_EQ(ToText(buffer.First(10)), ToText(loader::WriteFrame(0x2100, {})));
    EXPECT_TRUE(buffer.UntouchedBut(10));
    EXPECT_EQ(host.Conversation(), "");
}

TEST(WriteDataFrame, AHugeLengthIsRefusedWithoutTouchingAnything) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    const Bytes data = SomeData();
    for (const int length : {INT_MAX, INT_MAX - 1, INT_MAX - 9, 0x10000, 0x10002}) {
        for (const int capacity : {300, INT_MAX, INT_MIN}) {
            EXPECT_EQ(CMSPBSLCommand::BuildWriteDataFrame(buffer.Data(), capacity, data.data(),
                                                          length, 0x2100),
                      0);
        }
    }
    EXPECT_TRUE(buffer.Untouched());
}

TEST(FrameBuilders, AllocateNothingForAFrame) {
    ScriptedHost host;
    GuardedBuffer buffer(300);
    const Bytes data = SomeData();
    const std::size_t before = allocation_counter::Count();
    int total = CMSPBSLCommand::BuildPasswordFrame(buffer.Data(), 300, data.data(), 32);
    total += CMSPBSLCommand::BuildWriteDataFrame(buffer.Data(), 300, data.data(), 250, 0x2100);
    total += CMSPBSLCommand::BuildReadDataFrame(buffer.Data(), 300, 250, 0x2100);
    total += CMSPBSLCommand::EraseSegmentFrame(buffer.Data(), 300, 0x2100);
    total += CMSPBSLCommand::EraseMainOrInfoFrame(buffer.Data(), 300, 0x2100);
    total += CMSPBSLCommand::EraseMassFrame(buffer.Data(), 300);
    total += CMSPBSLCommand::EraseCheckFrame(buffer.Data(), 300, 0x2100, 2);
    total += CMSPBSLCommand::ReceiveBSLVersionFrame(buffer.Data(), 300);
    EXPECT_EQ(allocation_counter::Count(), before);
    EXPECT_EQ(total, 42 + 260 + 6 * 10);
}

RC_GTEST_PROP(FrameBuilders, EveryWriteFrameCarriesItsChecksumAndItsData,
              (const Bytes& given, std::uint16_t address)) {
    const ScriptedHost host;
    const int length = static_cast<int>(given.size() % 251);
    Bytes data = given;
    data.resize(252);
    GuardedBuffer buffer(300);
    const int count =
        CMSPBSLCommand::BuildWriteDataFrame(buffer.Data(), 300, data.data(), length, address);
    RC_ASSERT(count == length + length % 2 + 10);
    RC_ASSERT(loader::ChecksumHolds(buffer.First(count)));
    RC_ASSERT(buffer.First(count) == loader::WriteFrame(address, FirstOf(data, count - 10)));
    RC_ASSERT(buffer.UntouchedBut(count));
}

RC_GTEST_PROP(FrameBuilders, NoArgumentsMakeAnyOfThemWriteBeyondTheCapacity,
              (int length, std::uint16_t address, std::uint16_t count)) {
    const ScriptedHost host;
    const int capacity = *rc::gen::inRange(-20, 301);
    const Bytes data = SomeData();
    const int inData = *rc::gen::oneOf(rc::gen::inRange(-20, 300), rc::gen::just(length));
    const auto check = [&](auto build) {
        GuardedBuffer buffer(300);
        const int built = build(buffer.Data());
        RC_ASSERT(built == 0 || (built >= 10 && built <= capacity));
        RC_ASSERT(buffer.UntouchedBut(built));
    };
    using Builder = CMSPBSLCommand;
    check([&](auto* buffer) {
        return Builder::BuildWriteDataFrame(buffer, capacity, data.data(), inData, address);
    });
    check([&](auto* buffer) {
        return Builder::BuildPasswordFrame(buffer, capacity, data.data(), inData);
    });
    check([&](auto* buffer) {
        return Builder::BuildReadDataFrame(buffer, capacity, inData, address);
    });
    check([&](auto* buffer) { return Builder::EraseSegmentFrame(buffer, capacity, address); });
    check([&](auto* buffer) { return Builder::EraseMainOrInfoFrame(buffer, capacity, address); });
    check([&](auto* buffer) { return Builder::EraseMassFrame(buffer, capacity); });
    check([&](auto* buffer) { return Builder::EraseCheckFrame(buffer, capacity, address, count); });
    check([&](auto* buffer) { return Builder::ReceiveBSLVersionFrame(buffer, capacity); });
}
