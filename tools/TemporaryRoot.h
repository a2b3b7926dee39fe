// A device root for a tree that was pulled from a device and lies in none.
#pragma once

#include "tools/TreeFinder.h"

#include <string>

namespace tyksim {

/// A temporary folder with links to the tree's pipes where the library looks for them, so that
/// nothing is written into the tree or beside it. Removed with the object.
class TemporaryRoot {
public:
    /// Failure when it cannot be made.
    explicit TemporaryRoot(const Tree& tree);
    ~TemporaryRoot();
    TemporaryRoot(const TemporaryRoot&) = delete;
    TemporaryRoot& operator=(const TemporaryRoot&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace tyksim
