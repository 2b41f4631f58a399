// SPDX-License-Identifier: MIT

// The download: what it makes of images of every kind, and of a chip that refuses a block.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Conversation.h"
#include "tests/runs/ToolLog.h"
#include "tests/support/HexText.h"
#include "tests/support/LoaderFrames.h"

using runs::Block;
using runs::Board;
using runs::Conversation;
using runs::DetectionLog;
using runs::EndOfFileLog;
using runs::EraseLog;
using runs::ExpectSame;
using runs::Outcome;
using runs::Reader;
using runs::Say;
using runs::Target;
using runs::UpdateLog;

namespace {

constexpr int kFailure = 255;

const std::string kHexVersion = Say("info", "HEX file version is 4660");
const std::string kSuccess = Say("verbose", "Success");
const std::string kNoVersion = Say("error", "Error reading version from HEX file");

// The version, and the vectors that let the image run, first: so that what comes after them may be
// missing and the firmware still runs.
const Block kVersion{0x2100, {0x34, 0x12}};
const Block kVectors{0xFFFE, {0x00, 0x21}};
const Block kFirst{0x4000, {0x01, 0x02, 0x03, 0x04}};
const Block kSecond{0x5000, {0x05, 0x06}};

std::string Text(const Block& block) {
    return hex::Data(block.address, block.data);
}

std::string RunnableImage(const std::string& rest) {
    return Text(kVersion) + Text(kVectors) + rest + hex::EndOfFile();
}

/// What a forced run of an image with these blocks does; `within` stands for the blocks.
Conversation ForcedRun(const Conversation& within, bool programmed = true) {
    Conversation expected;
    expected.Begins().Detects().MassErases().Prepares().EntersLoader().OpensPort().Unlocks();
    expected.ErasesMain().Follows(within).ClosesPort().Releases().Ends();
    if (programmed) {
        expected.Pauses(500000).AsksVersion(4660);
    }
    return expected;
}

Conversation Sent(const std::vector<Block>& blocks) {
    return Conversation().Sends(blocks);
}

struct Expected {
    int status = 0;
    std::string within{};  ///< Said by the update.
    std::string end = kSuccess;
};

void ExpectForcedRun(Board& board, const std::string& image, const Expected& expected,
                     const Conversation& conversation) {
    const Outcome run = board.WithFile("image.hex", image).Runs({"-F", "-f", "image.hex"});
    EXPECT_EQ(run.status, expected.status);
    ExpectSame(run.log, kHexVersion + DetectionLog() + EraseLog() + UpdateLog(expected.within) +
                            expected.end);
    EXPECT_EQ(run.error, "");
    ExpectSame(run.Conversation(), conversation.Text());
}

void ExpectForcedRun(const std::string& image, const Expected& expected,
                     const Conversation& conversation) {
    Board board;
    ExpectForcedRun(board, image, expected, conversation);
}

// ------ images ------

TEST(Image, WithRecordsSeparatedInAnyWayIsSentTheSame) {
    const std::string image = RunnableImage(Text(kFirst));
    std::string crLf;
    std::string oneLine;
    for (const char c : image) {
        crLf += c == '\n' ? "\r\n" : std::string(1, c);
        oneLine += c == '\n' ? "" : std::string(1, c);
    }
    for (const std::string& text : {image, crLf, oneLine}) {
        ExpectForcedRun(text, {}, ForcedRun(Sent({kVersion, kVectors, kFirst})));
    }
}

TEST(Image, WithAVersionSplitOverTwoRecordsInEitherOrderIsFound) {
    const std::string low = hex::Data(0x20FF, {0xEE, 0x34});
    const std::string high = hex::Data(0x2101, {0x12});
    for (const std::string& records : {low + high, high + low}) {
        const Outcome run =
            Board().WithFile("image.hex", records + hex::EndOfFile()).Runs({"-f", "image.hex"});
        EXPECT_TRUE(run.log.starts_with(kHexVersion)) << run.log;
    }
}

TEST(Image, WithoutAVersionOrWithOneByteOfItIsRefusedBeforeAnythingIsTouched) {
    for (const std::string& records :
         {std::string(), hex::Data(0x2102, {1, 2}), hex::Data(0x20F0, Bytes(17, 0)),
          hex::Data(0x2101, {1, 2}), hex::Segment(0x1000)}) {
        const Outcome run =
            Board().WithFile("image.hex", records + hex::EndOfFile()).Runs({"-f", "image.hex"});
        EXPECT_EQ(run.status, kFailure);
        ExpectSame(run.log, kNoVersion);
        EXPECT_EQ(run.Conversation(), "");
    }
}

TEST(Image, ThatCannotBeOpenedIsRefusedWithItsName) {
    const Outcome run = Board().Runs({"-f", "no/such.hex"});
    EXPECT_EQ(run.status, kFailure);
    ExpectSame(run.log,
               Reader("error", "CIntelHexWrapper::Open failed to open no/such.hex") + kNoVersion);
    EXPECT_EQ(run.Conversation(), "");
}

TEST(Image, ThatIsEmptyOrAFolderIsRefusedWithTheReadersLines) {
    Board board;
    const std::vector<std::string> names{"empty.hex", "."};
    board.WithFile("empty.hex", "");
    for (const std::string& name : names) {
        const Outcome run = board.Runs({"-f", name});
        EXPECT_EQ(run.status, kFailure) << name;
        ExpectSame(run.log, EndOfFileLog() + kNoVersion);
        EXPECT_EQ(run.Conversation(), "");
    }
}

TEST(Image, WithAnUnknownRecordBeforeTheVersionIsRefused) {
    const std::string image = hex::Record(0x0A, 0x4142, {}) + RunnableImage("");
    const Outcome run = Board().WithFile("image.hex", image).Runs({"-f", "image.hex"});
    EXPECT_EQ(run.status, kFailure);
    // The numbers are raw bytes; the length 0 ends the printed text.
    ExpectSame(run.log, Reader("info",
                               "CIntelHexWrapper::GetNextData - > Unknown RecType \n frame: 1 "
                               "byLen ") +
                            kNoVersion);
}

TEST(Image, WithRecordsThatCarryNoDataSendsNothingForThem) {
    const std::string image =
        RunnableImage(hex::Segment(0) + hex::Record(0x04, 0, {0, 0}) + hex::Data(0x4000, {}) +
                      hex::Record(0x03, 0, {0, 0, 0, 0}) + hex::Record(0x05, 0, {0, 0, 0, 0}) +
                      hex::Record(0xFF, 0, {1}) + Text(kFirst));
    ExpectForcedRun(image, {}, ForcedRun(Sent({kVersion, kVectors, kFirst})));
}

TEST(Image, WithASegmentAddressSendsItsLow16Bits) {
    // 0x1000 x 16 + 0x4000 = 0x14000.
    ExpectForcedRun(
        RunnableImage(hex::Segment(0x1000) + Text(kFirst) + hex::Segment(0x0100) + Text(kFirst)),
        {}, ForcedRun(Sent({kVersion, kVectors, kFirst, {0x5000, kFirst.data}})));
}

TEST(Image, AboveTheFirst64KibibytesIsTakenForItsLow16Bits) {
    // A linear address is passed over, so the record for 0x14000 goes to 0x4000.
    ExpectForcedRun(RunnableImage(hex::Record(0x04, 0, {0x00, 0x01}) + Text(kFirst)), {},
                    ForcedRun(Sent({kVersion, kVectors, kFirst})));
    // The version may stand there, too: 0x12100.
    const Outcome run =
        Board()
            .WithFile("image.hex", hex::Segment(0x1000) + Text(kVersion) + hex::EndOfFile())
            .Runs({"-f", "image.hex"});
    EXPECT_TRUE(run.log.starts_with(kHexVersion)) << run.log;
}

TEST(Image, WithAWrongChecksumIsSentAllTheSame) {
    const auto right = hex::Checksum(0, kFirst.address, kFirst.data);
    ASSERT_EQ(right, 0xB2);
    const std::string image =
        RunnableImage(hex::DataWithChecksum(kFirst.address, kFirst.data, 'A'));
    ExpectForcedRun(image,
                    {.within = Reader("info",
                                      "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 "
                                      "frame: 3 expected: A calculated: \xB2")},
                    ForcedRun(Sent({kVersion, kVectors, kFirst})));
}

TEST(Image, WithASegmentRecordOfAWrongChecksumIsUsedAllTheSame) {
    const std::string segment =
        ":020000021000"
        "41\n";
    ExpectForcedRun(RunnableImage(segment + Text(kFirst)),
                    {.within = Reader("info",
                                      "CIntelHexWrapper::GetNextData - > Checksum Error RecTyp 02 "
                                      "frame: 3 expected: A calculated: \xEC")},
                    ForcedRun(Sent({kVersion, kVectors, kFirst})));
}

TEST(Image, InLowerCaseIsSentAsOtherBytes) {
    // 'a' counts 42 and 'b' 43: "ab" is 42 * 16 + 43 = 715, cut to 0xCB. Only a checksum that does
    // not fit the bytes as they were read is told: here 28, where 68 and upper case were meant.
    Board board;
    ExpectForcedRun(board,
                    RunnableImage(":02400000"
                                  "abab"
                                  "68\n"),
                    {.within = Reader("info",
                                      "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 "
                                      "frame: 3 expected: h calculated: (")},
                    ForcedRun(Sent({kVersion, kVectors, {0x4000, {0xCB, 0xCB}}})));
    EXPECT_EQ(board.Memory().at(0x4000), 0xCB);
    ExpectForcedRun(RunnableImage(":02400000"
                                  "abab"
                                  "28\n"),
                    {}, ForcedRun(Sent({kVersion, kVectors, {0x4000, {0xCB, 0xCB}}})));
}

TEST(Image, WithAnOddRecordSendsOneStaleByteAfterIt) {
    // After four bytes 01 02 03 04, three others leave the 04; before any longer record it is 0.
    Board board;
    ExpectForcedRun(board,
                    RunnableImage(hex::Data(0x3000, {0xAA, 0xBB, 0xCC}) + Text(kFirst) +
                                  hex::Data(0x6000, {0x0A, 0x0B, 0x0C})),
                    {},
                    ForcedRun(Sent({kVersion,
                                    kVectors,
                                    {0x3000, {0xAA, 0xBB, 0xCC, 0x00}},
                                    kFirst,
                                    {0x6000, {0x0A, 0x0B, 0x0C, 0x04}}})));
    EXPECT_EQ(board.Memory().at(0x6003), 0x04);
}

TEST(Image, WithARecordOf250BytesSendsItAsOneBlock) {
    const Block block{0x4000, Bytes(250, 0x5A)};
    ExpectForcedRun(RunnableImage(Text(block)), {}, ForcedRun(Sent({kVersion, kVectors, block})));
}

TEST(Image, WithARecordOf251BytesEndsThereAndStillSucceeds) {
    // 'expected' is the byte at the data's first place, 5A = Z; the sum is over all of the record.
    const Bytes data(251, 0x5A);
    const std::string calculated(1, static_cast<char>(hex::Checksum(0, 0x4000, data)));
    Board board;
    ExpectForcedRun(board, RunnableImage(hex::Data(0x4000, data) + Text(kSecond)),
                    {.within = Reader("info",
                                      "CIntelHexWrapper::GetNextData - > Error RecType 00 frame: 3 "
                                      " byLen <= buffLen ") +
                               Reader("info",
                                      "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 "
                                      "frame: 3 expected: Z calculated: " +
                                          calculated)},
                    ForcedRun(Sent({kVersion, kVectors})));
    EXPECT_EQ(board.Memory().at(0x4000), 0xFF);
    EXPECT_EQ(board.Memory().at(0x5000), 0xFF);
}

TEST(Image, WithAnUnreadableRecordEndsThereAndStillSucceeds) {
    Board board;
    ExpectForcedRun(board, RunnableImage(hex::Record('B', 0x4344, {0x45}) + Text(kSecond)),
                    {.within = Reader("info",
                                      "CIntelHexWrapper::GetNextData - > Unknown RecType B frame: "
                                      "3 byLen \x01 byAddrHi C byAddrLo D")},
                    ForcedRun(Sent({kVersion, kVectors})));
    EXPECT_EQ(board.Memory().at(0x5000), 0xFF);
}

TEST(Image, WithALineTooLongForTheReaderEndsThereAndStillSucceeds) {
    Board board;
    const std::string line = ":00400000C0" + std::string(1013, ' ') + "\n";
    ASSERT_EQ(line.size(), 1025U);
    ExpectForcedRun(
        board, RunnableImage(line + Text(kSecond)),
        {.within = Reader("error", "CIntelHexWrapper::GetNextData() ReadLineToBuffer failed ")},
        ForcedRun(Sent({kVersion, kVectors})));
}

TEST(Image, WithoutAnEndRecordSucceedsAfterTheReadersLines) {
    ExpectForcedRun(Text(kVersion) + Text(kVectors), {.within = EndOfFileLog()},
                    ForcedRun(Sent({kVersion, kVectors})));
}

TEST(Image, AtAnOddAddressIsRefusedByTheChipThreeTimes) {
    const Block odd{0x4001, {1, 2}};
    Conversation blocks = Sent({kVersion, kVectors});
    std::string log;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        blocks.Syncs().Exchanges(loader::WriteFrame(odd.address, odd.data), {0xA0});
        log += Target("error",
                      "CFWUMsp::SendFirmwareToMSP -> error WriteDataBlock nRead 2 wAddress 16385 "
                      "try " +
                          std::to_string(attempt));
    }
    ExpectForcedRun(
        RunnableImage(Text(odd)),
        {kFailure, log + Target("error", "CFWUMsp::UpdateMSP -> error sending firmware"),
         Say("error", "MSP not programmed")},
        ForcedRun(blocks, false));
}

