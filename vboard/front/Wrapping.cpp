// SPDX-License-Identifier: MIT
#include "vboard/front/Wrapping.h"

#include <fcntl.h>

#include <memory>
#include <vector>

#include "vboard/front/RealLibc.h"
#include "vboard/front/Streams.h"

namespace vboard {

int OpenDescriptor(Host& host, const char* path, int flags) {
    const int before = errno;
    int error = 0;
    std::unique_ptr<OpenFile> file = host.Open(CallKind::kOpen, path, flags, {}, error);
    if (file == nullptr) {
        errno = error;
        return -1;
    }
    const int descriptor = Real().open("/dev/null", O_RDWR | (flags & O_CLOEXEC));
    if (descriptor >= 0) {
        TheDescriptors().Put(descriptor, std::move(file));
        errno = before;
    }
    return descriptor;
}

std::FILE* OpenStream(Host& host, const char* path, const char* mode) {
    const int before = errno;
    int error = EINVAL;
    const int flags = FlagsOfMode(mode);
    std::unique_ptr<OpenFile> file =
        flags < 0 ? nullptr : host.Open(CallKind::kFopen, path, flags, mode, error);
    if (file == nullptr) {
        errno = error;
        return nullptr;
    }
    std::FILE* stream = MakeStream(std::move(file), mode);
    errno = stream == nullptr ? ENOMEM : before;
    return stream;
}

int CloseDescriptor(int descriptor) {
    return Answer<int>([descriptor]() -> IoResult {
        const std::shared_ptr<OpenFile> file = TheDescriptors().Take(descriptor);
        const IoResult result = file.use_count() == 1 ? TheHost().Close(*file) : 0;
        static_cast<void>(Real().close(descriptor));
        return result;
    });
}

bool AnyOurs(int count, const fd_set* reading, const fd_set* writing) {
    for (int descriptor = 0; descriptor < count; ++descriptor) {
        const bool named = (reading != nullptr && FD_ISSET(descriptor, reading)) ||
                           (writing != nullptr && FD_ISSET(descriptor, writing));
        if (named && FileFor(descriptor) != nullptr) {
            return true;
        }
    }
    return false;
}

int SelectOurs(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
               std::optional<Duration> timeout) {
    std::vector<Watched> watched;
    std::vector<int> descriptors;
    for (int descriptor = 0; descriptor < count; ++descriptor) {
        const Readiness wanted{reading != nullptr && FD_ISSET(descriptor, reading),
                               writing != nullptr && FD_ISSET(descriptor, writing)};
        OpenFile* file = FileFor(descriptor);
        if (file != nullptr && (wanted.readable || wanted.writable)) {
            watched.push_back({file, wanted, {}});
            descriptors.push_back(descriptor);
        }
    }
    const int result =
        Answer<int>([&] { return TheHost().Select("select", std::span(watched), timeout); });
    if (result < 0) {
        return result;
    }
    for (fd_set* set : {reading, writing, excepting}) {
        if (set != nullptr) {
            FD_ZERO(set);
        }
    }
    for (std::size_t i = 0; i < watched.size(); ++i) {
        if (watched[i].ready.readable) {
            FD_SET(descriptors[i], reading);
        }
        if (watched[i].ready.writable) {
            FD_SET(descriptors[i], writing);
        }
    }
    return result;
}

bool PauseVirtually(Duration length) {
    World* world = World::Get();
    if (world == nullptr) {
        return false;
    }
    const int before = errno;
    world->TheHost().Pause(length);
    errno = before;
    return true;
}

}  // namespace vboard
