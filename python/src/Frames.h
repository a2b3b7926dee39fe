// An open tree, and a selection of its frames.
#pragma once

#include "python/src/NameCatalog.h"
#include "tools/picture/PictureOptions.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/FrameValues.h"
#include "tree/read/TreeIndex.h"

#include <memory>
#include <mutex>
#include <optional>
#include <pybind11/pybind11.h>
#include <string>
#include <vector>

namespace tykpython {

/// A tree's folders and its tag table. Immutable; any number of threads may use it.
struct OpenTree {
    tyktree::TreeIndex index;
    NameCatalog names;
};

/// A selection of frames. Members that are "" or none select all.
struct Picked {
    std::optional<int> pipe;
    std::optional<uint32_t> task;
    std::string frames;
    std::string requests;
    std::string sofs;
    std::string where;  ///< a condition on values
};

/// The selected frames of a tree, in order. Immutable; any number of threads may use it.
class Frames {
public:
    /// Opens a tree. `tags` is the path of a tag table, or "" for the tree's own. `assumed` is the
    /// storage of images in their files. Throws Damaged if there is no tree or its table cannot be
    /// read.
    static Frames open(const std::string& path, const std::string& tags, std::optional<int> pipe,
                       const tyksim::AssumedPicture& assumed);

    /// Selects frames of the whole tree. Raises ValueError for invalid ranges and conditions, and
    /// KeyError for an unknown name in a condition; throws Damaged if a value of the condition
    /// cannot be read.
    Frames select(const Picked& picked) const;

    const OpenTree& tree() const { return *tree_; }
    const tyktree::FrameSelection& selection() const { return selection_; }
    const std::vector<tyktree::FrameRef>& refs() const { return refs_; }
    const tyktree::FrameRef& at(size_t index) const;

    /// The names of the first frames' tags, which the tag table may lack. Reads folders once.
    const std::vector<std::string>& tagNames() const;

    /// Resolves names. Raises KeyError for an unknown one.
    std::vector<tyktree::ValueName> resolve(const std::vector<std::string>& names) const;

private:
    struct Names {
        std::once_flag read;
        std::vector<std::string> list;
    };

    Frames(std::shared_ptr<const OpenTree> tree, tyktree::FrameSelection selection);
    void keepWhere(const std::string& expression);

    std::shared_ptr<const OpenTree> tree_;
    tyktree::FrameSelection selection_;
    std::vector<tyktree::FrameRef> refs_;
    std::shared_ptr<Names> names_ = std::make_shared<Names>();
};

/// These add the operations of Frames to its Python class.
void bindFrames(pybind11::class_<Frames>& frames);
void bindTracks(pybind11::class_<Frames>& frames);
void bindChecks(pybind11::module_& module, pybind11::class_<Frames>& frames);

}  // namespace tykpython
