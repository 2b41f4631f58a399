// SPDX-License-Identifier: MIT
#include "guard/check/ImageFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "guard/plan/Sha256.h"
#include "image/HexDigits.h"
#include "image/HexReader.h"

namespace guard {
namespace {

constexpr std::uint16_t kResetVector = 0xFFFE;
constexpr std::uint16_t kErasedWord = 0xFFFF;
constexpr std::size_t kPieceBytes = 16 * 1024UL;

/// A file that is open for reading, and closed with the object.
class OpenFile {
public:
    /// A device or a pipe does not hold it up, and a terminal does not become the program's own.
    explicit OpenFile(const std::string& path)
        : m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
    ~OpenFile() {
        if (m_descriptor >= 0) {
            (void)close(m_descriptor);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    [[nodiscard]] bool IsOpen() const { return m_descriptor >= 0; }
    [[nodiscard]] bool Status(struct stat& status) const {
        return fstat(m_descriptor, &status) == 0;
    }
    /// How many bytes were read, 0 at the end, -1 for a failure.
    [[nodiscard]] ssize_t Read(std::span<char> room) const {
        return read(m_descriptor, room.data(), room.size());
    }

private:
    int m_descriptor;
};

void CannotRead(image::Findings& found) {
    found.Refuse(0, std::string("it can't be read: ") + strerrordesc_np(errno),
                 "name a file that can be read");
}

void TooLarge(image::Findings& found) {
    found.Refuse(0, "it is larger than 64 MiB", "name an Intel HEX file of one chip's firmware");
}

/// Hands the file to the reader and the sum. False, with its finding, when that can't be done.
bool ReadWhole(const std::string& path, image::HexReader& reader, Sha256& sum) {
    image::Findings& found = reader.Found();
    const OpenFile file(path);
    struct stat status {};
    if (!file.IsOpen() || !file.Status(status)) {
        CannotRead(found);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        found.Refuse(0, "it is no regular file", "name the image's file itself");
        return false;
    }
    std::uint64_t total = 0;
    std::array<char, kPieceBytes> piece;
    for (ssize_t count = 1; count > 0;) {
        // Files can grow while they are read, so that their size is not asked for.
        count = file.Read(piece);
        if (count < 0) {
            CannotRead(found);
            return false;
        }
        const auto bytes = static_cast<std::size_t>(count);
        total += bytes;
        if (total > kLargestImageBytes) {
            TooLarge(found);
            return false;
        }
        reader.Take({piece.data(), bytes});
        sum.Add({reinterpret_cast<const std::uint8_t*>(piece.data()), bytes});
    }
    return true;
}

std::optional<std::uint16_t> WordAt(const image::MemoryImage& memory, std::uint16_t address) {
    const auto high = static_cast<std::uint16_t>(address + 1);
    if (!memory.Covers(address) || !memory.Covers(high)) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(memory.At(address) | memory.At(high) << 8);
}

std::string Named(std::uint16_t address) {
    return "0x" + image::HexDigits(address, 4);
}

void LookForVersion(const Board& board, ImageFile& file, image::HexReader& reader) {
    file.version = WordAt(reader.Image(), board.versionAddress);
    if (!file.version) {
        reader.Found().Refuse(
            0, "there is no data at the version's address, " + Named(board.versionAddress),
            "keep the firmware's version there, or name the board that has it elsewhere");
    } else if (*file.version == 0) {
        reader.Found().Say(reader.LineOf(board.versionAddress), "the version is 0",
                           "number firmware from 1, since flashmcu takes a silent chip for 0");
    }
}

void LookForStart(ImageFile& file, image::HexReader& reader) {
    file.start = WordAt(reader.Image(), kResetVector);
    if (!file.start || *file.start == kErasedWord) {
        reader.Found().Refuse(file.start ? reader.LineOf(kResetVector) : 0,
                              "there is no reset vector at 0xFFFE",
                              "link the firmware with its interrupt vectors");
        file.start.reset();
    } else if (!reader.Image().Covers(*file.start)) {
        reader.Found().Refuse(
            reader.LineOf(kResetVector),
            "the reset vector points to " + Named(*file.start) + ", where the image has nothing",
            "link the firmware anew, with its start-up code");
    }
}

void LookForHalfWords(image::HexReader& reader) {
    for (std::size_t address = 0; address < image::MemoryImage::kSizeBytes; ++address) {
        const auto place = static_cast<std::uint16_t>(address);
        const auto other = static_cast<std::uint16_t>(address ^ 1U);
        if (reader.Image().Covers(place) && !reader.Image().Covers(other)) {
            reader.Found().Say(
                reader.LineOf(place),
                "the block at " + Named(place) + " is odd, and " + Named(other) + " becomes 0xFF",
                "nothing has to be done");
        }
    }
}

}  // namespace

ImageFile ReadImageFile(const std::string& path, const Board& board) {
    const Part& chip = board.chip;
    image::HexReader reader(
        {{chip.main.first, chip.main.last}, {chip.information.first, chip.information.last}},
        "main and information memory");
    ImageFile file;
    file.path = path;
    Sha256 sum;
    if (ReadWhole(path, reader, sum)) {
        reader.Finish();
        file.sha256 = sum.Digits();
        LookForVersion(board, file, reader);
        LookForStart(file, reader);
        LookForHalfWords(reader);
    }
    file.found = std::move(reader.Found());
    file.memory = std::move(reader.Image());
    return file;
}

std::string RefusalOf(const ImageFile& file) {
    const image::Finding* first = file.found.FirstRefusal();
    return file.path + " is refused" +
           (first->line == 0 ? "" : ", in line " + std::to_string(first->line)) + ": " +
           first->what;
}

std::string TextOf(const std::string& path, const image::Finding& finding) {
    const std::string place = finding.line == 0 ? "" : ":" + std::to_string(finding.line);
    return path + place + ": " + finding.what + "; " + finding.remedy;
}

}  // namespace guard
