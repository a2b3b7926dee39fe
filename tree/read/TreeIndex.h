// What is in a tree as far as folder names tell: pipes, tasks, frames.
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
    FrameFolderName parsed;  ///< stamp, request id, sof id; zeros where `wellNamed` is false
    uint32_t position = 0;   ///< from 1, within the task, in order of names
    bool wellNamed = false;  ///< the name is one that a recording makes
};

/// One task folder, or a pipe folder that holds frames of its own.
struct TaskEntry {
    std::string path;
    std::string name;
    std::optional<TaskFolderName> parsed;  ///< none: the pipe folder itself, or another name
    uint32_t position = 0;                 ///< from 1, within the pipe
    bool listed = true;                    ///< false: could not be listed (a problem says why)
    std::vector<FrameEntry> frames;        ///< in order of names, as a replay takes them
};

/// A tuning copy or another file right in a pipe folder.
struct SideFile {
    std::string name;
    uint64_t bytes = 0;
    bool regular = false;
};

/// One pipe folder.
struct PipeEntry {
    std::optional<int> id;   ///< none: a task or frame that lies in no pipe folder
    std::string path;        ///< "" likewise
    std::string configPath;  ///< its dump configuration beside it; "" where there is none
    std::vector<SideFile> tuningCopies;
    std::vector<TaskEntry> tasks;  ///< the pipe folder itself first where it holds frames
};

/// Immutable once read. Lists folders only: opens no file and looks at no frame's inside.
class TreeIndex {
public:
    /// Reads the part of the tree that `path` names, narrowed to pipe `pipe` where one is given.
    /// What cannot be listed, is a link, is no folder where one belongs, is foreign, has no frames,
    /// or is out of order is in problems(); reading goes on with the rest. A tree that names a
    /// single frame has one pipe, one task and, in it, one frame (with the position it has among
    /// its neighbours).
    /// Where the file system gives no entry types, types are asked for one by one, and a problem
    /// says that the library would not see these folders.
    /// The only error is that pipe `pipe` is not there: found names the pipes that are.
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

/// Folder of a frame.
std::string framePath(const TaskEntry& task, const FrameEntry& frame);

}  // namespace tyktree
