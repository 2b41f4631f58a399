// SPDX-License-Identifier: MIT
#include "guard/check/ImageFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "flashmcu/Log.h"
#include "guard/check/ToolView.h"
#include "tests/support/TempFolder.h"

namespace guard {
namespace {

// Version 4660, start-up code at 0x2110, and the reset vector that leads there.
const std::string kVersion = ":02210000341297\n";
const std::string kCode = ":0221100030415C\n";
const std::string kVector = ":02FFFE001021D0\n";
const std::string kEnd = ":00000001FF\n";
const std::string kGood = kVersion + kCode + kVector;

class AnImageFile : public testing::Test {
protected:
    /// Reads a file of this text for the first built-in board.
    ImageFile Read(const std::string& text) {
        m_path = m_folder.WriteFile("image.hex", text);
        return ReadImageFile(m_path, BuiltInBoards().front());
    }

    /// All findings, with "IMAGE" for the path.
    std::string FoundIn(const std::string& text) { return Lines(Read(text)); }

    static std::string Lines(const ImageFile& file) {
        std::string lines;
        for (const image::Finding& finding : file.found.Kept()) {
            lines += (finding.refused ? "" : "said: ") + TextOf("IMAGE", finding) + "\n";
        }
        return lines;
    }

    std::string ToolSays(const std::string& text) {
        const ImageFile file = Read(text);
        std::string lines;
        for (const std::string& line : SentencesOf(LookAsTheToolDoes(m_path, 0x2100),
                                                   file.found.Refused() ? nullptr : &file.memory)) {
            lines += line + "\n";
        }
        return lines;
    }

