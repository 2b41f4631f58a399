// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "TestBoard.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Expected.h"
#include "tests/support/HexText.h"
#include "tests/support/LoaderFrames.h"
#include "tests/support/TempFolder.h"

using expected::Exchange;
using expected::Log;
using expected::LogOf;
using expected::Sent;
using expected::Sync;
using loader::kAck;
using loader::kNak;

namespace {

// `count` bytes from `first` on, each one more than the one before.
Bytes Counting(std::uint8_t first, int count) {
    Bytes bytes;
    for (int index = 0; index < count; ++index) {
        bytes.push_back(static_cast<std::uint8_t>(first + index));
    }
    return bytes;
}

std::string FirstDataFailed() {
    return Log("error", "CFWUMsp::SendFirmwareToMSP -> error getting first data");
}

std::string SyncFailed(int address) {
    return Log("error", "CFWUMsp::SendFirmwareToMSP -> error send sync for address: " +
                            std::to_string(address));
}

std::string WriteFailed(int count, int address, int tryCount) {
    return Log("error", "CFWUMsp::SendFirmwareToMSP -> error WriteDataBlock nRead " +
                            std::to_string(count) + " wAddress " + std::to_string(address) +
                            " try " + std::to_string(tryCount));
}

const std::string kTextEnds =
    LogOf("IntelHexFileWrapper", "error",
          "CIntelHexWrapper::ReadLineToBuffer() Error reading char from file.") +
    LogOf("IntelHexFileWrapper", "error",
          "CIntelHexWrapper::GetNextData() ReadLineToBuffer failed ");

// A block that is taken at once.
std::string Block(std::uint16_t address, const Bytes& data) {
    return Sync() + Exchange(loader::WriteFrame(address, data), kAck);
}

// The download of an image with the port open.
class Download : public TargetTest {
protected:
    // `blocks` blocks that are taken at once.
    Download& TargetTakes(int blocks) {
        Port().AnswersTimes(2 * blocks, {kAck});
        return *this;
    }

    bool Send(const std::string& image) {
        m_target.m_hexReader.Close();
        EXPECT_TRUE(m_target.m_hexReader.Open(m_folder.WriteFile("image.hex", image)));
        if (m_target.m_serialFd < 0) {
            OpenPort();
        }
        m_host.Forget();
        return m_target.SendFirmwareToMSP();
    }

    TempFolder m_folder;
};

}  // namespace

TEST_F(Download, OfAnEndOfFileRecordAloneFails) {
    EXPECT_FALSE(Send(hex::EndOfFile()));
    EXPECT_EQ(Conversation(), FirstDataFailed());
}

TEST_F(Download, OfAnEmptyFileFailsAfterTheReadersLines) {
    EXPECT_FALSE(Send(""));
    EXPECT_EQ(Conversation(), kTextEnds + FirstDataFailed());
}

