// SPDX-License-Identifier: MIT

// The strict reader against two readers of Intel HEX that nobody here wrote: objcopy of the
// binutils and srec_cat. Both are started with many images at once, so that thousands take seconds.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <numeric>
#include <random>
#include <set>
#include <utility>

#include "image/HexDigits.h"
#include "image/HexReader.h"
#include "tests/support/TempFolder.h"

namespace image {
namespace {

using Random = std::mt19937;

constexpr unsigned kSeed = 20260711;

unsigned Below(Random& random, unsigned bound) {
    return static_cast<unsigned>(random() % bound);
}

std::string Record(unsigned address, unsigned type, const std::vector<std::uint8_t>& data) {
    std::vector<std::uint8_t> bytes{
        static_cast<std::uint8_t>(data.size()), static_cast<std::uint8_t>(address >> 8U),
        static_cast<std::uint8_t>(address & 0xFFU), static_cast<std::uint8_t>(type)};
    bytes.insert(bytes.end(), data.begin(), data.end());
    bytes.push_back(static_cast<std::uint8_t>(-std::accumulate(bytes.begin(), bytes.end(), 0)));
    std::string text = ":";
    for (const std::uint8_t byte : bytes) {
        text += HexDigits(byte, 2);
    }
    return text;
}

std::string BaseRecord(unsigned type, unsigned value) {
    return Record(
        0, type,
        {static_cast<std::uint8_t>(value >> 8U), static_cast<std::uint8_t>(value & 0xFFU)});
}

std::vector<std::uint8_t> RandomBytes(Random& random, std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    std::generate(bytes.begin(), bytes.end(),
                  [&] { return static_cast<std::uint8_t>(random() & 0xFFU); });
    return bytes;
}

constexpr unsigned kWindowBytes = 0x800;

/// Lines of an image whose bytes lie in the 2 KiB from `window` on, without its end record. With a
/// `bank` it lies in that 64 KiB of a larger space. `covered` is how many bytes it has.
std::vector<std::string> RandomLines(Random& random, unsigned window, unsigned bank,
                                     std::size_t& covered) {
    covered = 0;
    std::vector<std::pair<unsigned, std::vector<std::uint8_t>>> blocks;
    for (unsigned address = window + Below(random, 300); address < window + kWindowBytes;) {
        const unsigned size = std::min(Below(random, 256), window + kWindowBytes - address);
        blocks.emplace_back(address, RandomBytes(random, size));
        covered += size;
        address += size + (random() % 3 == 0 ? Below(random, 600) : 0);
    }
    std::shuffle(blocks.begin(), blocks.end(), random);
    std::vector<std::string> lines;
    unsigned base = 0;
    for (const auto& [address, bytes] : blocks) {
        const unsigned turn = Below(random, 8);
        if (turn == 0 || base > address || address + bytes.size() > base + 0xFFFF) {
            base = Below(random, address / 16 + 1) * 16;
            lines.push_back(BaseRecord(2, base / 16));
        } else if (turn == 1) {
            base = 0;
            lines.push_back(BaseRecord(2, 0));
            lines.push_back(BaseRecord(4, bank));
        } else if (turn == 2) {
            lines.push_back(Record(0, 3 + 2 * Below(random, 2), RandomBytes(random, 4)));
        }
        lines.push_back(Record(address - base, 0, bytes));
    }
    return lines;
}

/// The lines as a file: one kind of line end, and digits of one case or the other in each line.
std::string AsFile(Random& random, const std::vector<std::string>& lines) {
    const char* end = random() % 2 == 0 ? "\n" : "\r\n";
    std::string text;
    for (const std::string& line : lines) {
        std::string written = line;
        if (random() % 2 == 0) {
            std::transform(written.begin(), written.end(), written.begin(), [](char digit) {
                return digit >= 'A' ? static_cast<char>(digit + 'a' - 'A') : digit;
            });
        }
        text += written + end;
    }
    return text;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::string content(file ? static_cast<std::size_t>(file.tellg()) : 0, '\0');
    file.seekg(0);
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    return content;
}

/// 100 images, each written once for itself and once into its bank of one file.
class Batch {
public:
    static constexpr unsigned kImages = 100;
    static constexpr unsigned kBankBytes = 0x10000;

