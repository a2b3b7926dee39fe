#include "tools/edit/FrameOverlay.h"

#include "tools/files/Files.h"

#include <filesystem>

namespace tyksim {

FrameOverlay::FrameOverlay(const std::string& root, const Edits& edits)
    : task_(root + "/overlay"), edits_(edits) {
    options_.links = true;
    makeFolders(task_);
}

FrameCopy FrameOverlay::lay(const tyktree::FrameRef& frame, FrameTurn turn) {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(task_, ignored)) {
        std::filesystem::remove_all(entry.path(), ignored);
    }
    return TreeCopy(task_, options_, edits_).copyFrame(frame, turn, task_);
}

}  // namespace tyksim