TEST_F(Download, OfRecordsWithoutDataFailsWithoutASync) {
    EXPECT_FALSE(Send(hex::Segment(0) + hex::Data(0x2100, {}) + hex::Record(0x04, 0, {0, 0}) +
                      hex::Record(0x05, 0, {0, 0, 0, 0}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(), FirstDataFailed());
}

TEST_F(Download, SendsEachRecordAsOneBlockAtItsOwnAddress) {
    TargetTakes(3);
    EXPECT_TRUE(Send(hex::Data(0x2100, Counting(0, 16)) + hex::Segment(0x0100) +
                     hex::Data(0x2100, {}) + hex::Data(0x2000, Counting(0x40, 250)) +
                     hex::Segment(0) + hex::Data(0xFFFE, {0x00, 0x21}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(), Block(0x2100, Counting(0, 16)) + Block(0x3000, Counting(0x40, 250)) +
                                  Block(0xFFFE, {0x00, 0x21}));
    EXPECT_EQ(m_host.PausedUs(), 0);
}

TEST_F(Download, SendsTheBytesOfTheFramesOneByOne) {
    TargetTakes(1);
    EXPECT_TRUE(Send(hex::Data(0x2100, {0x34, 0x12}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(),
              "write /dev/ttyS1 80\n"
              "read /dev/ttyS1 300 gets 90\n"
              "write /dev/ttyS1 80 12 06 06 00 21 02 00 34 12 4F D8\n"
              "read /dev/ttyS1 300 gets 90\n");
}

TEST_F(Download, NeitherRewindsNorClosesTheFile) {
    TargetTakes(1);
    EXPECT_TRUE(Send(hex::Data(0x2100, {0x34, 0x12}) + hex::EndOfFile()));
    EXPECT_TRUE(m_target.m_hexReader.m_file.is_open());
    EXPECT_EQ(m_target.m_hexReader.m_recordNumber, 2U);
    EXPECT_GE(m_target.m_serialFd, 0);
    EXPECT_FALSE(m_target.SendFirmwareToMSP());
}

TEST_F(Download, PadsAnOddBlockWithAZeroWhenNoLongerOneCameBefore) {
    TargetTakes(2);
    EXPECT_TRUE(Send(hex::Data(0x2100, {0x11}) + hex::Data(0x2110, {1, 2, 3}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(), Block(0x2100, {0x11, 0x00}) + Block(0x2110, {1, 2, 3, 0x00}));
}

TEST_F(Download, PadsAnOddBlockWithTheByteThatALongerOneLeft) {
    TargetTakes(4);
    EXPECT_TRUE(Send(hex::Data(0x2100, Counting(0, 16)) + hex::Data(0x2110, Counting(0x80, 15)) +
                     hex::Data(0x2120, {0xEE}) + hex::Data(0x2130, Counting(0xC0, 17)) +
                     hex::EndOfFile()));
    EXPECT_EQ(Conversation(),
              Block(0x2100, Counting(0, 16)) + Block(0x2110, Counting(0x80, 15) + Bytes{0x0F}) +
                  Block(0x2120, {0xEE, 0x81}) + Block(0x2130, Counting(0xC0, 17) + Bytes{0x00}));
}

TEST_F(Download, StartsWithAClearDataBuffer) {
    TargetTakes(1);
    std::fill_n(m_target.m_dataBuffer, 300, static_cast<unsigned char>(0xEE));
    EXPECT_TRUE(Send(hex::Data(0x2100, {0x11}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(), Block(0x2100, {0x11, 0x00}));
    EXPECT_EQ(Bytes(m_target.m_dataBuffer, m_target.m_dataBuffer + 300),
              Bytes{0x11} + Repeat(0, 299));
}

TEST_F(Download, ABlockRefusedOnceIsSyncedAndSentAgain) {
    Port().Answers({kAck}).Answers({kNak}).AnswersTimes(4, {kAck});
    EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2, 3}) + hex::Data(0x2110, {4, 5}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(), Sync() + Exchange(loader::WriteFrame(0x2100, {1, 2, 3, 0}), kNak) +
                                  WriteFailed(3, 8448, 1) + Block(0x2100, {1, 2, 3, 0}) +
                                  Block(0x2110, {4, 5}));
}

TEST_F(Download, ABlockRefusedTwiceCanStillBeTaken) {
    Port().Answers({kAck}).Answers({kNak}).Answers({kAck}).Answers({kNak}).AnswersTimes(2, {kAck});
    EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2}) + hex::EndOfFile()));
    const std::string refused = Sync() + Exchange(loader::WriteFrame(0x2100, {1, 2}), kNak);
    EXPECT_EQ(Conversation(), refused + WriteFailed(2, 8448, 1) + refused +
                                  WriteFailed(2, 8448, 2) + Block(0x2100, {1, 2}));
}

TEST_F(Download, ABlockRefusedThreeTimesEndsIt) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        Port().Answers({kAck}).Answers({kNak});
    }
    EXPECT_FALSE(Send(hex::Data(0x2100, {1, 2}) + hex::Data(0x2200, {1, 2}) + hex::EndOfFile()));
    const std::string refused = Sync() + Exchange(loader::WriteFrame(0x2100, {1, 2}), kNak);
    EXPECT_EQ(Conversation(), refused + WriteFailed(2, 8448, 1) + refused +
                                  WriteFailed(2, 8448, 2) + refused + WriteFailed(2, 8448, 3));
}

TEST_F(Download, EachBlockHasThreeAttemptsOfItsOwn) {
    for (int block = 0; block < 2; ++block) {
        Port().Answers({kAck}).Answers({kNak}).Answers({kAck}).Answers({kNak});
        TargetTakes(1);
    }
    EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2}) + hex::Data(0x2200, {3, 4}) + hex::EndOfFile()));
    std::string all;
    for (const auto& [address, data] :
         std::vector<std::pair<std::uint16_t, Bytes>>{{0x2100, {1, 2}}, {0x2200, {3, 4}}}) {
        const std::string refused = Sync() + Exchange(loader::WriteFrame(address, data), kNak);
        all += refused + WriteFailed(2, address, 1) + refused + WriteFailed(2, address, 2) +
               Block(address, data);
    }
    EXPECT_EQ(Conversation(), all);
}

