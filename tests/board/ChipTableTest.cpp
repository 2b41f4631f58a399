// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <set>
#include <string_view>

#include "vboard/chip/ChipModel.h"
#include "vboard/chip/Segments.h"

namespace {

using vboard::AllChipModels;
using vboard::ChipModel;
using vboard::FindChipModel;
using vboard::WrongPassword;

TEST(ChipTableTest, EveryRowIsFoundByItsOwnName) {
    std::set<std::string_view> names;
    for (const ChipModel& model : AllChipModels()) {
        EXPECT_EQ(FindChipModel(model.name), &model);
        EXPECT_TRUE(names.insert(model.name).second) << model.name;
    }
    EXPECT_EQ(FindChipModel(""), nullptr);
    EXPECT_EQ(FindChipModel("MSP430-56K"), nullptr);
}

TEST(ChipTableTest, EveryRowIsSoundAndSaysWhereItComesFrom) {
    for (const ChipModel& model : AllChipModels()) {
        EXPECT_FALSE(model.name.empty());
        EXPECT_FALSE(model.description.empty());
        EXPECT_FALSE(model.source.empty());
        EXPECT_EQ(model.mainMemory.last, 0xFFFF) << "the vectors are flash";
        EXPECT_EQ(model.mainSegmentBytes, 512);
        EXPECT_EQ(model.infoSegmentBytes, model.loaderVersion < 0x0140 ? 128 : 64);
        EXPECT_GT(model.massErasePeriods, 0);
        EXPECT_LT(model.infoMemory.last, model.ram.first);
        EXPECT_LT(model.ram.last, model.mainMemory.first);
        EXPECT_EQ(model.comparesWhileWriting, model.loaderVersion >= 0x0140);
        EXPECT_EQ(model.checksAfterSegmentErase, model.loaderVersion >= 0x0160);
        const bool from150On = model.loaderVersion >= 0x0150 && model.loaderVersion < 0x0200;
        EXPECT_EQ(model.hasVersionCommand, from150On);
        EXPECT_EQ(model.hasEraseCheck, from150On);
        EXPECT_EQ(model.cumulativeErase, model.massErasePeriods < 10000);
        EXPECT_NE(model.wrongPassword, WrongPassword::kNak) << "no published loader";
        EXPECT_LE(vboard::Segments(model).Count(), vboard::kMostSegments);
    }
}

TEST(ChipTableTest, TheDefaultPartHasTheBoardsGeometry) {
    const ChipModel& model = vboard::DefaultChipModel();
    EXPECT_EQ(model.mainMemory.first, 0x2100);
    EXPECT_EQ(model.infoMemory.first, 0x1000);
    EXPECT_EQ(model.infoMemory.last, 0x10FF);
    EXPECT_EQ(model.ram.first, 0x1100);
    EXPECT_EQ(model.ram.last, 0x20FF);
    EXPECT_EQ(model.mainSegmentBytes, 512);
    EXPECT_EQ(model.infoSegmentBytes, 64);
    EXPECT_EQ(model.loaderVersion, 0x0161);
    EXPECT_EQ(model.massErasePeriods, 10593);
}

TEST(SegmentsTest, AreCountedThroughMainMemoryAndThenThroughInformationMemory) {
    const vboard::Segments segments(vboard::DefaultChipModel());
    EXPECT_EQ(segments.Count(), 112U + 4U);
    EXPECT_EQ(segments.IndexOf(0x2100), 0U);
    EXPECT_EQ(segments.IndexOf(0x2200), 1U);
    EXPECT_EQ(segments.IndexOf(0xFFFF), 111U);
    EXPECT_EQ(segments.IndexOf(0x1000), 112U);
    EXPECT_EQ(segments.IndexOf(0x10FF), 115U);
}

TEST(ChipTableTest, EveryPartHasAClockForEachSpeedAndFamiliesDiffer) {
    using Clock = std::array<vboard::ClockBytes, 3>;
    EXPECT_EQ(FindChipModel("msp430-56k")->clockBytes,
              (Clock{{{0x80, 0x85}, {0x00, 0x8B}, {0x80, 0x8C}}}));
    EXPECT_EQ(FindChipModel("msp430-56k-v110")->clockBytes,
              (Clock{{{0x80, 0x85}, {0xE0, 0x86}, {0xE0, 0x87}}}));
}

}  // namespace
