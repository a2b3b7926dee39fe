#include "tree/read/RegularFile.h"

#include <cerrno>
#include <utility>

namespace tyktree {

namespace {

/// Clears errno, because opening a file that is not regular does not set it.
const char* prepared(const std::string& path) {
    errno = 0;
    return path.c_str();
}

}  // namespace

RegularFile::RegularFile(std::string path, const Folder* folder)
    : path_(std::move(path)), file_(prepared(path_), folder) {
    if (!file_.isOpen()) fail(errno);
}

size_t RegularFile::read(void* data, size_t size) {
    if (!status_.ok()) return 0;
    const size_t count = file_.read(data, size);
    if (file_.failed()) fail(errno);
    return count;
}

void RegularFile::fail(int error) {
    // Opening a socket or a device without a driver fails with ENXIO.
    const bool isRegular = error != 0 && error != ENXIO;
    status_ = tyktags::Problem{path_, "a file that can be read", "none",
                               isRegular ? tyktags::systemReason(error) : std::string(kNotRegular)};
}

}  // namespace tyktree
