// SPDX-License-Identifier: MIT
#include "tests/sweeps/RunFolder.h"

#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace sweeps {
namespace {

std::string PlaceForFolders() {
    constexpr const char* kMemory = "/dev/shm";
    struct statfs status {};
    const bool inMemory = statfs(kMemory, &status) == 0 && status.f_type == TMPFS_MAGIC &&
                          access(kMemory, W_OK | X_OK) == 0;
    return inMemory && std::getenv("TMPDIR") == nullptr ? kMemory
                                                        : std::filesystem::temp_directory_path();
}

}  // namespace

RunFolder::RunFolder() : m_path(PlaceForFolders() + "/flashmcu-sweep-XXXXXX") {
    if (mkdtemp(m_path.data()) == nullptr) {
        throw std::runtime_error("no temporary folder " + m_path);
    }
}

RunFolder::~RunFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

}  // namespace sweeps
