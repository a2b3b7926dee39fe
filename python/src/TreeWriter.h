// Makes a tree from frames of another one.
#pragma once

#include "python/src/Frames.h"
#include "tools/edit/Edits.h"
#include "tools/files/OutputPath.h"

#include <optional>
#include <pybind11/pybind11.h>
#include <set>
#include <string>
#include <vector>

namespace tykpython {

/// An image to write, with the bytes of its file.
struct NewImage {
    int width;
    int height;
    std::string bytes;
};

/// Makes a tree, which appears at its place completely or not at all. One thread at a time uses an
/// object.
class TreeWriter {
public:
    /// `out` must not exist. Raises ValueError for a place that an output must not have.
    TreeWriter(const std::string& out, Frames like);

    /// Copies a frame, sets values, and replaces its images by `image`. Raises ValueError for a
    /// frame that was added before, for values that do not fit or without a file in the frame, and
    /// in a forked process; KeyError for an unknown name. Throws Damaged if a file cannot be
    /// copied. After a frame that could not be copied no frame can be added.
    void add(size_t index, const std::optional<NewImage>& image,
             const std::vector<tyksim::NamedValue>& values);

    /// Moves the tree to its place. Raises ValueError if it has no frame.
    void commit();

    /// Removes an uncommitted tree.
    void close() { folder_.reset(); }

private:
    tyksim::OutputFolder& folder();
    void copy(const tyktree::FrameRef& frame, const std::optional<NewImage>& image,
              const std::vector<tyksim::NamedValue>& values);

    Frames like_;
    std::optional<tyksim::OutputFolder> folder_;
    std::vector<tyktree::FrameRef> added_;
    std::set<const tyktree::FrameEntry*> known_;
    bool failed_ = false;
};

void bindWriter(pybind11::module_& module);

}  // namespace tykpython