    Batch(Random& random, const TempFolder& folder) : m_folder(folder) {
        // So that the file begins at 0, and the banks from 1 on at their own places.
        std::string all = Record(0, 0, {0}) + "\n";
        for (unsigned number = 0; number < kImages; ++number) {
            const unsigned window = Below(random, 32) * kWindowBytes;
            const Random before = random;
            std::size_t covered = 0;
            const std::string text =
                AsFile(random, WithEnd(RandomLines(random, window, 0, covered)));
            Random again = before;
            all += BaseRecord(2, 0) + "\n" + BaseRecord(4, number + 1) + "\n" +
                   AsFile(again, RandomLines(again, window, number + 1, covered));
            m_windows.push_back(window);
            m_covered.push_back(covered);
            m_texts.push_back(text);
            (void)folder.WriteFile("image" + std::to_string(number) + ".hex", text);
        }
        (void)folder.WriteFile("all.hex", all + Record(0, 1, {}) + "\n");
    }

    /// By objcopy: bank after bank, from 1 on.
    [[nodiscard]] std::string ByObjcopy() const {
        Run("objcopy -I ihex -O binary --gap-fill 0xFF --pad-to " +
            std::to_string((kImages + 1) * kBankBytes) + " all.hex objcopy.bin");
        return ReadFile(m_folder.PathOf("objcopy.bin"));
    }

    /// By srec_cat: window after window.
    [[nodiscard]] std::string BySrecCat() const {
        std::string command = "srec_cat '('";
        for (unsigned number = 0; number < kImages; ++number) {
            const int offset =
                static_cast<int>(number * kWindowBytes) - static_cast<int>(m_windows[number]);
            command +=
                " image" + std::to_string(number) + ".hex -intel -offset " + std::to_string(offset);
        }
        Run(command + " ')' -fill 0xFF 0 " + std::to_string(kImages * kWindowBytes) +
            " -o srec.bin -binary");
        return ReadFile(m_folder.PathOf("srec.bin"));
    }

    [[nodiscard]] const std::string& Text(unsigned number) const { return m_texts[number]; }
    [[nodiscard]] unsigned Window(unsigned number) const { return m_windows[number]; }
    [[nodiscard]] std::size_t Covered(unsigned number) const { return m_covered[number]; }

private:
    static std::vector<std::string> WithEnd(std::vector<std::string> lines) {
        lines.push_back(Record(0, 1, {}));
        return lines;
    }

    void Run(const std::string& command) const {
        const std::string whole =
            "cd '" + m_folder.PathOf("") + "' && " + command + " >/dev/null 2>log";
        const int status = std::system(whole.c_str());
        const std::string log = ReadFile(m_folder.PathOf("log"));
        EXPECT_EQ(status, 0) << command.substr(0, 60) << ": "
                             << log.substr(log.size() - std::min<std::size_t>(log.size(), 300));
    }

