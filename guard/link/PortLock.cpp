// SPDX-License-Identifier: MIT
#include "guard/link/PortLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace guard {
namespace {

constexpr mode_t kMode = 0644;

// Without O_CREAT first: in a folder that everybody may write to, the kernel refuses that flag for
// a file that somebody else has made.
int OpenOrMake(const char* path) {
    const int file = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    return file >= 0 ? file : open(path, O_RDONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kMode);
}

}  // namespace

PortLock::PortLock(const std::string& folder, const std::string& port)
    : m_path(folder + "/flashguard") {
    for (const char letter : port) {
        m_path += letter == '/' ? '-' : letter;
    }
    m_path += ".lock";
}

PortLock::~PortLock() {
    if (m_file >= 0) {
        (void)close(m_file);
    }
}

PortLock::Answer PortLock::Take() {
    m_file = m_file < 0 ? OpenOrMake(m_path.c_str()) : m_file;
    if (m_file < 0) {
        return Answer::kNoFile;
    }
    return flock(m_file, LOCK_EX | LOCK_NB) == 0 ? Answer::kHeld : Answer::kBusy;
}

}  // namespace guard