// ------ a chip that refuses a block ------

std::string Refused(const Block& block, int attempt) {
    return Target("error", "CFWUMsp::SendFirmwareToMSP -> error WriteDataBlock nRead " +
                               std::to_string(block.data.size()) + " wAddress " +
                               std::to_string(block.address) + " try " + std::to_string(attempt));
}

Conversation& RefusesBlock(Conversation& conversation, const Block& block) {
    return conversation.Syncs().Exchanges(loader::WriteFrame(block.address, block.data), {0xA0});
}

TEST(RefusedBlock, IsSentAgainAfterASyncAndTheDownloadGoesOn) {
    for (const int times : {1, 2}) {
        Board board;
        board.WithFault("answer:write#3.." + std::to_string(2 + times) + "=nak");
        Conversation blocks = Sent({kVersion, kVectors});
        std::string log;
        for (int attempt = 1; attempt <= times; ++attempt) {
            RefusesBlock(blocks, kFirst);
            log += Refused(kFirst, attempt);
        }
        blocks.Sends(std::vector<Block>{kFirst, kSecond});
        const std::string image = RunnableImage(Text(kFirst) + Text(kSecond));
        ExpectForcedRun(board, image, {.within = log}, ForcedRun(blocks));
        EXPECT_EQ(board.DifferenceFrom(image), "");
    }
}

