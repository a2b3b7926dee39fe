#include "tools/camera/PipeLock.h"

#include "tools/console/Console.h"
#include "tree/read/Escape.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace tyksim {

PipeLock::PipeLock(const std::string& folder)
    : descriptor_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!descriptor_.isOpen()) {
        throw Failure(text(tyktree::escaped(folder), ": cannot be opened: ", systemReason(errno)));
    }
    if (::flock(descriptor_.number(), LOCK_EX | LOCK_NB) == 0) return;
    if (errno == EWOULDBLOCK) {
        throw Failure(tyktree::escaped(folder) +
                      ": another recorder is at work on this pipe; wait for its end or take "
                      "another --pipe");
    }
    // Some network file systems lock no folders.
    printNote(text(folder, ": cannot be locked: ", systemReason(errno),
                   "; do not record into it twice at a time"));
}

}  // namespace tyksim
