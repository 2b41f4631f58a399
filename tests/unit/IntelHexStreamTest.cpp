// SPDX-License-Identifier: MIT

// The stream of a reader, which its users can see: after each record it stands where, and is as, a
// stream is that was read one character after the other.

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "flashmcu/IntelHexFileWrapper.h"
#include "tests/support/HexText.h"
#include "tests/support/ScriptedHost.h"
#include "tests/support/TempFolder.h"

namespace {

constexpr std::size_t kRecordRoom = 1023;

/// What a user sees of a stream.
std::string StateOf(std::ifstream& stream) {
    const auto state = stream.rdstate();
    const auto count = stream.gcount();
    // Asking for the place would set the state of a stream that has failed.
    std::ifstream::pos_type place = stream.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in);
    return "state " + std::to_string(state) + " count " + std::to_string(count) + " at " +
           std::to_string(static_cast<long>(place));
}

/// Reads with get() alone what ReadLineToBuffer takes for one record, of which `last` was the last
/// character before.
void ReadOneByOne(std::ifstream& stream, int& last) {
    std::size_t length = last == ':' ? 1 : 0;
    for (int next = stream.get(); !stream.fail(); next = stream.get()) {
        last = next;
        if ((next == ':' && length > 0) || length == kRecordRoom) {
            return;
        }
        ++length;
    }
}

void ExpectTheSameStream(const std::string& text) {
    const TempFolder folder;
    const std::string path = folder.WriteFile("image.hex", text);
    const ScriptedHost host;
    CIntelHexWrapper reader(path);
    ASSERT_TRUE(reader.Open());
    std::ifstream plain(path);
    int last = 0;
    // Once more at the end, where the stream has failed already.
    for (int ends = 0; ends < 2;) {
        (void)reader.ReadLineToBuffer();
        ReadOneByOne(plain, last);
        ASSERT_EQ(StateOf(reader.m_file), StateOf(plain)) << text.size() << " characters";
        ASSERT_EQ(reader.m_lastChar, last);
        ends += plain.fail() ? 1 : 0;
    }
}

std::string Records(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += hex::Data(static_cast<std::uint16_t>(i * 16), Bytes(16, 0x5A));
    }
    return text + hex::EndOfFile();
}

TEST(IntelHexStream, IsAsIfReadOneByOneInSmallFiles) {
    for (const char* text : {"", ":", "::", "x", "x:", ":\n", ":00000001FF", ":00000001FF\r\n:x"}) {
        ExpectTheSameStream(text);
    }
}

TEST(IntelHexStream, IsAsIfReadOneByOneOverTheEndsOfItsBuffer) {
    // Each shift lets the stream's buffer of some thousand characters end elsewhere in a record.
    for (std::size_t shift = 0; shift < 50; ++shift) {
        ExpectTheSameStream(std::string(shift, ' ') + Records(400));
    }
}

TEST(IntelHexStream, IsAsIfReadOneByOneInLinesThatAreTooLong) {
    for (const std::size_t length : {1021U, 1022U, 1023U, 1024U, 3000U, 20000U}) {
        ExpectTheSameStream(":" + std::string(length, '0') + ":x");
        ExpectTheSameStream(std::string(length, '0'));
    }
}

TEST(IntelHexStream, OfAFolderFailsAsIfReadOneByOne) {
    const TempFolder folder;
    const ScriptedHost host;
    CIntelHexWrapper reader(folder.PathOf("."));
    ASSERT_TRUE(reader.Open());
    EXPECT_FALSE(reader.ReadLineToBuffer());
    EXPECT_EQ(reader.m_file.rdstate(), std::ios::badbit | std::ios::failbit);
    EXPECT_EQ(reader.m_file.gcount(), 0);
}

}  // namespace
