// SPDX-License-Identifier: MIT

// The rooms of flashguard that need no chip.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fcntl.h>

#include <csignal>
#include <string>
#include <vector>

#include "guard/link/PortLock.h"
#include "guard/plan/Plan.h"
#include "guard/plan/Sha256.h"
#include "guard/session/Memory.h"
#include "tests/support/TempFolder.h"

namespace guard_tests {
namespace {

using guard::Gap;
using guard::Plan;

const guard::Part& Chip() {
    return *guard::FindPart("msp430-56k");
}

image::MemoryImage Covering(const std::vector<std::uint16_t>& addresses) {
    image::MemoryImage memory;
    for (const std::uint16_t address : addresses) {
        memory.Set(address, static_cast<std::uint8_t>(address & 0xFFU));
    }
    return memory;
}

TEST(Plan, FillsAHalfWordWithAnErasedByteOnEitherSide) {
    const Plan plan = MakePlan(Covering({0x2100, 0x2203}), Chip());
    const std::vector<guard::Block> expected{{0x2100, {0x00, 0xFF}}, {0x2202, {0xFF, 0x03}}};
    EXPECT_EQ(plan.body, expected);
    const std::vector<Gap> gaps{{0x2102, 0x100}, {0x2204, 0xFFE0 - 0x2204}};
    EXPECT_EQ(plan.gaps, gaps);
    EXPECT_EQ(plan.BodyBytes(), 4U);
    EXPECT_EQ(plan.GapBytes(), 0x100U + 0xFFE0U - 0x2204U);
}

TEST(Plan, CutsAStretchAfterTwoHundredAndFiftyBytesAndPutsInformationFirst) {
    image::MemoryImage memory;
    for (unsigned i = 0; i < 251; ++i) {
        memory.Set(static_cast<std::uint16_t>(0x3000 + i), 0x55);
    }
    memory.Set(0x10FF, 0x11);
    const Plan plan = MakePlan(memory, Chip());
    ASSERT_EQ(plan.body.size(), 3U);
    EXPECT_EQ(plan.body[0], (guard::Block{0x10FE, {0xFF, 0x11}}));
    EXPECT_EQ(plan.body[1], (guard::Block{0x3000, std::vector<std::uint8_t>(250, 0x55)}));
    EXPECT_EQ(plan.body[2], (guard::Block{0x30FA, {0x55, 0xFF}}));
}

TEST(Plan, LeavesTheResetVectorForTheLastBlockOfAll) {
    const Plan plan =
        MakePlan(Covering({0xFFDE, 0xFFDF, 0xFFE0, 0xFFE1, 0xFFFD, 0xFFFE, 0xFFFF}), Chip());
    const std::vector<guard::Block> body{{0xFFDE, {0xDE, 0xDF}}};
    const std::vector<guard::Block> commit{
        {0xFFE0, {0xE0, 0xE1}}, {0xFFFC, {0xFF, 0xFD}}, {0xFFFE, {0xFE, 0xFF}}};
    EXPECT_EQ(plan.body, body);
    EXPECT_EQ(plan.commit, commit);
    EXPECT_EQ(plan.CommitBytes(), 6U);
    EXPECT_EQ(plan.gaps, (std::vector<Gap>{{0x2100, 0xFFDE - 0x2100}}));
}

TEST(Plan, OfAFullChipHasNoGap) {
    image::MemoryImage memory;
    for (std::uint32_t address = 0x2100; address < 0x10000; ++address) {
        memory.Set(static_cast<std::uint16_t>(address), 0);
    }
    const Plan plan = MakePlan(memory, Chip());
    EXPECT_TRUE(plan.gaps.empty());
    EXPECT_EQ(plan.BodyBytes(), 0xFFE0U - 0x2100U);
    EXPECT_EQ(ContentOf(plan), std::vector<std::uint8_t>(0x10000 - 0x2100, 0));
}

TEST(Plan, TakesTheVectorsForThePassword) {
    const auto password = guard::VectorsOf(Covering({0xFFE0, 0xFFFE}));
    EXPECT_EQ(password[0], 0xE0);
    EXPECT_EQ(password[1], 0xFF);
    EXPECT_EQ(password[30], 0xFE);
    EXPECT_EQ(password[31], 0xFF);
}

std::string SumOf(const std::string& text) {
    return guard::Sha256Of({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

// The examples of FIPS 180-4's test vectors, and the lengths around a block.
TEST(Sha256, IsTheOneOfThePublishedExamples) {
    EXPECT_EQ(SumOf(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(SumOf("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(SumOf("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(SumOf(std::string(1'000'000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Difference, IsWritableOnlyWhereBitsAreStillErased) {
    const std::vector<std::uint8_t> wanted{0x0F, 0xF0};
    const auto of = [&wanted](std::vector<std::uint8_t> found) {
        return guard::DifferenceOf(wanted, found);
    };
    EXPECT_EQ(of({0x0F, 0xF0}), guard::Difference::kNone);
    EXPECT_EQ(of({0xFF, 0xF0}), guard::Difference::kWritable);
    EXPECT_EQ(of({0x0E, 0xF0}), guard::Difference::kErasable);
    EXPECT_EQ(of({0xFF, 0x70}), guard::Difference::kErasable);
}

TEST(PortLock, IsHeldByOneAtATimeAndFreeAfterItsEnd) {
    const TempFolder folder;
    {
        guard::PortLock first(folder.PathOf("."), "/dev/ttyS1");
        EXPECT_EQ(first.Take(), guard::PortLock::Answer::kHeld);
        guard::PortLock second(folder.PathOf("."), "/dev/ttyS1");
        EXPECT_EQ(second.Take(), guard::PortLock::Answer::kBusy);
        guard::PortLock other(folder.PathOf("."), "/dev/ttyS2");
        EXPECT_EQ(other.Take(), guard::PortLock::Answer::kHeld);
    }
    guard::PortLock third(folder.PathOf("."), "/dev/ttyS1");
    EXPECT_EQ(third.Take(), guard::PortLock::Answer::kHeld);
    EXPECT_EQ(third.Path(), folder.PathOf("./flashguard-dev-ttyS1.lock"));
}

// In a folder that everybody may write to, a link would lead to a file of somebody else's choice.
TEST(PortLock, IsNotTakenThroughASymbolicLink) {
    const TempFolder folder;
    const std::string target = folder.PathOf("target");
    ASSERT_EQ(symlink(target.c_str(), folder.PathOf("flashguard-dev-ttyS1.lock").c_str()), 0);
    guard::PortLock dangling(folder.PathOf("."), "/dev/ttyS1");
    EXPECT_EQ(dangling.Take(), guard::PortLock::Answer::kNoFile);
    EXPECT_NE(access(target.c_str(), F_OK), 0);
    static_cast<void>(folder.WriteFile("target", ""));
    guard::PortLock leading(folder.PathOf("."), "/dev/ttyS1");
    EXPECT_EQ(leading.Take(), guard::PortLock::Answer::kNoFile);
}

TEST(PortLock, DoesNotGoToTheProgramsThatAreStarted) {
    const TempFolder folder;
    for (int time = 0; time < 2; ++time) {  // Made, and found.
        guard::PortLock lock(folder.PathOf("."), "/dev/ttyS1");
        ASSERT_EQ(lock.Take(), guard::PortLock::Answer::kHeld);
        int found = 0;
        for (int file = 3; file < 64; ++file) {
            struct stat held {};
            struct stat wanted {};
            if (fstat(file, &held) == 0 && stat(lock.Path().c_str(), &wanted) == 0 &&
                held.st_ino == wanted.st_ino && held.st_dev == wanted.st_dev) {
                EXPECT_EQ(fcntl(file, F_GETFD), FD_CLOEXEC);
                ++found;
            }
        }
        EXPECT_EQ(found, 1);
    }
}

TEST(PortLock, InAFolderThatIsNotThereHasNoFile) {
    guard::PortLock lock("/nowhere/at/all", "/dev/ttyS1");
    EXPECT_EQ(lock.Take(), guard::PortLock::Answer::kNoFile);
}

}  // namespace
}  // namespace guard_tests