    TempFolder m_folder;
    std::string m_path;
};

TEST_F(AnImageFile, ThatIsWellHasVersionAndStartAndSum) {
    const ImageFile file = Read(kGood + kEnd);
    EXPECT_EQ(Lines(file), "");
    EXPECT_FALSE(file.found.Refused());
    EXPECT_EQ(file.path, m_path);
    EXPECT_EQ(file.version, 0x1234);
    EXPECT_EQ(file.start, 0x2110);
    EXPECT_EQ(file.memory.CoveredBytes(), 6U);
    // As sha256sum prints it.
    EXPECT_EQ(file.sha256, "dca4fd11aaebbbc3f4cbf78b1dbb872fb8aa291eae6ac2a314f724183acadbef");
}

TEST_F(AnImageFile, WithoutDataAtTheVersionsAddressIsRefused) {
    const std::string line =
        "IMAGE: there is no data at the version's address, 0x2100; keep the firmware's version "
        "there, or name the board that has it elsewhere\n";
    EXPECT_EQ(FoundIn(kCode + kVector + kEnd), line);
    EXPECT_EQ(FoundIn(":0121000034AA\n" + kCode + kVector + kEnd),
              line +
                  "said: IMAGE:1: the block at 0x2100 is odd, and 0x2101 becomes 0xFF; nothing "
                  "has to be done\n");
}

TEST_F(AnImageFile, WithoutAResetVectorThatLeadsToItsOwnDataIsRefused) {
    const std::string line =
        "there is no reset vector at 0xFFFE; link the firmware with its interrupt vectors\n";
    EXPECT_EQ(FoundIn(kVersion + kCode + kEnd), "IMAGE: " + line);
    EXPECT_EQ(FoundIn(kVersion + kCode + ":02FFFE00FFFF03\n" + kEnd), "IMAGE:3: " + line);
    EXPECT_EQ(FoundIn(kVersion + kCode + ":02FFFE001031C0\n" + kEnd),
              "IMAGE:3: the reset vector points to 0x3110, where the image has nothing; link the "
              "firmware anew, with its start-up code\n");
    EXPECT_EQ(FoundIn(kVersion + kCode + ":02FFFE001003EE\n" + kEnd),
              "IMAGE:3: the reset vector points to 0x0310, where the image has nothing; link the "
              "firmware anew, with its start-up code\n");
}

TEST_F(AnImageFile, WithDataOutsideOfTheBoardsMemoryIsRefused) {
    const std::string rest =
        " is beyond main and information memory; link the firmware for this chip, or name the "
        "board that it is for\n";
    EXPECT_EQ(FoundIn(kGood + ":0102000001FC\n" + kEnd), "IMAGE:4: 0x0200" + rest);
    EXPECT_EQ(FoundIn(":020000040001F9\n" + kVersion + ":020000040000FA\n" + kGood + kEnd),
              "IMAGE:2: 0x12100" + rest);
    EXPECT_EQ(FoundIn(kGood + ":0110000001EE\n:0110010002EC\n" + kEnd), "");
}

TEST_F(AnImageFile, OfVersionZeroIsTakenWithAWord) {
    EXPECT_EQ(FoundIn(":022100000000DD\n" + kCode + kVector + kEnd),
              "said: IMAGE:1: the version is 0; number firmware from 1, since flashmcu takes a "
              "silent chip for 0\n");
}

TEST_F(AnImageFile, WithOddBlocksIsTakenWithAWordForEach) {
    EXPECT_EQ(FoundIn(kGood + ":03212000010203B6\n:0121310009A4\n" + kEnd),
              "said: IMAGE:4: the block at 0x2122 is odd, and 0x2123 becomes 0xFF; nothing has to "
              "be done\n"
              "said: IMAGE:5: the block at 0x2131 is odd, and 0x2130 becomes 0xFF; nothing has to "
              "be done\n");
}

TEST_F(AnImageFile, WithEqualBytesTwiceIsTakenWithAWord) {
    EXPECT_EQ(FoundIn(kGood + kVersion + kEnd),
              "said: IMAGE:4: 0x2100 is given again with the same value, and 1 more bytes; nothing "
              "has to be done\n");
}

TEST_F(AnImageFile, ThatHasSeveralFaultsTellsOddBlocksLast) {
    EXPECT_EQ(FoundIn(":0121310009A4\n" + kVersion + kEnd),
              "IMAGE: there is no reset vector at 0xFFFE; link the firmware with its interrupt "
              "vectors\n"
              "said: IMAGE:1: the block at 0x2131 is odd, and 0x2130 becomes 0xFF; nothing has to "
              "be done\n");
}

TEST_F(AnImageFile, ThatIsDamagedIsRefusedWithAllThatIsWrong) {
    EXPECT_EQ(
        FoundIn(":02210000341298\n" + kVector),
        "IMAGE:1: the checksum is 97, not 98; get the image anew, this one was damaged on its "
        "way\n"
        "IMAGE:3: the end record is missing; get the whole image, this one was cut short\n"
        "IMAGE: there is no data at the version's address, 0x2100; keep the firmware's "
        "version there, or name the board that has it elsewhere\n"
        "IMAGE:2: the reset vector points to 0x2110, where the image has nothing; link the "
        "firmware anew, with its start-up code\n");
}

TEST_F(AnImageFile, ThatIsNoRegularFileIsRefusedWithoutAWait) {
    const std::string fifo = m_folder.PathOf("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const Board& board = BuiltInBoards().front();
    for (const std::string& path : {fifo, std::string("/dev/null"), m_folder.PathOf("")}) {
        EXPECT_EQ(Lines(ReadImageFile(path, board)),
                  "IMAGE: it is no regular file; name the image's file itself\n");
    }
    EXPECT_EQ(Lines(ReadImageFile(m_folder.PathOf("gone"), board)),
              "IMAGE: it can't be read: No such file or directory; name a file that can be read\n");
}

TEST_F(AnImageFile, OfMoreThan64MebibytesIsRefused) {
    const std::string path = m_folder.WriteFile("large.hex", kGood + kEnd);
    const Board& board = BuiltInBoards().front();
    ASSERT_EQ(truncate(path.c_str(), 64 * 1024 * 1024), 0);
    EXPECT_EQ(Lines(ReadImageFile(path, board)),
              "IMAGE:5: there is text after the end; keep one image in the file, up to its end "
              "record\n");
    ASSERT_EQ(truncate(path.c_str(), 64 * 1024 * 1024 + 1), 0);
    EXPECT_TRUE(Lines(ReadImageFile(path, board))
                    .ends_with("IMAGE: it is larger than 64 MiB; name an Intel HEX file of one "
                               "chip's firmware\n"));
}

TEST_F(AnImageFile, ThatIsWellIsTheSameToTheTool) {
    EXPECT_EQ(ToolSays(kGood + kEnd),
              "flashmcu would find version 4660 and send 3 blocks\n"
              "flashmcu would leave the same bytes in the chip\n");
}

TEST_F(AnImageFile, WithLowerCaseOddBlocksOrLinearAddressesIsAnotherToTheTool) {
    // To the tool the digits a and b are 42 and 43.
    EXPECT_EQ(ToolSays(kGood + ":01213000ab03\n" + kEnd),
              "flashmcu would find version 4660 and send 4 blocks\n"
              "flashmcu would leave 2 other bytes in the chip, the first at 0x2130\n");
    // The pad byte of an odd block is what a longer one has left behind it.
    EXPECT_EQ(ToolSays(kGood + ":0121310009A4\n" + kEnd),
              "flashmcu would find version 4660 and send 4 blocks\n"
              "flashmcu would leave 1 other bytes in the chip, the first at 0x2132\n");
}

TEST_F(AnImageFile, WithOddBlocksAtItsEndIsContinuedAtAddressZeroByTheTool) {
    // The pad bytes are 61; of 61 and 21, written to one place, 21 is left.
    EXPECT_EQ(ToolSays(kVersion + kCode + ":0221200000615C\n:01FFFE0010F2\n:01FFFF0021E0\n" + kEnd),
              "flashmcu would find version 4660 and send 5 blocks\n"
              "flashmcu would write 1 bytes twice with two values, the first at 0xFFFF\n"
              "flashmcu would leave 1 other bytes in the chip, the first at 0x0000\n");
}

TEST_F(AnImageFile, WithMoreThan250BytesInARecordEndsThereForTheTool) {
    const std::string address = "220000";
    EXPECT_EQ(ToolSays(kGood + ":FA" + address + std::string(2 * 250, '0') + "E4\n" + kEnd),
              "flashmcu would find version 4660 and send 4 blocks\n"
              "flashmcu would leave the same bytes in the chip\n");
    EXPECT_EQ(ToolSays(kGood + ":FB" + address + std::string(2 * 251, '0') + "E3\n" + kEnd),
              "flashmcu would find version 4660 and send 3 blocks\n"
              "flashmcu would stop at record 4 and call that a success\n"
              "flashmcu would leave 251 other bytes in the chip, the first at 0x2200\n");
}

TEST_F(AnImageFile, IsReadAsTheToolDoesWithoutItsLogWhichComesBack) {
    const LogSink sink = [](const char*, int, const char*, const std::string& line) {
        ADD_FAILURE() << line;
    };
    const LogSink before = std::exchange(logSink, sink);
    (void)ToolSays(kGood);
    EXPECT_EQ(std::exchange(logSink, before), sink);
}

TEST_F(AnImageFile, WithoutAnEndTheToolUnderstandsIsASuccessToIt) {
    EXPECT_EQ(ToolSays(kGood),
              "flashmcu would find version 4660 and send 3 blocks\n"
              "flashmcu would stop at record 4 and call that a success\n");
    EXPECT_EQ(ToolSays(kGood + ":0000000000\n"),
              "flashmcu would find version 4660 and send 3 blocks\n"
              "flashmcu would stop at record 5 and call that a success\n");
    EXPECT_EQ(ToolSays(":FB2100003412" + std::string(2 * 249, '0') + "9E\n"),
              "flashmcu would find version 4660 and send 0 blocks\n"
              "flashmcu would stop at record 1\n");
    EXPECT_EQ(ToolSays(kVersion + ":00000006FA\n" + kCode + kVector + kEnd),
              "flashmcu would find version 4660 and send 1 blocks\n"
              "flashmcu would stop at record 2 and call that a success\n");
}

TEST_F(AnImageFile, WithTwoBytesForOneAddressIsWrittenTwiceByTheTool) {
    EXPECT_EQ(ToolSays(kGood + ":01211000428C\n" + kEnd),
              "flashmcu would find version 4660 and send 4 blocks\n"
              "flashmcu would write 2 bytes twice with two values, the first at 0x2110\n");
}

TEST_F(AnImageFile, WithoutAVersionTouchesNothingByTheTool) {
    EXPECT_EQ(ToolSays(kCode + kVector + kEnd),
              "flashmcu would find no version in it, and end before it touches a device\n");
}

}  // namespace
}  // namespace guard
