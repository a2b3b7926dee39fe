#include "tools/playback/TreeCopy.h"

#include "core/XmlFile.h"
#include "tools/output/CloneFile.h"
#include "tools/output/Console.h"
#include "tools/output/Files.h"
#include "tree/DumpConfigFile.h"
#include "tree/Escape.h"
#include "tree/FileBytes.h"

#include <climits>

#include <algorithm>
#include <cerrno>
#include <filesystem>
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

/// The pipe whose folder a frame goes into; 1 where the source does not say, as a replay takes it.
int pipeOf(const tyktree::PipeEntry& pipe) {
    return pipe.id.value_or(1);
}

bool isSceneFile(const FileEntry& file) {
    return file.kind == FileEntry::Kind::kSceneXml || file.kind == FileEntry::Kind::kSceneBlock;
}

void writeBytes(const std::string& path, std::string_view bytes, FrameCopy& copy) {
    writeNewFile(path, bytes);
    ++copy.files;
    copy.bytes += bytes.size();
}

std::string_view viewOf(const uint8_t* bytes, size_t size) {
    return {reinterpret_cast<const char*>(bytes), size};
}

/// Takes the elements out of `parent` whose tag is not wanted.
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

TreeCopy::TreeCopy(std::string root, const CopyOptions& options, const Edits& edits)
    : root_(std::move(root)), options_(options), edits_(edits) {}

std::string TreeCopy::taskFolder(const FrameRef& frame) const {
    const std::string pipe = pipeFolderPath((root_ + kDumpRoot).c_str(), pipeOf(*frame.pipe));
    const bool ownFolder = frame.task->path != frame.pipe->path;
    return ownFolder ? pathIn(pipe, frame.task->name) : pipe;
}

void TreeCopy::prepare(const tyktree::TreeIndex& index, const std::vector<FrameRef>& frames,
                       const tyktree::TagCatalog& catalog) {
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
            if (side.regular) cloneFile(pathIn(pipe.path, side.name), pathIn(folder, side.name));
        }
        if (!pipe.configPath.empty()) copyConfiguration(pipe);
    }
    if (!catalog.path().empty()) cloneFile(catalog.path(), tyktree::tagTablePath(root_));
}

/// A configuration without what is left out, so that it says of the copy what its frames should
/// have.
void TreeCopy::copyConfiguration(const tyktree::PipeEntry& pipe) const {
    const std::string target = configFilePath((root_ + kDumpRoot).c_str(), pipeOf(pipe));
    const bool whole = options_.tags.empty() && options_.images;
    pugi::xml_document document;
    if (whole || !parseXmlFile(document, pipe.configPath.c_str())) {
        cloneFile(pipe.configPath, target);
        return;
    }
    const auto wanted = [this](const char* tag) {
        return options_.tags.empty() || fnmatch(options_.tags.c_str(), tag, 0) == 0;
    };
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
        throw Failure(text(tyktree::escaped(target), ": cannot be written: ", systemReason(errno)));
    }
}

bool TreeCopy::takes(const FileEntry& file) const {
    const bool image =
        file.kind == FileEntry::Kind::kImage || file.kind == FileEntry::Kind::kBadImage;
    if (image) return options_.images;
    if (options_.tags.empty()) return true;
    std::string tag;
    if (file.kind == FileEntry::Kind::kParameter) tag = file.parameter.tagName;
    if (isSceneFile(file)) tag = kSceneTagName;
    return !tag.empty() && fnmatch(options_.tags.c_str(), tag.c_str(), 0) == 0;
}

FrameCopy TreeCopy::copyFrame(const FrameRef& frame, FrameTurn turn) const {
    return copyFrame(frame, turn, taskFolder(frame));
}

void TreeCopy::copyFile(const std::string& source, const std::string& target) const {
    if (!options_.links) {
        cloneFile(source, target);
        return;
    }
    if (::symlink(source.c_str(), target.c_str()) == 0) return;
    throw Failure(text(tyktree::escaped(target), ": cannot be made: ", systemReason(errno)));
}

