// SPDX-License-Identifier: MIT

// What a file of many megabytes costs in memory: every allocation of this program is counted.

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "guard/check/ImageFile.h"
#include "tests/support/TempFolder.h"

namespace {

std::size_t liveBytes = 0;
std::size_t mostBytes = 0;

}  // namespace

// The library sorts in memory that it asks for in this way, and gives it back in the usual one.
void* operator new(std::size_t size, const std::nothrow_t& /*quietly*/) noexcept {
    void* memory = std::malloc(size);
    if (memory != nullptr) {
        liveBytes += malloc_usable_size(memory);
        mostBytes = std::max(mostBytes, liveBytes);
    }
    return memory;
}

void* operator new(std::size_t size) {
    void* memory = operator new(size, std::nothrow);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    liveBytes -= malloc_usable_size(memory);
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    operator delete(memory);
}

namespace guard {
namespace {

constexpr std::size_t kLargeFileBytes = 22'000'000;
constexpr std::size_t kHeldBytes = 64 * 1024UL;

/// How many bytes more than before were held at once while the file was read.
std::size_t MostBytesFor(const std::string& path, bool refused) {
    const std::size_t before = liveBytes;
    mostBytes = liveBytes;
    EXPECT_EQ(ReadImageFile(path, BuiltInBoards().front()).found.Refused(), refused);
    return mostBytes - before;
}

class ALargeImage : public testing::Test {
protected:
    /// A whole image behind as many of these pieces as make a large file, and one behind one of
    /// them.
    void ExpectNoMoreFor(const std::string& piece, bool refused) {
        const std::string image =
            ":02210000341297\n:0221100030415C\n:02FFFE001021D0\n:00000001FF\n";
        std::string text;
        while (text.size() < kLargeFileBytes) {
            text += piece;
        }
        const std::string large = m_folder.WriteFile("large.hex", text + image);
        const std::string small = m_folder.WriteFile("small.hex", piece + image);
        text.clear();
        const std::size_t most = MostBytesFor(large, refused);
        EXPECT_LE(most, MostBytesFor(small, refused) + kHeldBytes);
        // The count sees something: the image and which bytes of it are there.
        EXPECT_GE(most, 0x10000U);
    }

private:
    TempFolder m_folder;
};

TEST_F(ALargeImage, OfRecordsTakesNoMoreMemoryThanASmallOne) {
    ExpectNoMoreFor(":0400000500002110C6\n", false);
}

TEST_F(ALargeImage, OfBytesThatComeAgainTakesNoMoreMemoryThanASmallOne) {
    ExpectNoMoreFor(":02210000341297\n", false);
}

TEST_F(ALargeImage, OfWrongLinesTakesNoMoreMemoryThanASmallOne) {
    ExpectNoMoreFor("nothing of a record\n", true);
}

TEST_F(ALargeImage, ThatIsOneLineTakesNoMoreMemoryThanASmallOne) {
    ExpectNoMoreFor(":0000", true);
}

}  // namespace
}  // namespace guard
