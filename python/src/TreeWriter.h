// A tree that is made from frames of another one.
#pragma once

#include "python/src/Frames.h"
#include "tools/files/OutputPath.h"

#include <optional>
#include <pybind11/pybind11.h>
#include <set>
#include <string>
#include <vector>

namespace tykpython {

/// An image to be written: the bytes that an image file has.
struct NewImage {
    int width;
    int height;
    std::string bytes;
};

/// Makes a tree that appears at its place as a whole, or not at all. One thread at a time.
class TreeWriter {
public:
    /// `out` must not be there. ValueError for a place that no output may have.
    TreeWriter(const std::string& out, Frames like);

    /// Copies a frame with values set, and with `image` in place of its images. ValueError for a
    /// frame that was added before and for values that do not fit, KeyError for a name that the
    /// frame has no file for, Damaged where a file cannot be copied; then nothing can be added any
    /// more.
    void add(size_t index, const std::optional<NewImage>& image,
             const std::vector<std::string>& settings);

    /// Gives the tree its place. ValueError where it has no frame.
    void commit();

    /// Removes what was made, unless it was committed.
    void close() { folder_.reset(); }

private:
    tyksim::OutputFolder& folder();
    void copy(const tyktree::FrameRef& frame, const std::optional<NewImage>& image,
              const std::vector<std::string>& settings);

    Frames like_;
    std::optional<tyksim::OutputFolder> folder_;
    std::vector<tyktree::FrameRef> added_;
    std::set<const tyktree::FrameEntry*> known_;
    bool failed_ = false;
};

void bindWriter(pybind11::module_& module);

}  // namespace tykpython