TEST_F(Download, EveryReplyThatIsNotOneAckIsARefusal) {
    const std::vector<std::pair<Bytes, std::string>> replies{
        {{0xA0}, "gets A0\n"}, {{0x91}, "gets 91\n"}, {{0x90, 0x90}, "gets 90 90\n"}};
    for (const auto& [reply, shown] : replies) {
        Port().Answers({kAck}).Answers(reply);
        TargetTakes(1);
        EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2}) + hex::EndOfFile()));
        EXPECT_EQ(Conversation(), Sync() + Sent(loader::WriteFrame(0x2100, {1, 2})) +
                                      "read /dev/ttyS1 300 " + shown + WriteFailed(2, 8448, 1) +
                                      Block(0x2100, {1, 2}));
    }
    Port().Answers({kAck}).EndsRead().Answers({kAck}).FailsRead();
    TargetTakes(1);
    EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2}) + hex::EndOfFile()));
    const std::string sent = Sync() + Sent(loader::WriteFrame(0x2100, {1, 2}));
    EXPECT_EQ(Conversation(), sent + "read /dev/ttyS1 300 gets nothing\n" +
                                  WriteFailed(2, 8448, 1) + sent + "read /dev/ttyS1 300 fails\n" +
                                  WriteFailed(2, 8448, 2) + Block(0x2100, {1, 2}));
}

TEST_F(Download, AFrameNotWrittenInWholeIsARefusalWithoutARead) {
    Port().AnswersTimes(3, {kAck});
    OpenPort();
    Port().TakesOnly(11, 1).FailsWrite(3).TakesOnly(0, 5);
    EXPECT_FALSE(Send(hex::Data(0x2100, {1, 2}) + hex::EndOfFile()));
    const std::string frame = "write /dev/ttyS1 " + ToText(loader::WriteFrame(0x2100, {1, 2}));
    EXPECT_EQ(Conversation(), Sync() + frame + " takes 11\n" + WriteFailed(2, 8448, 1) + Sync() +
                                  frame + " fails\n" + WriteFailed(2, 8448, 2) + Sync() + frame +
                                  " takes 0\n" + WriteFailed(2, 8448, 3));
}

TEST_F(Download, ASyncThatFailsBeforeTheFirstFrameOfAllStillCountsAsSuccess) {
    Port().Answers({kNak});
    EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(), Sync(kNak) + SyncFailed(8448));
}

TEST_F(Download, ASyncThatFailsBeforeASecondBlockEndsItEarlyAndStillCountsAsSuccess) {
    TargetTakes(1);
    Port().Answers({kNak});
    EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2}) + hex::Data(0x2200, {3, 4}) +
                     hex::Data(0x2300, {5, 6}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(), Block(0x2100, {1, 2}) + Sync(kNak) + SyncFailed(0x2200));
}

