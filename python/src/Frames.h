// A tree that was opened, and some of its frames.
#pragma once

#include "python/src/Table.h"
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

/// What a tree's folders and its tag table say. Immutable; any number of threads may use it.
struct OpenTree {
    tyktree::TreeIndex index;
    Table table;
};

/// How frames are picked; what is "" picks all.
struct Picked {
    std::optional<int> pipe;
    std::optional<uint32_t> task;
    std::string frames;
    std::string requests;
    std::string sofs;
    std::string where;  ///< a condition on values
};

/// The frames of a tree that are picked, in order. Immutable; any number of threads may use it.
class Frames {
public:
    /// Opens a tree. `tags` is a tag table, "" where the tree's own counts. Damaged where there is
    /// no tree or its table cannot be read.
    /// `assumed` says how images lie in their files.
    static Frames open(const std::string& path, const std::string& tags, std::optional<int> pipe,
                       const tyksim::AssumedPicture& assumed);

    /// The frames of the whole tree that are picked so. ValueError for what are no ranges and for
    /// what is no condition, KeyError for its names that stand for nothing, Damaged for its values
    /// that cannot be read.
    Frames select(const Picked& picked) const;

    const OpenTree& tree() const { return *tree_; }
    const tyktree::FrameSelection& selection() const { return selection_; }
    const std::vector<tyktree::FrameRef>& refs() const { return refs_; }
    const tyktree::FrameRef& at(size_t index) const;

    /// The names of the tags that the first frames have, for names that stand in no tag table.
    const std::vector<std::string>& tagNames() const;

    /// What the names stand for; KeyError for one that stands for nothing.
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

/// Binds Frames with all that reads values, and returns the class for others to add to.
void bindFrames(pybind11::class_<Frames>& frames);
void bindTracks(pybind11::class_<Frames>& frames);
void bindChecks(pybind11::module_& module, pybind11::class_<Frames>& frames);

}  // namespace tykpython
