// Sets values in the scene record's files of a frame.
#pragma once

#include "tools/edit/Edits.h"
#include "tree/read/FrameListing.h"
#include "tree/read/SceneSources.h"

#include <string>
#include <vector>

namespace tyksim {

/// Sets values in the XML file and the blocks of a frame's scene record and changes nothing else in
/// them, so that earlier edits of these files stay. The constructor reads the frame. One thread at
/// a time uses an object.
class SceneCopy {
public:
    SceneCopy(const tyktree::FrameListing& listing, const Edits& edits, FrameTurn turn);

    /// The changes of the record that a folder replay publishes.
    const std::vector<Change>& changes() const { return changes_; }

    /// The new content of one of the files, whose content is `bytes`. The problem tells why the
    /// file cannot be changed and has no path.
    tyktags::Result<std::string> contentOf(const tyktree::FileEntry& file,
                                           const std::vector<uint8_t>& bytes) const;

private:
    tyktags::Result<std::string> textOf(const std::vector<uint8_t>& bytes) const;
    tyktags::Result<std::string> blockOf(const ::SceneBlock& block,
                                         const std::vector<uint8_t>& bytes) const;
    bool isSet(const ::SceneField& field) const;

    const SceneBytes set_;
    const tyktree::SceneSources sources_;
    tyktree::SceneRecord after_;
    std::vector<Change> changes_;
};

}  // namespace tyksim
