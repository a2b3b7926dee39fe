// What a user named: which part of which tree.
#pragma once

#include "tree/read/TreeProblem.h"

#include <optional>
#include <string>

namespace tyktree {

/// Part of a tree. All paths are absolute and canonical, without a slash at the end.
struct TreePath {
    enum class Kind { kDeviceRoot, kDumpRoot, kPipe, kTask, kFrame };

    Kind kind = Kind::kDumpRoot;
    std::string given;        ///< as the user wrote it
    std::string path;         ///< the folder that was named
    std::string deviceRoot;   ///< the folder below which the tree lies at the device's place, or ""
    std::string dumpRoot;     ///< folder of the pipe folders, or "" where none is known
    std::string pipeFolder;   ///< of a pipe, task or frame; "" where it lies in no pipe folder
    std::string taskFolder;   ///< of a task or frame (a frame's parent), else ""
    std::optional<int> pipe;  ///< id of pipeFolder
};

/// Finds out what `given` is:
///   device root  holds data/vendor/cameraserver/tykdump
///   dump root    holds a pipe_N
///   pipe         is called pipe_N, or holds task folders
///   frame        has a frame folder's name
///   task         has a task folder's name, or holds frame folders
/// An empty pipe, task or frame folder is one by its name. A problem's path is `given`: it is no
/// part of a tree, or cannot be looked at.
Result<TreePath> resolveTree(const std::string& given);

/// The tag table that `record` keeps beside a tree: "tags.xml" in the device root.
std::string tagTablePath(const std::string& deviceRoot);

}  // namespace tyktree