FrameCopy TreeCopy::copyFrame(const FrameRef& frame, FrameTurn turn,
                              const std::string& task) const {
    FrameCopy copy;
    thread_local FrameListing listing;
    const std::string source = frame.path();
    if (!listing.read(source)) {
        copy.problems.push_back(
            text(tyktree::escaped(source), ": cannot be listed: ", systemReason(listing.error())));
    }
    const std::string folder = pathIn(task, frame.frame->name);
    makeFolders(folder);
    const bool scene = edits_.changesScene() || edits_.changesTag(kSceneTagName);
    for (const FileEntry& file : listing.files()) {
        if (!takes(file)) continue;
        const std::string path = pathIn(source, file.name);
        if (!file.regular()) {
            copy.problems.push_back(tyktree::escaped(path) + ": no regular file, left out");
        } else if (file.kind == FileEntry::Kind::kParameter &&
                   edits_.changesTag(file.parameter.tagName)) {
            copyParameter(listing, file, folder, turn, copy);
        } else if (!scene || !isSceneFile(file)) {
            copyFile(path, pathIn(folder, file.name));
            ++copy.files;
            copy.bytes += file.bytes;
        }
    }
    if (scene) copyScene(listing, folder, turn, copy);
    return copy;
}

void TreeCopy::copyParameter(const FrameListing& listing, const FileEntry& file,
                             const std::string& folder, FrameTurn turn, FrameCopy& copy) const {
    const std::string path = pathIn(listing.path(), file.name);
    std::vector<uint8_t> bytes;
    const tyktree::ReadResult result = tyktree::readFileBytes(path, INT_MAX, bytes);
    if (!result.ok()) {
        copy.problems.push_back(tyktree::escaped(path) + ": left out: " + reasonOf(result));
        return;
    }
    std::vector<Change> changes;
    edits_.apply(file.parameter.tagName, turn, bytes, &changes);
    // A field of the scene record is listed with the text file below.
    const bool listed = file.parameter.tagName != kSceneTagName || !edits_.changesScene();
    if (listed) std::move(changes.begin(), changes.end(), std::back_inserter(copy.changes));
    writeBytes(pathIn(folder, file.name), viewOf(bytes.data(), bytes.size()), copy);
}

/// The text file and the blocks are set each from what it held, so that what somebody edited in one
/// of them stays as it was.
void TreeCopy::copyScene(const FrameListing& listing, const std::string& folder, FrameTurn turn,
                         FrameCopy& copy) const {
    const auto setAll = [this, turn](tyktree::SceneRecord& record, std::vector<Change>* changes) {
        std::vector<uint8_t> bytes(record.bytes.begin(), record.bytes.end());
        edits_.apply(kSceneTagName, turn, bytes, changes);
        bytes.resize(record.bytes.size());
        std::copy(bytes.begin(), bytes.end(), record.bytes.begin());
    };
    for (const FileEntry& file : listing.files()) {
        if (!isSceneFile(file) || !file.regular() || !takes(file)) continue;
        const std::string path = pathIn(listing.path(), file.name);
        const std::string target = pathIn(folder, file.name);
        tyktree::SceneRecord record;
        if (file.kind == FileEntry::Kind::kSceneXml) {
            const std::string problem = tyktree::readSceneXml(path, record);
            if (!problem.empty()) {
                copy.problems.push_back(tyktree::escaped(path) + ": not changed: " + problem);
                copyFile(path, target);
                continue;
            }
            setAll(record, &copy.changes);
            writeBytes(target, tyktree::toSceneXml(record), copy);
            continue;
        }
        const auto block = std::find_if(
            std::begin(kSceneBlocks), std::end(kSceneBlocks),
            [&file](const SceneBlock& candidate) { return file.name == candidate.fileName; });
        std::vector<uint8_t> bytes;
        const tyktree::ReadResult result = tyktree::readFileBytes(path, kSceneRecordBytes, bytes);
        if (!result.ok() || bytes.size() != static_cast<size_t>(block->bytes)) {
            copy.problems.push_back(tyktree::escaped(path) + ": not changed: of another size");
            copyFile(path, target);
            continue;
        }
        std::copy(bytes.begin(), bytes.end(), record.bytes.begin() + block->offset);
        setAll(record, nullptr);
        writeBytes(target,
                   viewOf(record.bytes.data() + block->offset, static_cast<size_t>(block->bytes)),
                   copy);
    }
}

}  // namespace tyksim
