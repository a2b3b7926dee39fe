#include "tools/edit/TreeCopy.h"

#include "core/XmlFile.h"
#include "tools/console/Console.h"
#include "tools/console/Failures.h"
#include "tools/edit/SceneCopy.h"
#include "tools/files/CloneFile.h"
#include "tools/files/Files.h"
#include "tree/read/DumpConfigFile.h"
#include "tree/read/Escape.h"
#include "tree/read/FileBytes.h"

#include <climits>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fmt/format.h>
#include <fnmatch.h>
#include <set>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace tyksim {

namespace {

using tyktree::FileEntry;
using tyktree::FrameListing;
using tyktree::FrameRef;

std::string pathIn(const std::string& folder, std::string_view name) {
    return folder + "/" + std::string(name);
}

/// The pipe of a frame's folder; 1, as in a replay, if the source has none.
int pipeOf(const tyktree::PipeEntry& pipe) {
    return pipe.id.value_or(1);
}

/// The tag of a file; "" if it has none.
std::string tagOf(const FileEntry& file) {
    if (file.kind == FileEntry::Kind::kParameter) return std::string(file.parameter.tagName);
    return isSceneFile(file) ? kSceneTagName : "";
}

void writeBytes(const std::string& path, std::string_view bytes, FrameCopy& copy) {
    writeNewFile(path, bytes);
    ++copy.files;
    copy.bytes += bytes.size();
}

std::string_view viewOf(const uint8_t* bytes, size_t size) {
    return {reinterpret_cast<const char*>(bytes), size};
}

std::string leftOut(const std::string& path, const std::string& reason) {
    return tyktree::escaped(path) + ": cannot be read: " + reason + "; left out";
}

std::string unchanged(const std::string& path, const std::string& reason) {
    return tyktree::escaped(path) + ": not changed: " + tyktree::escaped(reason);
}

/// Reads a file to change. If that fails, the file is omitted, which `copy` reports.
bool readWhole(const std::string& path, std::vector<uint8_t>& bytes, FrameCopy& copy) {
    const auto size = tyktree::readFileBytes(path, INT_MAX, bytes);
    if (size.ok() && bytes.size() == size.value()) return true;
    copy.problems.push_back(leftOut(
        path, size.ok() ? fmt::format("expected {} bytes, found {}", size.value(), bytes.size())
                        : size.problem().reason));
    return false;
}

/// Removes the elements of unwanted tags from `parent`.
template <typename Wanted>
void removeTags(pugi::xml_node parent, const char* attribute, Wanted wanted) {
    for (pugi::xml_node node = parent.first_child(); node;) {
        const pugi::xml_node next = node.next_sibling();
        const bool element = node.type() == pugi::node_element;
        if (element && !wanted(node.attribute(attribute).value())) parent.remove_child(node);
        node = next;
    }
}

}  // namespace

bool CopyOptions::takesTag(const std::string& name) const {
    return onlyTags.empty() || fnmatch(onlyTags.c_str(), name.c_str(), 0) == 0;
}

bool CopyOptions::takes(const FileEntry& file) const {
    const bool image =
        file.kind == FileEntry::Kind::kImage || file.kind == FileEntry::Kind::kBadImage;
    if (image) return images;
    const std::string tag = tagOf(file);
    return tag.empty() ? onlyTags.empty() : takesTag(tag);
}

void requireFiles(const CopyOptions& options, const Edits& edits,
                  const std::vector<FrameRef>& frames) {
    edits.requireFiles(frames, [&options](const FileEntry& file) { return options.takes(file); });
    if (options.onlyTags.empty()) return;
    std::set<std::string> names;
    FrameListing listing;
    for (const FrameRef& frame : frames) {
        static_cast<void>(listing.read(frame.path()));  // copyFrame() reports a failure
        for (const FileEntry& file : listing.files()) {
            const std::string tag = tagOf(file);
            if (tag.empty()) continue;
            if (options.takesTag(tag)) return;
            names.insert(tag);
        }
    }
    std::string found = names.empty() ? "no tag" : "";
    for (const std::string& name : names) found += (found.empty() ? "" : ", ") + name;
    throw WrongUsage(
        fmt::format("--only-tags: expected a pattern that a tag of the selected frames has, found "
                    "{}; there is {}",
                    tyktree::escaped(options.onlyTags), tyktree::escaped(found)));
}

TreeCopy::TreeCopy(std::string root, const CopyOptions& options, const Edits& edits)
    : root_(std::move(root)), options_(options), edits_(edits) {}

std::string TreeCopy::taskFolder(const FrameRef& frame) const {
    const std::string pipe = pipeFolderPath((root_ + kDumpRoot).c_str(), pipeOf(*frame.pipe));
    const bool ownFolder = frame.task->path != frame.pipe->path;
    return ownFolder ? pathIn(pipe, frame.task->name) : pipe;
}

std::vector<std::string> TreeCopy::prepare(const tyktree::TreeIndex& index,
                                           const std::vector<FrameRef>& frames,
                                           const tyktree::TagCatalog& catalog) {
    std::vector<std::string> problems;
    const auto orSay = [&problems](const auto& copy) {
        try {
            copy();
        } catch (const SourceUnreadable& error) {
            problems.push_back(fmt::format("{}; left out", error.what()));
        }
    };
    std::set<std::string> made;
    std::set<const tyktree::PipeEntry*> pipes;
    for (const FrameRef& frame : frames) {
        const std::string folder = taskFolder(frame);
        if (made.insert(folder).second) makeFolders(folder);
        pipes.insert(frame.pipe);
    }
    for (const tyktree::PipeEntry& pipe : index.pipes()) {
        if (pipes.count(&pipe) == 0) continue;
        const std::string folder = pipeFolderPath((root_ + kDumpRoot).c_str(), pipeOf(pipe));
        for (const tyktree::SideFile& side : pipe.tuningCopies) {
            orSay([&] { cloneFile(pathIn(pipe.path, side.name), pathIn(folder, side.name)); });
        }
        if (!pipe.configPath.empty()) orSay([&] { copyConfiguration(pipe); });
    }
    if (!catalog.path().empty())
        orSay([&] { writeFile(tyktree::tagTablePath(root_), catalog.text()); });
    return problems;
}

