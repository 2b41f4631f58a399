// SPDX-License-Identifier: MIT
#include "guard/plan/Plan.h"

#include <algorithm>
#include <numeric>

namespace guard {
namespace {

constexpr std::uint32_t kEndOfMemory = 0x10000;

bool CoversWord(const image::MemoryImage& memory, std::uint32_t address) {
    return memory.Covers(static_cast<std::uint16_t>(address)) ||
           memory.Covers(static_cast<std::uint16_t>(address + 1));
}

/// The blocks of the words from `first` to before `end`, both even.
std::vector<Block> BlocksOf(const image::MemoryImage& memory, std::uint32_t first,
                            std::uint32_t end) {
    std::vector<Block> blocks;
    bool open = false;
    for (std::uint32_t at = first; at < end; at += 2) {
        if (!CoversWord(memory, at)) {
            open = false;
            continue;
        }
        if (!open || blocks.back().bytes.size() == kMaxBlockBytes) {
            blocks.push_back({static_cast<std::uint16_t>(at), {}});
            open = true;
        }
        // Where the image covers nothing it reads as erased.
        blocks.back().bytes.push_back(memory.At(static_cast<std::uint16_t>(at)));
        blocks.back().bytes.push_back(memory.At(static_cast<std::uint16_t>(at + 1)));
    }
    return blocks;
}

std::vector<Gap> GapsOf(const image::MemoryImage& memory, const MemoryArea& area) {
    std::vector<Gap> gaps;
    bool open = false;
    for (std::uint32_t at = area.first; at < kVectorsAddress; at += 2) {
        if (CoversWord(memory, at)) {
            open = false;
            continue;
        }
        if (!open) {
            gaps.push_back({static_cast<std::uint16_t>(at), 0});
            open = true;
        }
        gaps.back().sizeBytes += 2;
    }
    return gaps;
}

void Append(std::vector<Block>& blocks, std::vector<Block> more) {
    blocks.insert(blocks.end(), std::make_move_iterator(more.begin()),
                  std::make_move_iterator(more.end()));
}

std::uint32_t BytesOf(const std::vector<Block>& blocks) {
    return std::accumulate(blocks.begin(), blocks.end(), 0U, [](std::uint32_t sum, const Block& b) {
        return sum + static_cast<std::uint32_t>(b.bytes.size());
    });
}

}  // namespace

std::uint32_t Plan::BodyBytes() const {
    return BytesOf(body);
}

std::uint32_t Plan::GapBytes() const {
    return std::accumulate(gaps.begin(), gaps.end(), 0U,
                           [](std::uint32_t sum, const Gap& gap) { return sum + gap.sizeBytes; });
}

std::uint32_t Plan::CommitBytes() const {
    return BytesOf(commit);
}

Plan MakePlan(const image::MemoryImage& memory, const Part& part) {
    Plan plan;
    plan.body = BlocksOf(memory, part.information.first, part.information.last + 1U);
    Append(plan.body, BlocksOf(memory, part.main.first, kVectorsAddress));
    plan.gaps = GapsOf(memory, part.main);
    plan.commit = BlocksOf(memory, kVectorsAddress, kResetVectorAddress);
    Append(plan.commit, BlocksOf(memory, kResetVectorAddress, kEndOfMemory));
    return plan;
}

std::array<std::uint8_t, 32> VectorsOf(const image::MemoryImage& memory) {
    std::array<std::uint8_t, 32> vectors{};
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        vectors.at(i) = memory.At(static_cast<std::uint16_t>(kVectorsAddress + i));
    }
    return vectors;
}

std::vector<std::uint8_t> ContentOf(const Plan& plan) {
    std::vector<std::uint8_t> content;
    for (const auto* blocks : {&plan.body, &plan.commit}) {
        for (const Block& block : *blocks) {
            content.insert(content.end(), block.bytes.begin(), block.bytes.end());
        }
    }
    return content;
}

}  // namespace guard