TEST_F(Download, ASyncThatFailsBeforeARepeatedFrameIsAFailure) {
    for (int refusals = 1; refusals <= 2; ++refusals) {
        std::string all = Block(0x2100, {1, 2});
        TargetTakes(1);
        for (int attempt = 1; attempt <= refusals; ++attempt) {
            Port().Answers({kAck}).Answers({kNak});
            all += Sync() + Exchange(loader::WriteFrame(0x2200, {3, 4}), kNak) +
                   WriteFailed(2, 0x2200, attempt);
        }
        Port().Answers({kNak});
        EXPECT_FALSE(
            Send(hex::Data(0x2100, {1, 2}) + hex::Data(0x2200, {3, 4}) + hex::EndOfFile()));
        EXPECT_EQ(Conversation(), all + Sync(kNak) + SyncFailed(0x2200));
    }
}

TEST_F(Download, EverySyncReplyThatIsNotOneAckFailsTheSync) {
    for (const Bytes& reply : {Bytes{0x90, 0x90}, Bytes{0x91}, Bytes{0x00}}) {
        Port().Answers(reply);
        EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2}) + hex::EndOfFile()));
        EXPECT_EQ(Conversation(), Sent({0x80}) + "read /dev/ttyS1 300 gets " + ToText(reply) +
                                      "\n" + SyncFailed(8448));
    }
    Port().EndsRead();
    EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(),
              Sent({0x80}) + "read /dev/ttyS1 300 gets nothing\n" + SyncFailed(8448));
}

TEST_F(Download, ASyncThatIsNotWrittenFailsWithoutARead) {
    OpenPort();
    for (const int count : {0, -1}) {
        Port().TakesOnly(count);
        EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2}) + hex::EndOfFile()));
        EXPECT_EQ(Conversation(), std::string("write /dev/ttyS1 80 ") +
                                      (count < 0 ? "fails\n" : "takes 0\n") + SyncFailed(8448));
    }
}

TEST_F(Download, OnAClosedPortFailsItsFirstSyncAndStillCountsAsSuccess) {
    ASSERT_TRUE(m_target.m_hexReader.Open(
        m_folder.WriteFile("image.hex", hex::Data(0x2100, {1, 2}) + hex::EndOfFile())));
    EXPECT_TRUE(m_target.SendFirmwareToMSP());
    EXPECT_EQ(Conversation(), SyncFailed(8448));
}

