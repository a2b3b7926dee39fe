// Finds out which part of which tree a user named.
#pragma once

#include "tree/read/TreeProblem.h"

#include <optional>
#include <string>

namespace tyktree {

/// A part of a tree. All paths are absolute and canonical, without a trailing slash. A value.
struct TreePath {
    enum class Kind { kDeviceRoot, kDumpRoot, kPipe, kTask, kFrame };

    Kind kind = Kind::kDumpRoot;
    std::string given;        ///< the user's text
    std::string path;         ///< the named folder
    std::string deviceRoot;   ///< the folder that holds the tree at the device's path, or ""
    std::string dumpRoot;     ///< the folder of the pipe folders, or "" if unknown
    std::string pipeFolder;   ///< of a pipe, task or frame; "" outside a pipe folder
    std::string taskFolder;   ///< of a task or frame (a frame's parent), else ""
    std::optional<int> pipe;  ///< id of pipeFolder
};

/// Finds out what `given` is. Threads: any. Errors: std::bad_alloc.
///   device root  holds data/vendor/cameraserver/tykdump
///   dump root    holds a pipe_N
///   pipe         is called pipe_N, or holds task folders
///   frame        has a frame folder's name
///   task         has a task folder's name, or holds frame folders
/// An empty folder counts by its name. A problem has the path `given`, which is not a part of a
/// tree or cannot be read.
Result<TreePath> resolveTree(const std::string& given);

/// The path of the tag table that `record` stores beside a tree: "tags.xml" in the device root.
std::string tagTablePath(const std::string& deviceRoot);

}  // namespace tyktree