TEST(RefusedBlock, ThreeTimesEndsTheDownloadAsAFailure) {
    Board board;
    board.WithFault("answer:write#3..5=nak");
    Conversation blocks = Sent({kVersion, kVectors});
    std::string log;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        RefusesBlock(blocks, kFirst);
        log += Refused(kFirst, attempt);
    }
    ExpectForcedRun(
        board, RunnableImage(Text(kFirst) + Text(kSecond)),
        {kFailure, log + Target("error", "CFWUMsp::UpdateMSP -> error sending firmware"),
         Say("error", "MSP not programmed")},
        ForcedRun(blocks, false));
}

TEST(RefusedBlock, HasThreeAttemptsOfItsOwn) {
    Board board;
    board.WithFault("answer:write#3..4=nak").WithFault("answer:write#6..7=nak");
    Conversation blocks = Sent({kVersion, kVectors});
    RefusesBlock(RefusesBlock(blocks, kFirst), kFirst).Sends(kFirst);
    RefusesBlock(RefusesBlock(blocks, kSecond), kSecond).Sends(kSecond);
    ExpectForcedRun(board, RunnableImage(Text(kFirst) + Text(kSecond)),
                    {.within = Refused(kFirst, 1) + Refused(kFirst, 2) + Refused(kSecond, 1) +
                               Refused(kSecond, 2)},
                    ForcedRun(blocks));
}