TEST_F(Download, ARecordOf250BytesIsSentAsOneFrameOf260) {
    TargetTakes(1);
    EXPECT_TRUE(Send(hex::Data(0x2100, Counting(3, 250)) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(), Block(0x2100, Counting(3, 250)));
}

TEST_F(Download, ARecordOf251BytesEndsItAndCountsAsSuccessAfterABlock) {
    const std::string tooLong = hex::Data(0x2200, Repeat(0x42, 251));
    const auto said = [](int frame) {
        const std::string number = std::to_string(frame);
        return LogOf("IntelHexFileWrapper", "info",
                     "CIntelHexWrapper::GetNextData - > Error RecType 00 frame: " + number +
                         "  byLen <= buffLen ") +
               // 0xFB + 0x22 + 251 x 0x42 = 0x41D3 (0xD3), negated 0x2D.
               LogOf("IntelHexFileWrapper", "info",
                     "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 frame: " +
                         number + " expected: B calculated: -");
    };
    EXPECT_FALSE(Send(tooLong + hex::Data(0x2100, {1, 2}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(), said(1) + FirstDataFailed());
    TargetTakes(1);
    EXPECT_TRUE(
        Send(hex::Data(0x2100, {1, 2}) + tooLong + hex::Data(0x2300, {3, 4}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(), Block(0x2100, {1, 2}) + said(2));
}

TEST_F(Download, AnUnreadableRecordEndsItAndCountsAsSuccessAfterABlock) {
    TargetTakes(1);
    EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2}) + hex::Record(0x41, 0x4243, Repeat(0, 0x44)) +
                     hex::Data(0x2300, {3, 4}) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(),
              Block(0x2100, {1, 2}) +
                  LogOf("IntelHexFileWrapper", "info",
                        "CIntelHexWrapper::GetNextData - > Unknown RecType A frame: 2 byLen D "
                        "byAddrHi B byAddrLo C"));
}

TEST_F(Download, AFileWithoutAnEndOfFileRecordCountsAsSuccessAfterABlock) {
    TargetTakes(1);
    EXPECT_TRUE(Send(hex::Data(0x2100, {1, 2})));
    EXPECT_EQ(Conversation(), Block(0x2100, {1, 2}) + kTextEnds);
}

TEST_F(Download, ARecordWithAWrongChecksumIsSentAsItIs) {
    TargetTakes(1);
    EXPECT_TRUE(Send(hex::DataWithChecksum(0x2100, {1, 2}, 0x41) + hex::EndOfFile()));
    EXPECT_EQ(Conversation(),
              LogOf("IntelHexFileWrapper", "info",
                    "CIntelHexWrapper::GetNextData - > Checksum Error RecType 00 frame: 1 "
                    "expected: A calculated: \\xDA") +
                  Block(0x2100, {1, 2}));
}

namespace {

// What a download of this many blocks of 16 bytes takes: calls on the port, allocations.
class DownloadCost : public Download {
protected:
    struct Cost {
        std::size_t portCalls;
        std::size_t allocations;
    };

    Cost CostOf(int blocks) {
        std::string image;
        for (int block = 0; block < blocks; ++block) {
            image += hex::Data(static_cast<std::uint16_t>(0x2100 + 16 * block), Counting(0, 16));
        }
        image += hex::EndOfFile();
        const std::string name = m_folder.WriteFile("image.hex", image);
        m_target.m_hexReader.Close();
        EXPECT_TRUE(m_target.m_hexReader.Open(name));
        TargetTakes(blocks);
        m_host.Forget();
        const std::size_t before = allocation_counter::Count();
        EXPECT_TRUE(m_target.SendFirmwareToMSP());
        const std::size_t allocations = allocation_counter::Count() - before;
        const std::string said = Conversation();
        return {static_cast<std::size_t>(std::count(said.begin(), said.end(), '\n')), allocations};
    }
};

}  // namespace

TEST_F(DownloadCost, OfABlockIsFourCallsAndNoAllocationHoweverLongTheFile) {
    OpenPort();
    for (const int blocks : {1, 2, 100, 2000}) {
        const Cost cost = CostOf(blocks);
        EXPECT_EQ(cost.portCalls, 4U * static_cast<unsigned>(blocks));
        EXPECT_EQ(cost.allocations, 0U) << blocks << " blocks";
    }
}

RC_GTEST_PROP(DownloadProperty, AnyImageArrivesRecordByRecord,
              (const std::vector<std::pair<std::uint16_t, Bytes>>& records)) {
    ScriptedHost host;
    const TempFolder folder;
    CFWUMsp target(&kBoard);
    RC_ASSERT(target.OpenSerial("/dev/ttyS1", 9600, 8, true, false, false, false));
    std::string image;
    std::string expectedTalk;
    Bytes left = Repeat(0, 300);
    for (const auto& [address, given] : records) {
        Bytes data = given;
        data.resize(std::min<std::size_t>(data.size(), 250));
        image += hex::Data(address, data);
        std::copy(data.begin(), data.end(), left.begin());
        const auto even = static_cast<long>(data.size() + data.size() % 2);
        if (even > 0) {
            host.Device("/dev/ttyS1").AnswersTimes(2, {kAck});
            expectedTalk += Block(address, {left.begin(), left.begin() + even});
        }
    }
    RC_ASSERT(target.m_hexReader.Open(folder.WriteFile("image.hex", image + hex::EndOfFile())));
    host.Forget();
    RC_ASSERT(target.SendFirmwareToMSP() == !expectedTalk.empty());
    RC_ASSERT(host.Conversation() == (expectedTalk.empty() ? FirstDataFailed() : expectedTalk));
}