    const TempFolder& m_folder;
    std::vector<std::string> m_texts;
    std::vector<unsigned> m_windows;
    std::vector<std::size_t> m_covered;
};

std::string BytesOf(const MemoryImage& image, unsigned first, unsigned count) {
    std::string bytes;
    for (unsigned address = first; address < first + count; ++address) {
        bytes += static_cast<char>(image.At(static_cast<std::uint16_t>(address)));
    }
    return bytes;
}

bool HasOracles() {
    return std::system("command -v objcopy srec_cat >/dev/null 2>&1") == 0;
}

TEST(TenThousandRandomImages, HaveTheBytesThatObjcopyAndSrecCatFindInThem) {
    ASSERT_TRUE(HasOracles()) << "scripts/install-packages test";
    Random random(kSeed);
    for (unsigned round = 0; round < 100 && !HasFailure(); ++round) {
        const TempFolder folder;
        const Batch batch(random, folder);
        const std::string objcopy = batch.ByObjcopy();
        const std::string srecCat = batch.BySrecCat();
        for (unsigned number = 0; number < Batch::kImages && !HasFailure(); ++number) {
            HexReader reader({Area{}}, "memory");
            reader.Take(batch.Text(number));
            reader.Finish();
            ASSERT_TRUE(reader.Found().Kept().empty()) << batch.Text(number);
            ASSERT_EQ(reader.Image().CoveredBytes(), batch.Covered(number)) << batch.Text(number);
            const std::string bytes = BytesOf(reader.Image(), batch.Window(number), kWindowBytes);
            ASSERT_TRUE(bytes ==
                        objcopy.substr((number + 1) * Batch::kBankBytes + batch.Window(number),
                                       kWindowBytes))
                << "objcopy differs, round " << round << ":\n"
                << batch.Text(number);
            ASSERT_TRUE(bytes == srecCat.substr(number * kWindowBytes, kWindowBytes))
                << "srec_cat differs, round " << round << ":\n"
                << batch.Text(number);
        }
    }
}

/// One thing that can happen to a file.
void Damage(Random& random, std::string& text) {
    constexpr std::string_view kDigits = "0123456789ABCDEFabcdef:";
    const std::size_t place = Below(random, static_cast<unsigned>(text.size()));
    const std::size_t line = text.find('\n', place);
    const std::size_t next = line == std::string::npos ? text.size() : line + 1;
    const std::size_t after = std::min(text.find('\n', next), text.size() - 1) + 1;
    switch (Below(random, 10)) {
        case 0:
            text[place] = static_cast<char>(random() & 0xFFU);
            return;
        case 1:
            text[place] = kDigits[Below(random, kDigits.size())];
            return;
        case 2:
            text.erase(place, 1 + Below(random, 3));
            return;
        case 3:
            text.insert(place, 1, static_cast<char>(random() & 0xFFU));
            return;
        case 4:
            text.insert(place, 1, " \t\r\n"[Below(random, 4)]);
            return;
        case 5:  // A line goes.
            text.erase(next, after > next ? after - next : 0);
            return;
        case 6:  // A line comes twice.
            text.insert(next, text.substr(next, after > next ? after - next : 0));
            return;
        case 7:  // A line moves to the front.
            if (after > next) {
                const std::string moved = text.substr(next, after - next);
                text.erase(next, after - next);
                text.insert(0, moved);
            }
            return;
        case 8:
            text.resize(place);
            return;
        default:
            text[place] = static_cast<char>(static_cast<unsigned char>(text[place]) ^
                                            (1U << Below(random, 8)));
            return;
    }
}

/// What an editor leaves behind a record, which objcopy refuses and nobody can misunderstand.
std::string WithoutBlanksAtLineEnds(const std::string& text) {
    std::string without;
    for (const char character : text) {
        while ((character == '\n' || character == '\r') && !without.empty() &&
               (without.back() == ' ' || without.back() == '\t')) {
            without.pop_back();
        }
        without += character;
    }
    while (!without.empty() && (without.back() == ' ' || without.back() == '\t')) {
        without.pop_back();
    }
    return without;
}

TEST(TwentyThousandDamagedImages, AreNeverTakenWhereObjcopyRefusesOrFindsOtherBytes) {
    ASSERT_TRUE(HasOracles()) << "scripts/install-packages test";
    const TempFolder folder;
    Random random(kSeed);
    std::set<std::string> taken;
    unsigned refused = 0;
    for (unsigned number = 0; number < 20'000; ++number) {
        Random picture(number % 20);
        std::string text =
            Record(0x2100, 0, RandomBytes(picture, 16)) + "\n" +
            Record(0x2110, 0, RandomBytes(picture, 7)) + "\n" + BaseRecord(2, 0x0100) + "\n" +
            Record(0x1200, 0, RandomBytes(picture, 9)) + "\n" +
            Record(0xEFFE, 0, RandomBytes(picture, 2)) + "\n" + Record(0, 1, {}) + "\n";
        for (unsigned times = 1 + Below(random, 3); times > 0 && !text.empty(); --times) {
            Damage(random, text);
        }
        HexReader reader({{0x1000, 0x10FF}, {0x2100, 0xFFFF}}, "flash");
        reader.Take(text);
        reader.Finish();
        refused += reader.Found().Refused() ? 1 : 0;
        // What has no bytes at all is refused by its readers for having no version.
        const bool looked = reader.Found().Refused() || reader.Image().CoveredBytes() == 0 ||
                            !taken.insert(WithoutBlanksAtLineEnds(text)).second;
        if (looked) {
            continue;
        }
        const std::string path =
            folder.WriteFile("damaged.hex", *taken.find(WithoutBlanksAtLineEnds(text)));
        const std::string out = folder.PathOf("damaged.bin");
        const std::string command =
            "objcopy -I ihex -O binary --gap-fill 0xFF '" + path + "' '" + out + "' 2>/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0)
            << "seed " << kSeed << ", image " << number << ":\n"
            << text;
        unsigned first = 0;
        while (!reader.Image().Covers(static_cast<std::uint16_t>(first))) {
            ++first;
        }
        const std::string bytes = ReadFile(out);
        ASSERT_TRUE(BytesOf(reader.Image(), first, static_cast<unsigned>(bytes.size())) == bytes)
            << "seed " << kSeed << ", image " << number << ":\n"
            << text;
    }
    // That the damage is neither harmless nor always the end.
    EXPECT_GT(refused, 10'000U);
    EXPECT_GT(taken.size(), 100U);
}

}  // namespace
}  // namespace image
