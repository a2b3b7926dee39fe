// Copies a part of a tree as a tree of its own.
#pragma once

#include "tools/edit/Edits.h"
#include "tree/read/FrameListing.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/TagCatalog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

class SceneCopy;

struct CopyOptions {
    std::string onlyTags;  ///< shell pattern of the tags to copy; "" copies all
    bool images = true;    ///< copy the images
    bool links = false;    ///< link to unchanged files instead of copying them

    bool takesTag(const std::string& name) const;
    bool takes(const tyktree::FileEntry& file) const;
};

/// Throws WrongUsage if the pattern of tags matches no file of the frames, or a value to set has no
/// file among those to copy.
void requireFiles(const CopyOptions& options, const Edits& edits,
                  const std::vector<tyktree::FrameRef>& frames);

/// The result of copying one frame.
struct FrameCopy {
    uint64_t files = 0;
    uint64_t bytes = 0;
    std::vector<Change> changes;
    std::vector<std::string> problems;  ///< omitted files and values that were not set, as text
};

/// Copies frames into a new device root. Threads: several may call copyFrame() at once for
/// different frames.
class TreeCopy {
public:
    /// `root` is an empty folder; the references must outlive the object.
    TreeCopy(std::string root, const CopyOptions& options, const Edits& edits);

    /// Makes pipe and task folders for the frames, with the dump configurations and tuning copies
    /// of their pipes, and writes the tag table, if there is one, beside them as tags.xml. Returns
    /// texts about omitted files. Throws Failure with the path and the system's reason.
    std::vector<std::string> prepare(const tyktree::TreeIndex& index,
                                     const std::vector<tyktree::FrameRef>& frames,
                                     const tyktree::TagCatalog& catalog);

    /// Copies one frame. Unchanged files share their storage with the source if the file system
    /// supports it. Omits a file that cannot be read or is not regular, does not set a value that
    /// does not fit, and returns a problem for each. Throws Failure when a file of the copy cannot
    /// be written.
    FrameCopy copyFrame(const tyktree::FrameRef& frame, FrameTurn turn) const;

    /// The same, into a folder with the frame's name in `task`.
    FrameCopy copyFrame(const tyktree::FrameRef& frame, FrameTurn turn,
                        const std::string& task) const;

    /// Where the copy of a frame lies.
    std::string folderOf(const tyktree::FrameRef& frame) const;

private:
    std::string taskFolder(const tyktree::FrameRef& frame) const;
    void copyConfiguration(const tyktree::PipeEntry& pipe) const;
    void copyFile(const tyktree::FrameListing& listing, const tyktree::FileEntry& file,
                  const std::string& folder, FrameCopy& copy) const;
    void copySceneFile(const SceneCopy& scene, const tyktree::FrameListing& listing,
                       const tyktree::FileEntry& file, const std::string& folder,
                       FrameCopy& copy) const;
    void copyParameter(const tyktree::FrameListing& listing, const tyktree::FileEntry& file,
                       const std::string& folder, FrameTurn turn, FrameCopy& copy) const;

    std::string root_;
    const CopyOptions& options_;
    const Edits& edits_;
};

}  // namespace tyksim
