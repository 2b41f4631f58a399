// SPDX-License-Identifier: MIT
#include "guard/check/ToolView.h"

#include <array>

#include "flashmcu/IntelHexFileWrapper.h"
#include "flashmcu/Log.h"
#include "image/HexDigits.h"

namespace guard {
namespace {

/// The largest block of a download, and the room that the tool has for it and its pad byte.
constexpr int kLargestBlock = 250;
constexpr std::size_t kBufferBytes = 300;

void Write(ToolView& view, std::uint16_t address, std::uint8_t value) {
    if (view.memory.Covers(address) && view.memory.At(address) != value) {
        view.firstTwice = view.twice == 0 ? address : view.firstTwice;
        ++view.twice;
        // Flash that is written again holds what both have in common.
        value = static_cast<std::uint8_t>(value & view.memory.At(address));
    }
    view.memory.Set(address, value);
}

/// What the tool's classes say while they read is not for the user of another program.
class Silence {
public:
    Silence() : m_before(logSink) {
        logSink = [](const char*, int, const char*, const std::string&) {};
    }
    ~Silence() { logSink = m_before; }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    LogSink m_before;
};

struct Differences {
    std::size_t count = 0;
    std::uint16_t first = 0;
};

Differences Compare(const image::MemoryImage& tool, const image::MemoryImage& image) {
    Differences differences;
    for (std::size_t index = 0; index < image::MemoryImage::kSizeBytes; ++index) {
        const auto address = static_cast<std::uint16_t>(index);
        if (tool.At(address) != image.At(address)) {
            differences.first = differences.count == 0 ? address : differences.first;
            ++differences.count;
        }
    }
    return differences;
}

}  // namespace

ToolView LookAsTheToolDoes(const std::string& path, std::uint16_t versionAddress) {
    const Silence silence;
    ToolView view;
    unsigned short version = 0;
    if (GetHexFileVersion(path, versionAddress, version)) {
        view.version = version;
    }
    CIntelHexWrapper reader(path);
    if (!reader.Open()) {
        return view;
    }
    // As in a download: an odd block's pad byte is what an earlier one has left behind it.
    std::array<unsigned char, kBufferBytes> buffer{};
    unsigned short address{};
    int length = -1;
    while (reader.GetNextData(buffer.data(), kLargestBlock, address, length)) {
        view.blocks += length > 0 ? 1 : 0;
        for (int index = 0; index < (length + 1) / 2 * 2; ++index) {
            Write(view, static_cast<std::uint16_t>(address + index),
                  buffer[static_cast<std::size_t>(index)]);
        }
        length = -1;
    }
    view.records = reader.m_recordNumber;
    // Only the end record leaves a length of 0 behind; what ends it otherwise leaves it alone.
    view.endRecord = length == 0;
    return view;
}

std::vector<std::string> SentencesOf(const ToolView& view, const image::MemoryImage* memory) {
    std::vector<std::string> sentences;
    if (!view.version) {
        return {"flashmcu would find no version in it, and end before it touches a device"};
    }
    sentences.push_back("flashmcu would find version " + std::to_string(*view.version) +
                        " and send " + std::to_string(view.blocks) + " blocks");
    if (!view.endRecord) {
        sentences.push_back("flashmcu would stop at record " + std::to_string(view.records) +
                            (view.blocks > 0 ? " and call that a success" : ""));
    }
    if (view.twice > 0) {
        sentences.push_back("flashmcu would write " + std::to_string(view.twice) +
                            " bytes twice with two values, the first at 0x" +
                            image::HexDigits(view.firstTwice, 4));
    }
    if (memory == nullptr) {
        return sentences;
    }
    const Differences differences = Compare(view.memory, *memory);
    sentences.push_back(differences.count == 0
                            ? "flashmcu would leave the same bytes in the chip"
                            : "flashmcu would leave " + std::to_string(differences.count) +
                                  " other bytes in the chip, the first at 0x" +
                                  image::HexDigits(differences.first, 4));
    return sentences;
}

}  // namespace guard
