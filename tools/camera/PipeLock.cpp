#include "tools/camera/PipeLock.h"

#include "tools/console/Console.h"
#include "tree/read/Escape.h"

#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>

namespace tyksim {

PipeLock::PipeLock(const std::string& folder)
    : descriptor_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!descriptor_.isOpen()) {
        throw Failure(
            fmt::format("{}: cannot be opened: {}", tyktree::escaped(folder), systemReason(errno)));
    }
    if (::flock(descriptor_.number(), LOCK_EX | LOCK_NB) == 0) return;
    if (errno == EWOULDBLOCK) {
        throw Failure(tyktree::escaped(folder) +
                      ": another recorder is at work on this pipe; wait for its end or take "
                      "another --pipe");
    }
    // Some network file systems cannot lock folders.
    printNote(fmt::format("{}: cannot be locked: {}; do not record into it twice at a time", folder,
                          systemReason(errno)));
}

}  // namespace tyksim
