// A device root for a replay. The library finds the tree in it, and writes into it and not into the
// tree.
#pragma once

#include "tree/read/TreeIndex.h"

#include <string>

namespace tyksim {

/// A temporary folder with links to the tree's pipe folders at the library's paths. The destructor
/// removes it. One thread at a time uses an object.
class TemporaryRoot {
public:
    /// Makes a root to replay `pipe` as the pipe with id `pipeId`. Throws Failure.
    TemporaryRoot(const tyktree::TreePath& tree, const tyktree::PipeEntry& pipe, int pipeId);
    ~TemporaryRoot();
    TemporaryRoot(const TemporaryRoot&) = delete;
    TemporaryRoot& operator=(const TemporaryRoot&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace tyksim
