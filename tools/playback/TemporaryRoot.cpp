#include "tools/playback/TemporaryRoot.h"

#include "core/TreeNames.h"
#include "records/MfnrTuning.h"
#include "tools/console/Console.h"
#include "tools/files/Files.h"
#include "tree/read/Escape.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>

namespace tyksim {

namespace {

namespace fs = std::filesystem;

/// Makes `place` a link to `folder`, or an empty folder if `folder` does not exist.
void linkOrMake(const std::string& place, const std::string& folder) {
    if (isThere(place)) return;
    if (folder.empty() || !isFolder(folder)) {
        makeFolders(place);
        return;
    }
    std::error_code error;
    fs::create_directory_symlink(folder, place, error);
    if (error) {
        throw Failure(
            fmt::format("{}: cannot make the link: {}", tyktree::escaped(place), error.message()));
    }
}

/// The folder for temporary files, from the environment.
std::string temporaryFolder() {
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    if (!error) return folder.string();
    const char* const named = std::getenv("TMPDIR");
    throw Failure(fmt::format("TMPDIR: expected a folder for temporary files, found {}: {}",
                              shellWord(named ? named : ""), error.message()));
}

}  // namespace

TemporaryRoot::TemporaryRoot(const tyktree::TreePath& tree, const tyktree::PipeEntry& pipe,
                             int pipeId) {
    std::string name = temporaryFolder() + "/tyksim-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw Failure(fmt::format("{}: cannot make the folder: {}", tyktree::escaped(name),
                                  systemReason(errno)));
    }
    path_ = name;
    try {
        const std::string dumpRoot = path_ + kDumpRoot;
        makeFolders(dumpRoot);
        linkOrMake(pipeFolderPath(dumpRoot.c_str(), pipeId), pipe.path);
        // The library looks for the tuning copy in the folder of one pipe, whichever is replayed.
        const std::string sibling =
            tree.dumpRoot.empty() ? "" : pipeFolderPath(tree.dumpRoot.c_str(), kMfnrCopyPipe);
        linkOrMake(pipeFolderPath(dumpRoot.c_str(), kMfnrCopyPipe), sibling);
    } catch (...) {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
        throw;
    }
}

TemporaryRoot::~TemporaryRoot() {
    std::error_code error;
    fs::remove_all(path_, error);  // removes the links, not their targets
    if (!error) return;
    printNote(fmt::format("{}: this temporary folder cannot be removed: {}",
                          tyktree::escaped(path_), error.message()));
}

}  // namespace tyksim
