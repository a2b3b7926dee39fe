#include "core/Descriptor.h"

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace tykcore {

namespace {

/// Opens `path` in `folder`. A whole path goes to open(), because a desktop's process redirects
/// device paths there.
int openAt(int folder, const char* path, int flags) {
    return folder == AT_FDCWD ? ::open(path, flags, 0666) : ::openat(folder, path, flags, 0666);
}

}  // namespace

void Descriptor::close() {
    if (number_ >= 0) ::close(number_);
    number_ = -1;
}

// With a lease on the file, O_PATH first makes sure that it is a regular one; the file is then
// opened through that descriptor.
int openNow(const char* path, int flags, int folder) {
    const int descriptor = openAt(folder, path, flags | O_NONBLOCK);
    if (descriptor >= 0 || errno != EWOULDBLOCK) return descriptor;
    const Descriptor leased(openAt(folder, path, O_PATH | O_CLOEXEC));
    struct stat status {};
    if (!leased.isOpen() || ::fstat(leased.number(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return -1;
    }
    char link[40];
    static_cast<void>(std::snprintf(link, sizeof(link), "/proc/self/fd/%d", leased.number()));
    int opened = -1;
    do {
        opened = ::open(link, flags, 0666);
    } while (opened < 0 && errno == EINTR);
    return opened;
}

}  // namespace tykcore
