#include "tree/read/TreePath.h"

#include "core/TreeNames.h"
#include "tree/read/ExactNames.h"
#include "tree/read/FolderReader.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <sys/stat.h>

namespace tyktree {

namespace {

using Kind = TreePath::Kind;

constexpr size_t kMaxNamesShown = 8;

std::string parentOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

std::optional<int> pipeOf(const std::string& path) {
    int pipe = 0;
    return readPipeFolderName(lastName(path), pipe) ? std::optional<int>(pipe) : std::nullopt;
}

bool isFolder(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// A folder's contents, for an error.
std::string contentsOf(const std::string& path) {
    FolderReader folder(path);
    std::string names;
    std::string_view name;
    unsigned char type = DT_UNKNOWN;
    for (size_t count = 0; folder.next(name, type); ++count) {
        if (count == kMaxNamesShown) return names + ", ...";
        names.append(names.empty() ? "" : ", ").append(name);
    }
    if (!folder.status().ok())
        return "one that cannot be listed: " + folder.status().problem().reason;
    return names.empty() ? "an empty folder" : names;
}

Result<std::string> canonical(const std::string& given) {
    const std::unique_ptr<char, decltype(&std::free)> path(::realpath(given.c_str(), nullptr),
                                                           &std::free);
    const char* const expected = "a folder with a dump tree";
    if (!path) return Problem{given, expected, "none", tyktags::systemReason(errno)};
    if (!isFolder(path.get())) return Problem{given, expected, "a file"};
    return std::string(path.get());
}

/// The device root that contains a dump root, or "".
std::string deviceRootOf(const std::string& dumpRoot) {
    const std::string_view below = kDumpRoot;
    if (dumpRoot.size() < below.size()) return "";
    const size_t length = dumpRoot.size() - below.size();
    if (std::string_view(dumpRoot).substr(length) != below) return "";
    return length == 0 ? "/" : dumpRoot.substr(0, length);
}

std::string dumpRootIn(const std::string& deviceRoot) {
    return (deviceRoot == "/" ? "" : deviceRoot) + kDumpRoot;
}

Result<Kind> kindOf(const std::string& path, const std::string& given) {
    if (isPipeName(lastName(path))) return Kind::kPipe;
    if (isFrameName(lastName(path))) return Kind::kFrame;
    if (isTaskName(lastName(path))) return Kind::kTask;
    if (isFolder(dumpRootIn(path))) return Kind::kDeviceRoot;
    if (holdsFolder(path, isPipeName) || !deviceRootOf(path).empty()) return Kind::kDumpRoot;
    if (holdsFolder(path, isTaskName)) return Kind::kPipe;
    if (holdsFolder(path, isFrameName)) return Kind::kTask;
    return Problem{given,
                   "a device root, or a folder of a dump tree (pipe_N, a task or a frame in it)",
                   contentsOf(path)};
}

/// Sets the pipe folder of a task or frame to `folder` if that is one.
void setPipe(TreePath& tree, const std::string& folder) {
    tree.pipe = pipeOf(folder);
    if (!tree.pipe) return;
    tree.pipeFolder = folder;
    tree.dumpRoot = parentOf(folder);
    tree.deviceRoot = deviceRootOf(tree.dumpRoot);
}

}  // namespace

Result<TreePath> resolveTree(const std::string& given) {
    const Result<std::string> path = canonical(given);
    if (!path.ok()) return path.problem();
    const Result<Kind> kind = kindOf(path.value(), given);
    if (!kind.ok()) return kind.problem();
    TreePath tree;
    tree.given = given;
    tree.path = path.value();
    tree.kind = kind.value();
    switch (tree.kind) {
        case Kind::kDeviceRoot:
            tree.deviceRoot = tree.path;
            tree.dumpRoot = dumpRootIn(tree.path);
            break;
        case Kind::kDumpRoot:
            tree.dumpRoot = tree.path;
            tree.deviceRoot = deviceRootOf(tree.path);
            break;
        case Kind::kPipe:
            setPipe(tree, tree.path);
            tree.pipeFolder = tree.path;
            break;
        case Kind::kTask:
            tree.taskFolder = tree.path;
            setPipe(tree, parentOf(tree.path));
            break;
        case Kind::kFrame:
            tree.taskFolder = parentOf(tree.path);
            setPipe(tree, tree.taskFolder);
            if (!tree.pipe) setPipe(tree, parentOf(tree.taskFolder));
            break;
    }
    return tree;
}

std::string tagTablePath(const std::string& deviceRoot) {
    return (deviceRoot == "/" ? "" : deviceRoot) + "/tags.xml";
}

}  // namespace tyktree
