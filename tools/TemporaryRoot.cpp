#include "tools/TemporaryRoot.h"

#include "tools/Console.h"
#include "tools/Files.h"
#include "tools/WellKnownTags.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>

namespace tyksim {

namespace {

namespace fs = std::filesystem;

/// Makes `place` a link to `folder`, or an empty folder when there is none.
void linkOrMake(const std::string& place, const std::string& folder) {
    if (isThere(place)) return;
    std::error_code error;
    if (folder.empty() || !isFolder(folder)) {
        makeFolders(place);
        return;
    }
    fs::create_directory_symlink(folder, place, error);
    if (error) throw Failure(text(place, ": cannot make the link: ", error.message()));
}

}  // namespace

TemporaryRoot::TemporaryRoot(const Tree& tree) {
    std::string name = (fs::temp_directory_path() / "tyksim-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw Failure(text(name, ": cannot make the folder: ", systemReason(errno)));
    }
    path_ = name;
    try {
        const std::string dumpRoot = path_ + "/data/vendor/cameraserver/tykdump";
        makeFolders(dumpRoot);
        linkOrMake(text(dumpRoot, "/pipe_", tree.pipe), tree.pipeFolder);
        // The tuning file's copy is looked for there whichever pipe is replayed.
        const std::string sibling =
            tree.dumpRoot.empty() ? "" : text(tree.dumpRoot, "/pipe_", kSnapshotPipe);
        linkOrMake(text(dumpRoot, "/pipe_", kSnapshotPipe), sibling);
    } catch (...) {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
        throw;
    }
}

TemporaryRoot::~TemporaryRoot() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);  // removes the links, not what they lead to
}

}  // namespace tyksim
