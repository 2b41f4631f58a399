// SPDX-License-Identifier: MIT

// Any file: the strict reader of images takes it whole and in pieces.
//
// What must hold: the pieces make no difference; nothing lies outside of the memory that the reader
// is told; and what is taken is the same again when it is written in its canonical form.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "image/HexReader.h"
#include "image/IntelHex.h"

namespace {

using image::Findings;
using image::HexReader;
using image::MemoryImage;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

HexReader Read(std::string_view text, std::size_t pieceBytes) {
    HexReader reader({{0x1000, 0x10FF}, {0x2100, 0xFFFF}}, "flash");
    for (; text.size() > pieceBytes; text.remove_prefix(pieceBytes)) {
        reader.Take(text.substr(0, pieceBytes));
    }
    reader.Take(text);
    reader.Finish();
    return reader;
}

void CheckMemory(const MemoryImage& memory) {
    for (std::size_t address = 0; address < MemoryImage::kSizeBytes; ++address) {
        const bool flash = address >= 0x2100 || (address >= 0x1000 && address <= 0x10FF);
        Require(flash || !memory.Covers(static_cast<std::uint16_t>(address)));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const HexReader whole = Read(text, size);
    const HexReader pieces = Read(text, 1 + size % 7);
    Require(whole.Found().Kept() == pieces.Found().Kept());
    Require(whole.Found().Kept().size() <= Findings::kMostKept);
    Require(whole.Image() == pieces.Image());
    CheckMemory(whole.Image());
    if (!whole.Found().Refused()) {
        const MemoryImage canonical = image::Canonical(whole.Image());
        const HexReader again = Read(image::WriteIntelHex(canonical), 1000);
        Require(again.Found().Kept().empty() && again.Image() == canonical);
    }
    return 0;
}