/// Copies a configuration without the omitted tags, so that it describes the frames of the copy.
void TreeCopy::copyConfiguration(const tyktree::PipeEntry& pipe) const {
    const std::string target = configFilePath((root_ + kDumpRoot).c_str(), pipeOf(pipe));
    const bool whole = options_.onlyTags.empty() && options_.images;
    pugi::xml_document document;
    if (whole || !parseXmlFile(document, pipe.configPath.c_str())) {
        cloneFile(pipe.configPath, target);
        return;
    }
    const auto wanted = [this](const char* tag) { return options_.takesTag(tag); };
    pugi::xml_node root = document.child("dumpconfig");
    if (root && !options_.images) {
        root.remove_attribute(tyktree::kImagesAttribute);
        root.append_attribute(tyktree::kImagesAttribute).set_value("no");
    }
    removeTags(root.child("common"), "value", wanted);
    for (const pugi::xml_node node : root.child("pipeline").children()) {
        removeTags(node, "name", wanted);
    }
    if (!document.save_file(target.c_str(), "  ")) {
        throw Failure(fmt::format("{}: cannot be written: {}", tyktree::escaped(target),
                                  systemReason(errno)));
    }
}

std::string TreeCopy::folderOf(const FrameRef& frame) const {
    return pathIn(taskFolder(frame), frame.frame->name);
}

FrameCopy TreeCopy::copyFrame(const FrameRef& frame, FrameTurn turn) const {
    return copyFrame(frame, turn, taskFolder(frame));
}

FrameCopy TreeCopy::copyFrame(const FrameRef& frame, FrameTurn turn,
                              const std::string& task) const {
    FrameCopy copy;
    thread_local FrameListing listing;
    const std::string source = frame.path();
    if (const tyktags::Status& listed = listing.read(source); !listed.ok()) {
        copy.problems.push_back(fmt::format("{}: cannot be listed: {}", tyktree::escaped(source),
                                            listed.problem().reason));
    }
    const std::string folder = pathIn(task, frame.frame->name);
    makeFolders(folder);
    std::optional<SceneCopy> scene;
    if (edits_.changesTag(kSceneTagName) && options_.takesTag(kSceneTagName)) {
        scene.emplace(listing, edits_, turn);
        copy.changes = scene->changes();
    }
    for (const FileEntry& file : listing.files()) {
        if (!options_.takes(file)) continue;
        const std::string path = pathIn(source, file.name);
        if (!file.regular()) {
            copy.problems.push_back(leftOut(path, "not a regular file"));
        } else if (file.kind == FileEntry::Kind::kParameter &&
                   edits_.changesTag(file.parameter.tagName)) {
            copyParameter(listing, file, folder, turn, copy);
        } else if (scene && isSceneFile(file)) {
            copySceneFile(*scene, listing, file, folder, copy);
        } else {
            copyFile(listing, file, folder, copy);
        }
    }
    return copy;
}

void TreeCopy::copyFile(const FrameListing& listing, const FileEntry& file,
                        const std::string& folder, FrameCopy& copy) const {
    const std::string source = pathIn(listing.path(), file.name);
    const std::string target = pathIn(folder, file.name);
    try {
        if (!options_.links) {
            cloneFile(source, target);
        } else if (::symlink(source.c_str(), target.c_str()) != 0) {
            throw Failure(fmt::format("{}: cannot be made: {}", tyktree::escaped(target),
                                      systemReason(errno)));
        }
        ++copy.files;
        copy.bytes += file.bytes;
    } catch (const SourceUnreadable& error) {
        copy.problems.push_back(fmt::format("{}; left out", error.what()));
    }
}

void TreeCopy::copySceneFile(const SceneCopy& scene, const FrameListing& listing,
                             const FileEntry& file, const std::string& folder,
                             FrameCopy& copy) const {
    const std::string path = pathIn(listing.path(), file.name);
    std::vector<uint8_t> bytes;
    if (!readWhole(path, bytes, copy)) return;
    const tyktags::Result<std::string> content = scene.contentOf(file, bytes);
    if (!content.ok()) copy.problems.push_back(unchanged(path, toLine(content.problem())));
    const std::string_view same = viewOf(bytes.data(), bytes.size());
    writeBytes(pathIn(folder, file.name), content.ok() ? content.value() : same, copy);
}

void TreeCopy::copyParameter(const FrameListing& listing, const FileEntry& file,
                             const std::string& folder, FrameTurn turn, FrameCopy& copy) const {
    const std::string path = pathIn(listing.path(), file.name);
    std::vector<uint8_t> bytes;
    if (!readWhole(path, bytes, copy)) return;
    const bool isFixed = file.parameter.dumpType == kFixedSizeDump;
    EditResult edited = edits_.apply(file.parameter.tagName, isFixed, turn, bytes);
    for (const std::string& problem : edited.problems) {
        copy.problems.push_back(unchanged(path, problem));
    }
    // Changes of the scene record are listed once for all of its files.
    if (file.parameter.tagName != kSceneTagName) {
        std::move(edited.changes.begin(), edited.changes.end(), std::back_inserter(copy.changes));
    }
    writeBytes(pathIn(folder, file.name), viewOf(bytes.data(), bytes.size()), copy);
}

}  // namespace tyksim
