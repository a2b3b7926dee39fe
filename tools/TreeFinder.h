// Finds what there is to replay in a folder that somebody names.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// One pipe's part of a dump tree. All paths are absolute.
struct Tree {
    std::string root;        ///< the device root that the tree lies in; "" when it lies in none
    bool rootGiven = false;  ///< the user named the device root itself
    std::string pipeFolder;  ///< "" when only a task is there
    std::string dumpRoot;    ///< folder of the pipe folders; "" when only a pipe or a task is there
    int pipe = 1;
    std::vector<std::string> tasks;  ///< folders that hold frame folders, in order of recording
};

/// Finds the tree in `folder`: a device root, a dump root (holds pipe_N), a pipe folder or a task
/// folder. `pipe` picks a pipe where there are several, and names it where the folder does not.
/// Failure when there is no tree; WrongUsage when the pipe must be picked.
Tree findTree(const std::string& folder, std::optional<int> pipe);

/// Whether a folder of this name is a frame's.
bool isFrameName(const std::string& name);

/// Whether a folder of this name is a task's.
bool isTaskName(const std::string& name);

/// Names of the folders in `folder`, sorted; none when it cannot be listed.
std::vector<std::string> subfolders(const std::string& folder);

}  // namespace tyksim