TEST(RefusedBlock, IsAnyReplyThatIsNotOneAcknowledge) {
    // Reads of the port before the third block's reply: 1 + 2 + 2 + 40 + 4 + 1.
    struct Row {
        const char* fault;
        Bytes reply;
    };
    for (const auto& [fault, reply] :
         {Row{"answer:write#3=bytes 91", {0x91}}, Row{"read:port#51=bytes 90 90", {0x90, 0x90}},
          Row{"read:port#51=bytes 00", {0x00}}}) {
        SCOPED_TRACE(fault);
        Board board;
        board.WithFault(fault);
        Conversation blocks = Sent({kVersion, kVectors});
        blocks.Syncs().Exchanges(loader::WriteFrame(kFirst.address, kFirst.data), reply);
        blocks.Sends(kFirst);
        ExpectForcedRun(board, RunnableImage(Text(kFirst)), {.within = Refused(kFirst, 1)},
                        ForcedRun(blocks));
    }
}

TEST(RefusedBlock, IsOneThatIsNotWrittenInWhole) {
    Board board;
    board.WithFault("write:port#51=eio");
    Conversation blocks = Sent({kVersion, kVectors});
    const Bytes frame = loader::WriteFrame(kFirst.address, kFirst.data);
    // The loader waits for the frame's rest, takes the next sync for its first byte, and both sides
    // wait for each other from then on.
    blocks.Syncs().CannotWrite(frame, "EIO");
    blocks.Writes({0x80});
    const Outcome run =
        board.WithFile("image.hex", RunnableImage(Text(kFirst))).Runs({"-F", "-f", "image.hex"});
    EXPECT_EQ(run.status, 124);
    EXPECT_TRUE(run.log.ends_with(Refused(kFirst, 1))) << run.log;
    Conversation expected;
    expected.Begins().Detects().MassErases().Prepares().EntersLoader().OpensPort().Unlocks();
    expected.ErasesMain().Follows(blocks);
    ExpectSame(run.Conversation(), expected.Text());
}

