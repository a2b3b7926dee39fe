// The pipes, tasks and frames of a tree by the names of its folders.
#pragma once

#include "tree/read/ExactNames.h"
#include "tree/read/TreePath.h"
#include "tree/read/TreeProblem.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tyktree {

/// One frame folder. About a hundred bytes.
struct FrameEntry {
    std::string name;
    FrameFolderName parsed;  ///< stamp, request id, sof id; zeros if `wellNamed` is false
    uint32_t position = 0;   ///< from 1, within the task, in order of names
    bool wellNamed = false;  ///< a recording makes such a name
};

/// One task folder, or a pipe folder that holds frames of its own.
struct TaskEntry {
    std::string path;
    std::string name;
    std::optional<TaskFolderName> parsed;  ///< none: the pipe folder itself, or any other name
    uint32_t position = 0;                 ///< from 1, within the pipe
    bool listed = true;                    ///< false: could not be listed; a problem has the reason
    std::vector<FrameEntry> frames;        ///< in order of names, as in a replay
};

/// A tuning copy or another file directly in a pipe folder.
struct SideFile {
    std::string name;
    uint64_t bytes = 0;
    bool regular = false;
};

/// One pipe folder.
struct PipeEntry {
    std::optional<int> id;   ///< none: a task or frame outside a pipe folder
    std::string path;        ///< "" if `id` is none
    std::string configPath;  ///< the dump configuration beside the folder; "" if there is none
    std::vector<SideFile> tuningCopies;
    std::vector<TaskEntry> tasks;  ///< first the pipe folder itself if it has frames
};

/// Lists folders only: opens no file and does not look into frame folders. Immutable after read(),
/// so several threads may use one object at once. Errors: std::bad_alloc.
class TreeIndex {
public:
    /// Reads the part of the tree that `path` names, and only pipe `pipe` if one is given.
    /// problems() tells which entries cannot be listed, are links, are not folders where folders
    /// belong, are foreign, have no frames, or are out of order; reading continues after each. If
    /// `path` is a single frame, the index has one pipe, one task and one frame, which keeps its
    /// position among its neighbours. If the file system reports no entry types, the type of each
    /// entry is read separately, and a problem reports that the library would not see these
    /// folders. The only error is that there is no pipe `pipe`; its `found` names the existing
    /// pipes.
    static Result<TreeIndex> read(const TreePath& path, std::optional<int> pipe = std::nullopt);

    const TreePath& path() const { return path_; }
    const std::vector<PipeEntry>& pipes() const { return pipes_; }
    const std::vector<TreeProblem>& problems() const { return problems_; }
    size_t frameCount() const;

private:
    TreePath path_;
    std::vector<PipeEntry> pipes_;
    std::vector<TreeProblem> problems_;
};

/// The folders into which a reader of the tree must not write: the folder that was named, the
/// folders from there to its pipes, with links resolved, and its dump root.
std::vector<std::string> foldersOf(const TreeIndex& index);

/// The path of a frame's folder.
std::string framePath(const TaskEntry& task, const FrameEntry& frame);

}  // namespace tyktree
