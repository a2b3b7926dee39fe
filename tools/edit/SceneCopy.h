// The scene record's files of a frame with values set in them.
#pragma once

#include "tools/edit/Edits.h"
#include "tree/read/FrameListing.h"
#include "tree/read/SceneSources.h"

#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// Sets values in the text file and the blocks of a frame's scene record, and nothing else in them:
/// what somebody edited in one of the files stays as it was. Reads the frame when it is made.
class SceneCopy {
public:
    SceneCopy(const tyktree::FrameListing& listing, const Edits& edits, FrameTurn turn);

    /// What changes in the record that a folder replay publishes.
    const std::vector<Change>& changes() const { return changes_; }

    /// What the copy of one of the files, of which `bytes` are the content, holds; none where it is
    /// the same, with the reason in `problem` where that should not be.
    std::optional<std::string> contentOf(const tyktree::FileEntry& file,
                                         const std::vector<uint8_t>& bytes,
                                         std::string& problem) const;

private:
    std::optional<std::string> textOf(const std::vector<uint8_t>& bytes,
                                      std::string& problem) const;
    std::optional<std::string> blockOf(const ::SceneBlock& block, const std::vector<uint8_t>& bytes,
                                       std::string& problem) const;
    bool isSet(const ::SceneField& field) const;

    const SceneBytes set_;
    const tyktree::SceneSources sources_;
    tyktree::SceneRecord after_;
    std::vector<Change> changes_;
};

}  // namespace tyksim
