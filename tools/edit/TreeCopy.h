// A part of a tree as a tree of its own.
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
    std::string onlyTags;  ///< shell pattern of the tags to take; "" takes all
    bool images = true;    ///< take the images
    bool links = false;    ///< link to the files that stay as they are, instead of copying them

    bool takesTag(const std::string& name) const;
    bool takes(const tyktree::FileEntry& file) const;
};

/// WrongUsage where the pattern of tags takes no file of the frames, or a value to set has no file
/// among those that are taken.
void requireFiles(const CopyOptions& options, const Edits& edits,
                  const std::vector<tyktree::FrameRef>& frames);

/// What came of one frame.
struct FrameCopy {
    uint64_t files = 0;
    uint64_t bytes = 0;
    std::vector<Change> changes;
    std::vector<std::string> problems;  ///< what was left out or not set, in words
};

/// Copies frames into a device root that is being made. Threads: copyFrame() from any, for
/// different frames.
class TreeCopy {
public:
    /// `root` is an empty folder; the references must outlive the object.
    TreeCopy(std::string root, const CopyOptions& options, const Edits& edits);

    /// Makes pipe and task folders for the frames, with the dump configurations and tuning copies
    /// of their pipes, and leaves the tag table beside them as tags.xml where one is known. Returns
    /// what was left out. Failure with the path and the system's reason.
    std::vector<std::string> prepare(const tyktree::TreeIndex& index,
                                     const std::vector<tyktree::FrameRef>& frames,
                                     const tyktree::TagCatalog& catalog);

    /// Copies one frame. Unchanged files share their storage with the source where the file system
    /// can. What cannot be read, or is no regular file, is left out and comes back as a problem,
    /// and so does a value that cannot be set. Failure when a file of the copy cannot be written.
    FrameCopy copyFrame(const tyktree::FrameRef& frame, FrameTurn turn) const;

    /// As above, into a folder of the frame's name in `task`.
    FrameCopy copyFrame(const tyktree::FrameRef& frame, FrameTurn turn,
                        const std::string& task) const;

private:
    std::string taskFolder(const tyktree::FrameRef& frame) const;
    void copyTable(const tyktree::TagCatalog& catalog) const;
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
