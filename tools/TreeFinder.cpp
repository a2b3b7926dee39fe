#include "tools/TreeFinder.h"

#include "tools/Console.h"
#include "tools/Files.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>

namespace tyksim {

namespace {

namespace fs = std::filesystem;

constexpr const char* kDumpRoot = "data/vendor/cameraserver/tykdump";
constexpr const char* kPipePrefix = "pipe_";
constexpr size_t kMaxNamesShown = 8;

/// The id in a pipe folder's name.
std::optional<int> pipeOf(const std::string& name) {
    const std::string prefix = kPipePrefix;
    if (name.compare(0, prefix.size(), prefix) != 0) return std::nullopt;
    int pipe = 0;
    const char* const end = name.data() + name.size();
    const auto result = std::from_chars(name.data() + prefix.size(), end, pipe);
    if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
    return pipe;
}

std::string nameOf(const std::string& folder) {
    return fs::path(folder).filename().string();
}

std::string parentOf(const std::string& folder) {
    return fs::path(folder).parent_path().string();
}

/// What is in a folder, for an error.
std::string contents(const std::string& folder) {
    std::string names;
    size_t count = 0;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (++count > kMaxNamesShown) return names + ", ...";
        names += (names.empty() ? "" : ", ") + entry->path().filename().string();
    }
    if (error) return error.message();
    return names.empty() ? "nothing" : names;
}

bool holdsFrames(const std::string& folder) {
    const std::vector<std::string> names = subfolders(folder);
    return std::any_of(names.begin(), names.end(), isFrameName);
}

/// The folders in a pipe folder that hold frames: its tasks, and before them the folder itself when
/// frames were dumped into it without a task.
std::vector<std::string> tasksOf(const std::string& pipeFolder) {
    std::vector<std::string> tasks;
    if (holdsFrames(pipeFolder)) tasks.push_back(pipeFolder);
    for (const std::string& name : subfolders(pipeFolder)) {
        const std::string task = text(pipeFolder, "/", name);
        if (isTaskName(name) && holdsFrames(task)) tasks.push_back(task);
    }
    return tasks;
}

std::map<int, std::string> pipesOf(const std::string& dumpRoot) {
    std::map<int, std::string> pipes;
    for (const std::string& name : subfolders(dumpRoot)) {
        if (const auto pipe = pipeOf(name)) pipes[*pipe] = text(dumpRoot, "/", name);
    }
    return pipes;
}

/// The device root that `dumpRoot` lies in, or "".
std::string rootAbove(const std::string& dumpRoot) {
    fs::path root = dumpRoot;
    for (int i = 0; i < 4; ++i) root = root.parent_path();
    return (root / kDumpRoot).lexically_normal() == fs::path(dumpRoot) ? root.string() : "";
}

/// Picks the pipe in a dump root; pipes without frames do not count.
int pickPipe(const std::string& dumpRoot, const std::map<int, std::string>& pipes) {
    std::vector<int> candidates;
    std::string choices;
    for (const auto& [pipe, folder] : pipes) {
        if (tasksOf(folder).empty()) continue;
        candidates.push_back(pipe);
        choices += text(choices.empty() ? "" : ", ", pipe);
    }
    if (candidates.size() == 1) return candidates[0];
    if (candidates.empty()) {
        throw Failure(
            text(dumpRoot, ": expected a folder pipe_N with frames, found: ", contents(dumpRoot)));
    }
    throw WrongUsage(text(dumpRoot, ": holds several pipes; pick one with --pipe: ", choices));
}

void fillFromDumpRoot(Tree& tree, std::optional<int> wanted) {
    const std::map<int, std::string> pipes = pipesOf(tree.dumpRoot);
    tree.pipe = wanted ? *wanted : pickPipe(tree.dumpRoot, pipes);
    const auto found = pipes.find(tree.pipe);
    if (found == pipes.end()) {
        throw Failure(text(tree.dumpRoot, ": expected the folder ", kPipePrefix, tree.pipe,
                           ", found: ", contents(tree.dumpRoot)));
    }
    tree.pipeFolder = found->second;
    tree.tasks = tasksOf(tree.pipeFolder);
}

/// For a pipe folder or a task folder, wherever it lies.
void fillFromInside(Tree& tree, const std::string& folder, std::optional<int> wanted) {
    tree.tasks = tasksOf(folder);
    const std::string above = parentOf(folder);
    if (pipeOf(nameOf(folder))) tree.pipeFolder = folder;
    if (tree.pipeFolder.empty() && pipeOf(nameOf(above))) tree.pipeFolder = above;
    if (!tree.pipeFolder.empty()) {
        tree.pipe = *pipeOf(nameOf(tree.pipeFolder));
        tree.dumpRoot = parentOf(tree.pipeFolder);
    }
    if (wanted) tree.pipe = *wanted;
}

}  // namespace

Tree findTree(const std::string& folder, std::optional<int> pipe) {
    std::error_code error;
    const std::string path = fs::canonical(folder, error).string();
    if (error) throw Failure(text(folder, ": expected a dump tree: ", error.message()));
    if (!isFolder(path)) throw Failure(path + ": expected a folder, found something else");
    Tree tree;
    tree.rootGiven = isFolder(path + "/" + kDumpRoot);
    if (tree.rootGiven) {
        tree.dumpRoot = (fs::path(path) / kDumpRoot).string();
        tree.root = path;
        fillFromDumpRoot(tree, pipe);
    } else if (!pipesOf(path).empty()) {
        tree.dumpRoot = path;
        tree.root = rootAbove(tree.dumpRoot);
        fillFromDumpRoot(tree, pipe);
    } else {
        fillFromInside(tree, path, pipe);
        if (!tree.dumpRoot.empty()) tree.root = rootAbove(tree.dumpRoot);
    }
    if (tree.tasks.empty()) {
        const std::string& searched = tree.pipeFolder.empty() ? path : tree.pipeFolder;
        throw Failure(text(
            searched, ": expected ", kDumpRoot,
            ", pipe_N, *_task_* or *_reqID_* folders with frames, found: ", contents(searched)));
    }
    return tree;
}

bool isFrameName(const std::string& name) {
    return name.find("_reqID_") != std::string::npos;
}

bool isTaskName(const std::string& name) {
    return name.find("_task_") != std::string::npos;
}

std::vector<std::string> subfolders(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code ignored;
        if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
            names.push_back(entry->path().filename().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tyksim
