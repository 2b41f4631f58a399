// SPDX-License-Identifier: MIT
#include "vboard/process/FileStatus.h"

namespace vboard {
namespace {

// Linux, Documentation/admin-guide/devices.txt: the first serial port, and a number from the range
// for local use.
constexpr unsigned kTerminalMajor = 4;
constexpr unsigned kTerminalMinor = 64;
constexpr unsigned kDeviceMajor = 240;

constexpr std::uint32_t kInodeBits = 0x7FFFFFFF;

}  // namespace

std::uint64_t InodeOf(std::string_view path) {
    std::uint32_t sum = 2166136261U;  // FNV-1a
    for (const char letter : path) {
        sum = (sum ^ static_cast<std::uint8_t>(letter)) * 16777619U;
    }
    return (sum & kInodeBits) | 1U;
}

IoResult LookUpFacts(const Host& host, std::string_view path, FileFacts& facts) {
    facts.inode = InodeOf(path);
    switch (host.Find(path)) {
        case PathKind::kTerminal:
            facts.mode = S_IFCHR | 0660;
            facts.device = makedev(kTerminalMajor, kTerminalMinor);
            return 0;
        case PathKind::kDevice:
            facts.mode = S_IFCHR | 0660;
            facts.device = makedev(kDeviceMajor, 0);
            return 0;
        case PathKind::kFile:
            facts.mode = S_IFREG | 0644;
            facts.sizeBytes = kFileBlockBytes;
            return 0;
        case PathKind::kFolder:
            facts.mode = S_IFDIR | 0755;
            return 0;
        case PathKind::kNone:
            break;
    }
    return -host.WhyNone(path);
}

IoResult StoreStatx(const Host& host, std::string_view path, struct statx* stored) {
    if (!CanWrite(stored)) {
        return -EFAULT;
    }
    FileFacts facts{};
    const IoResult result = LookUpFacts(host, path, facts);
    if (result < 0) {
        return result;
    }
    struct statx& status = *stored;
    status = {};
    status.stx_mask = STATX_BASIC_STATS;
    status.stx_mode = static_cast<decltype(status.stx_mode)>(facts.mode);
    status.stx_nlink = 1;
    status.stx_ino = facts.inode;
    status.stx_size = facts.sizeBytes;
    status.stx_blksize = kFileBlockBytes;
    status.stx_rdev_major = major(facts.device);
    status.stx_rdev_minor = minor(facts.device);
    return 0;
}

}  // namespace vboard
