#include "tools/camera/RecordRoot.h"

#include "core/TreeNames.h"
#include "tools/console/Console.h"
#include "tools/files/Files.h"
#include "tools/files/OutputPlace.h"
#include "tree/read/Escape.h"
#include "tree/read/ExactNames.h"
#include "tree/read/FolderReader.h"
#include "tree/read/TreePath.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <string_view>

namespace tyksim {

namespace {

namespace fs = std::filesystem;

/// A part of a tree.
struct Part {
    const char* what;
    std::string deviceRoot;  ///< "" if unknown
    std::optional<int> pipe;
};

constexpr std::array<std::string_view, 10> kPictureEndings = {
    ".jpg", ".jpeg", ".png", ".heic", ".heif", ".webp", ".tif", ".tiff", ".dng", ".bmp"};

bool isNamedAsPicture(const std::string& path) {
    std::string ending = fs::path(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::find(kPictureEndings.begin(), kPictureEndings.end(), ending) !=
           kPictureEndings.end();
}

bool isPicture(const std::string& path) {
    return isNamedAsPicture(path) && !isFolder(path);
}

/// The command with the given words in the right order.
std::string command(const std::string& root, const std::vector<std::string>& images,
                    std::optional<int> pipe = std::nullopt) {
    std::string line = "tyksim record " + root;
    for (const std::string& image : images) line += " " + shellWord(image);
    if (pipe) line += fmt::format(" --pipe {}", *pipe);
    return line;
}

[[noreturn]] void refusePicture(const std::string& given, const std::vector<std::string>& images) {
    std::string root = "ROOT";
    std::vector<std::string> pictures = {given};
    for (const std::string& image : images) {
        if (root == "ROOT" && !isPicture(image)) {
            root = shellWord(image);
        } else {
            pictures.push_back(image);
        }
    }
    throw WrongUsage(
        fmt::format("{}: is a photograph; expected the folder to record into in front of it: {}",
                    tyktree::escaped(given), command(root, pictures)));
}

/// The kind of a tree's folder by its name; null for any other name.
const char* kindByName(std::string_view name) {
    if (tyktree::isPipeName(name)) return "the folder of a pipe";
    if (tyktree::isTaskName(name)) return "the folder of a task";
    if (name == fs::path(kDumpRoot).filename()) return "a dump root";
    return tyktree::isFrameName(name) ? "the folder of a frame" : nullptr;
}

/// Whether one path is the other or is below it.
bool onOneWay(const std::string& a, const std::string& b) {
    const bool longer = a.size() > b.size();
    const std::string whole = (longer ? a : b) + "/";
    const std::string start = (longer ? b : a) + "/";
    return whole.compare(0, start.size(), start) == 0;
}

/// The part of a tree that is `path` or contains it; `path` need not exist.
std::optional<Part> partOfTree(const std::string& path) {
    Part part{nullptr, "", std::nullopt};
    // Goes from the folder upwards. The folder itself may be a device root; folders above it may
    // belong to a tree.
    for (fs::path at = path; at.has_relative_path(); at = at.parent_path()) {
        const std::string name = at.filename().string();
        int pipe = 0;
        if (!part.what) part.what = kindByName(name);
        if (tyktree::readPipeFolderName(name, pipe)) part.pipe = pipe;
        const std::string above = at.parent_path() == "/" ? "" : at.parent_path().string();
        if (isFolder(above + kDumpRoot) && onOneWay(path.substr(above.size()), kDumpRoot)) {
            part.deviceRoot = above.empty() ? "/" : above;
            if (!part.what) part.what = "inside the tree of a device root";
            return part;
        }
    }
    if (part.what) return part;
    if (!isFolder(path)) return std::nullopt;
    const auto tree = tyktree::resolveTree(path);
    if (!tree.ok() || tree.value().kind == tyktree::TreePath::Kind::kDeviceRoot) {
        return std::nullopt;
    }
    part.what = "a folder that holds pipes, tasks or frames";
    return part;
}

}  // namespace

std::string recordRoot(const std::string& given, const std::vector<std::string>& images) {
    if (given.empty()) throw WrongUsage("ROOT: expected a folder, found \"\"");
    if (isPicture(given)) refusePicture(given, images);
    const std::string path = physicalPath(given);
    if (isThere(path) && !isFolder(path)) {
        throw WrongUsage(tyktree::escaped(given) + ": is a file; expected a folder to record into");
    }
    if (const std::optional<Part> part = partOfTree(path)) {
        const bool known = !part->deviceRoot.empty();
        throw WrongUsage(fmt::format(
            "{}: is {}, and a recording makes a tree of its own; {}{}", tyktree::escaped(given),
            part->what, known ? "to add to the one there: " : "name a folder outside of it: ",
            command(known ? shellWord(part->deviceRoot) : "ROOT", images, part->pipe)));
    }
    return path == "/" ? "" : path;
}

}  // namespace tyksim
