// SPDX-License-Identifier: MIT

// Any file: the tool's HEX reader walks it, and the version search looks through it.
//
// What must hold: nothing is written outside the caller's buffer, lengths stay within it, and the
// walk ends.

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "flashmcu/IntelHexFileWrapper.h"

namespace {

constexpr int kCapacity = 250;
constexpr unsigned char kGuard = 0x5A;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

/// The file system's name of an anonymous file with this content.
class FuzzFile {
public:
    FuzzFile(const std::uint8_t* data, std::size_t size) : m_descriptor(memfd_create("hex", 0)) {
        Require(m_descriptor >= 0 && write(m_descriptor, data, size) == static_cast<ssize_t>(size));
    }
    ~FuzzFile() { close(m_descriptor); }
    FuzzFile(const FuzzFile&) = delete;
    FuzzFile& operator=(const FuzzFile&) = delete;
    [[nodiscard]] std::string Path() const {
        return "/proc/self/fd/" + std::to_string(m_descriptor);
    }

private:
    int m_descriptor;
};

void Walk(const std::string& path, std::size_t size) {
    CIntelHexWrapper reader(path);
    Require(reader.Open());
    std::array<unsigned char, kCapacity + 1> block{};
    block.back() = kGuard;
    unsigned short address = 0;
    int length = 0;
    std::size_t records = 0;
    while (reader.GetNextData(block.data(), kCapacity, address, length)) {
        Require(length >= 0 && length <= kCapacity && block.back() == kGuard);
        // Each record takes at least the one character that begins it.
        Require(++records <= size + 1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool kQuiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    Require(kQuiet);
    const FuzzFile file(data, size);
    Walk(file.Path(), size);
    unsigned short version = 0xBEEF;
    const bool found = GetHexFileVersion(file.Path(), 0x2100, version);
    Require(found || version == 0xBEEF);
    return 0;
}
