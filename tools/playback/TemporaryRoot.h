// A device root for a replay: the library finds the tree there, and whatever it or a verb makes
// goes there and not into the tree.
#pragma once

#include "tree/read/TreeIndex.h"

#include <string>

namespace tyksim {

/// A temporary folder with links to the tree's pipe folders where the library looks for them.
/// Removed with the object.
class TemporaryRoot {
public:
    /// For a replay of `pipe` as the pipe of id `pipeId`. Failure when it cannot be made.
    TemporaryRoot(const tyktree::TreePath& tree, const tyktree::PipeEntry& pipe, int pipeId);
    ~TemporaryRoot();
    TemporaryRoot(const TemporaryRoot&) = delete;
    TemporaryRoot& operator=(const TemporaryRoot&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace tyksim