// ------ a sync that fails ------

TEST(FailedSync, BeforeABlocksFirstFrameEndsTheDownloadAndStillSucceeds) {
    Board board;
    // Syncs before: detection 1, erase 1, update 1, rounds 20, blocks 2.
    board.WithFault("answer:sync#26=nak");
    Conversation blocks = Sent({kVersion, kVectors});
    blocks.Syncs({0xA0});
    ExpectForcedRun(board, RunnableImage(Text(kFirst) + Text(kSecond)),
                    {.within = Target("error",
                                      "CFWUMsp::SendFirmwareToMSP -> error send sync for address: "
                                      "16384")},
                    ForcedRun(blocks));
    EXPECT_EQ(board.Memory().at(0x2100), 0x34);
    EXPECT_EQ(board.Memory().at(0x4000), 0xFF);
    EXPECT_EQ(board.Memory().at(0x5000), 0xFF);
}

TEST(FailedSync, BeforeTheFirstBlockLeavesAnEmptyChipAndOnlyTheVersionCheckFails) {
    Board board;
    board.WithFault("answer:sync#24=nak");
    const std::string image = RunnableImage(Text(kFirst));
    Conversation expected = ForcedRun(Conversation().Syncs({0xA0}), false);
    expected.Pauses(500000).AsksInVain();
    ExpectForcedRun(
        board, image,
        {kFailure,
         Target("error", "CFWUMsp::SendFirmwareToMSP -> error send sync for address: 8448"),
         Say("warn", "Error reading current version from MSP") +
             Say("error", "New MSP firmware version is 0 which does not match hexfile version")},
        expected);
}

TEST(FailedSync, BeforeARepeatedFrameIsAFailure) {
    Board board;
    board.WithFault("answer:write#3=nak").WithFault("answer:sync#27=nak");
    Conversation blocks = Sent({kVersion, kVectors});
    RefusesBlock(blocks, kFirst).Syncs({0xA0});
    ExpectForcedRun(
        board, RunnableImage(Text(kFirst)),
        {kFailure,
         Refused(kFirst, 1) +
             Target("error", "CFWUMsp::SendFirmwareToMSP -> error send sync for address: 16384") +
             Target("error", "CFWUMsp::UpdateMSP -> error sending firmware"),
         Say("error", "MSP not programmed")},
        ForcedRun(blocks, false));
}

}  // namespace
