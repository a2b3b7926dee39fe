#include "tree/read/TreeIndex.h"

#include "records/MfnrTuning.h"
#include "tree/read/FolderReader.h"
#include "tree/read/Timeline.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>
#include <unistd.h>
#include <utility>

namespace tyktree {

namespace {

using Kind = TreePath::Kind;

/// One entry of the current folder.
struct Entry {
    std::string name;
    FileEntry status;

    bool isFolder() const { return status.type == EntryType::kFolder; }
    /// Whether the library lists it as a folder.
    bool isListedFolder() const { return isFolder() && !status.link; }
};

/// "a symbolic link to a folder", "a FIFO" ...
std::string wordsFor(const Entry& entry) {
    const std::string words = nameOf(entry.status.type);
    return entry.status.link && entry.status.type != EntryType::kBrokenLink
               ? "a symbolic link to " + words
               : words;
}

/// Whether two frames have the same millisecond. No camera is that fast, and the order of such
/// names does not tell the order of time.
bool sameTime(const FrameEntry& a, const FrameEntry& b) {
    const size_t stamp = a.name.find('_');
    return a.name.compare(0, stamp, b.name, 0, stamp) == 0;
}

class IndexReader {
public:
    IndexReader(const TreePath& path, std::optional<int> wanted) : path_(path), wanted_(wanted) {}

    Status read();

    std::vector<PipeEntry> pipes;
    std::vector<TreeProblem> problems;

private:
    void add(ProblemKind kind, const FramePlace& place, Problem problem) {
        problems.push_back({std::move(problem), kind, place});
    }
    Problem noSuchPipe(std::string found) const {
        return {path_.given, "pipe " + std::to_string(*wanted_), std::move(found)};
    }

    bool list(const std::string& path, const FramePlace& place, std::vector<Entry>& entries);
    void noteUnknownTypes(const std::string& path, const FramePlace& place, size_t folders);

    Status readDumpRoot();
    void readRootEntry(const Entry& entry, std::map<int, std::string>& found, bool& loose);
    void readPipe(const std::string& path, std::optional<int> id, bool alone);
    void readLoosePipe();
    void readPipeEntry(PipeEntry& pipe, const Entry& entry, std::vector<std::string>& tasks,
                       bool& holdsFramesItself);
    void addTask(PipeEntry& pipe, const std::string& path, bool isPipe);
    void readTask(const PipeEntry& pipe, TaskEntry& task, bool isPipe);
    void readTaskEntry(const FramePlace& place, TaskEntry& task, const Entry& entry, bool isPipe);
    void checkTime(const std::string& path, const FramePlace& place, const Stamp& stamp);
    void checkOrder(const FramePlace& place, const TaskEntry& task);
    void readInside();
    void keepOneFrame(TaskEntry& task);

    const TreePath& path_;
    std::optional<int> wanted_;
};

/// Lists a folder. An error that ends the listing becomes a problem, and the entries so far are
/// kept.
bool IndexReader::list(const std::string& path, const FramePlace& place,
                       std::vector<Entry>& entries) {
    FolderReader folder(path);
    std::string_view name;
    unsigned char type = DT_UNKNOWN;
    size_t untyped = 0;
    while (folder.next(name, type)) {
        Entry& entry = entries.emplace_back();
        entry.name = name;
        // An entry that cannot be examined has an unknown type.
        static_cast<void>(folder.examine(entry.name.c_str(), type, entry.status));
        if (!entry.status.typeKnown && entry.isListedFolder()) ++untyped;
    }
    if (untyped > 0) noteUnknownTypes(path, place, untyped);
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    if (folder.status().ok()) return true;
    add(ProblemKind::kFolderUnlisted, place, folder.status().problem());
    return false;
}

void IndexReader::noteUnknownTypes(const std::string& path, const FramePlace& place,
                                   size_t folders) {
    add(ProblemKind::kEntryTypeUnknown, place,
        {path, "a file system that gives entry types",
         std::to_string(folders) + " folders without a type"});
}

Status IndexReader::readDumpRoot() {
    std::vector<Entry> entries;
    list(path_.dumpRoot, {}, entries);
    std::map<int, std::string> found;
    bool loose = false;
    for (const Entry& entry : entries) readRootEntry(entry, found, loose);
    if (wanted_ && found.count(*wanted_) == 0) {
        std::string ids;
        for (const auto& [id, path] : found) {
            ids += (ids.empty() ? "the pipes " : ", ") + std::to_string(id);
        }
        return noSuchPipe(ids.empty() ? "no pipe" : ids);
    }
    if (loose && !wanted_) readLoosePipe();
    for (const auto& [id, path] : found) {
        if (!wanted_ || id == *wanted_) readPipe(path, id, wanted_ || found.size() == 1);
    }
    if (pipes.empty()) add(ProblemKind::kNoFrames, {}, {path_.dumpRoot, "pipe folders", "none"});
    return {};
}

void IndexReader::readRootEntry(const Entry& entry, std::map<int, std::string>& found,
                                bool& loose) {
    const std::string path = path_.dumpRoot + "/" + entry.name;
    int pipe = 0;
    if (readPipeFolderName(entry.name, pipe)) {
        if (!entry.isFolder()) {
            add(ProblemKind::kNotAFolder, {pipe, 0, 0}, {path, "a pipe folder", wordsFor(entry)});
            return;
        }
        found[pipe] = path;
        if (entry.status.link) {
            add(ProblemKind::kLinkedFolder, {pipe, 0, 0}, {path, "a folder", wordsFor(entry)});
        }
    } else if (isTaskName(entry.name) || isFrameName(entry.name)) {
        loose = true;  // readLoosePipe() reads it
    } else if (entry.isFolder()) {
        add(ProblemKind::kForeignFolder, {},
            {path, "pipe folders and dump configurations", "a folder"});
    } else if (!readConfigFileName(entry.name, pipe)) {
        add(ProblemKind::kForeignFile, {},
            {path, "pipe folders and dump configurations", wordsFor(entry)});
    }
}

/// `alone`: this is the only pipe to read.
void IndexReader::readPipe(const std::string& path, std::optional<int> id, bool alone) {
    PipeEntry pipe;
    pipe.id = id;
    pipe.path = path;
    if (id && !path_.dumpRoot.empty()) {
        const std::string config = configFilePath(path_.dumpRoot.c_str(), *id);
        if (::access(config.c_str(), F_OK) == 0) pipe.configPath = config;
    }
    std::vector<Entry> entries;
    const bool listed = list(path, {id, 0, 0}, entries);
    std::vector<std::string> tasks;
    bool holdsFramesItself = false;
    for (const Entry& entry : entries) readPipeEntry(pipe, entry, tasks, holdsFramesItself);
    if (holdsFramesItself) addTask(pipe, path, true);
    for (const std::string& task : tasks) addTask(pipe, task, false);
    // The tuning copy, which all pipes share, may be in the folder of a pipe that was never
    // recorded.
    const bool onlyCopies = !alone && pipe.configPath.empty() && !pipe.tuningCopies.empty();
    if (listed && pipe.tasks.empty() && !onlyCopies) {
        add(ProblemKind::kNoFrames, {id, 0, 0}, {path, "task folders", "none"});
    }
    pipes.push_back(std::move(pipe));
}

/// Reads tasks and frames directly in the dump root, where the default object puts them.
void IndexReader::readLoosePipe() {
    PipeEntry pipe;
    std::vector<Entry> entries;
    list(path_.dumpRoot, {}, entries);
    bool frames = false;
    std::vector<std::string> tasks;
    for (const Entry& entry : entries) {
        if (isTaskName(entry.name) || isFrameName(entry.name)) {
            readPipeEntry(pipe, entry, tasks, frames);
        }
    }
    if (frames) addTask(pipe, path_.dumpRoot, true);
    for (const std::string& task : tasks) addTask(pipe, task, false);
    if (!pipe.tasks.empty()) pipes.push_back(std::move(pipe));
}

/// Sorts an entry of a pipe folder into tasks, frames, side files and foreign entries.
void IndexReader::readPipeEntry(PipeEntry& pipe, const Entry& entry,
                                std::vector<std::string>& tasks, bool& holdsFramesItself) {
    const std::string path = (pipe.path.empty() ? path_.dumpRoot : pipe.path) + "/" + entry.name;
    const FramePlace place{pipe.id, 0, 0};
    const bool named = isTaskName(entry.name) || isFrameName(entry.name);
    if (named && !entry.isListedFolder()) {
        add(ProblemKind::kNotAFolder, place, {path, "a task or frame folder", wordsFor(entry)});
    } else if (isFrameName(entry.name)) {
        holdsFramesItself = true;
    } else if (isTaskName(entry.name)) {
        tasks.push_back(path);
    } else if (entry.isListedFolder() && holdsFolder(path, isFrameName)) {
        add(ProblemKind::kTaskName, place,
            {path, "a name such as 21160305140709123_task_0", "another name, with frames in it"});
        tasks.push_back(path);
    } else if (entry.isFolder()) {
        add(ProblemKind::kForeignFolder, place, {path, "task folders", wordsFor(entry)});
    } else if (isMfnrCopyName(entry.name)) {
        pipe.tuningCopies.push_back({entry.name, entry.status.bytes, entry.status.regular()});
    } else {
        add(ProblemKind::kForeignFile, place,
            {path, "task folders and tuning copies", wordsFor(entry)});
    }
}

void IndexReader::addTask(PipeEntry& pipe, const std::string& path, bool isPipe) {
    TaskEntry task;
    task.path = path;
    task.name = lastName(path);
    task.position = static_cast<uint32_t>(pipe.tasks.size() + 1);
    TaskFolderName parsed{};
    if (!isPipe && readTaskFolderName(task.name, parsed)) {
        task.parsed = parsed;
        checkTime(path, {pipe.id, task.position, 0}, parsed.stamp);
    }
    readTask(pipe, task, isPipe);
    pipe.tasks.push_back(std::move(task));
}

/// `isPipe`: the folder is a pipe folder, whose other entries were handled already.
void IndexReader::readTask(const PipeEntry& pipe, TaskEntry& task, bool isPipe) {
    const FramePlace place{pipe.id, task.position, 0};
    std::vector<Entry> entries;
    task.listed = list(task.path, place, entries);
    for (const Entry& entry : entries) readTaskEntry(place, task, entry, isPipe);
    task.frames.shrink_to_fit();
    for (size_t i = 0; i < task.frames.size(); ++i) {
        task.frames[i].position = static_cast<uint32_t>(i + 1);
    }
    if (task.frames.empty() && task.listed) {
        add(ProblemKind::kNoFrames, place, {task.path, "frame folders", "none"});
    }
    checkOrder(place, task);
}

void IndexReader::readTaskEntry(const FramePlace& place, TaskEntry& task, const Entry& entry,
                                bool isPipe) {
    FrameEntry frame;
    frame.wellNamed = readFrameFolderName(entry.name, frame.parsed);
    if (isPipe && !(frame.wellNamed && entry.isListedFolder())) return;
    const std::string path = task.path + "/" + entry.name;
    if (!entry.isListedFolder()) {
        const bool folder = frame.wellNamed || entry.isFolder();
        add(folder ? ProblemKind::kNotAFolder : ProblemKind::kForeignFile, place,
            {path, "frame folders", wordsFor(entry)});
        return;
    }
    FramePlace at = place;
    at.frame = static_cast<uint32_t>(task.frames.size() + 1);
    if (frame.wellNamed) {
        checkTime(path, at, frame.parsed.stamp);
    } else {
        add(ProblemKind::kFrameName, at,
            {path, "a name such as 0305140710456_reqID_42_sofID_17", "another name"});
    }
    frame.name = entry.name;
    task.frames.push_back(std::move(frame));
}

void IndexReader::checkTime(const std::string& path, const FramePlace& place, const Stamp& stamp) {
    const std::string impossible = impossiblePart(stamp);
    if (impossible.empty()) return;
    add(ProblemKind::kNameTime, place,
        {path, "a time that a calendar and a clock show", impossible});
}

/// Reports requests out of order. The names are sorted by time, so request ids must not fall.
void IndexReader::checkOrder(const FramePlace& place, const TaskEntry& task) {
    std::map<std::pair<int, int>, uint32_t> seen;
    const FrameEntry* last = nullptr;
    std::optional<int> latest;          // the largest request at earlier times
    std::optional<int> latestWithLast;  // also at the last frame's time
    for (const FrameEntry& frame : task.frames) {
        if (!frame.wellNamed) continue;
        FramePlace at = place;
        at.frame = frame.position;
        const int request = frame.parsed.requestId;
        if (last != nullptr && !sameTime(*last, frame)) latest = latestWithLast;
        if (latest && request < *latest) {
            add(ProblemKind::kFrameOrder, at,
                {framePath(task, frame), "request " + std::to_string(*latest) + " or a later one",
                 "request " + std::to_string(request)});
        }
        latestWithLast = std::max(latestWithLast.value_or(request), request);
        const auto [first, isNew] =
            seen.emplace(std::make_pair(request, frame.parsed.sofId), frame.position);
        if (!isNew) {
            add(ProblemKind::kFrameRepeated, at,
                {framePath(task, frame), "unique ids",
                 "request " + std::to_string(request) + " and sof " +
                     std::to_string(frame.parsed.sofId) + ", which frame " +
                     std::to_string(first->second) + " has"});
        }
        last = &frame;
    }
}

/// Reads a task or frame, in a pipe with this task only.
void IndexReader::readInside() {
    PipeEntry pipe;
    pipe.id = path_.pipe;
    pipe.path = path_.pipeFolder;
    if (path_.pipe) {
        const std::string config = configFilePath(path_.dumpRoot.c_str(), *path_.pipe);
        if (::access(config.c_str(), F_OK) == 0) pipe.configPath = config;
    }
    addTask(pipe, path_.taskFolder, path_.taskFolder == path_.pipeFolder);
    if (path_.kind == Kind::kFrame) keepOneFrame(pipe.tasks.front());
    pipes.push_back(std::move(pipe));
}

void IndexReader::keepOneFrame(TaskEntry& task) {
    const std::string_view name = lastName(path_.path);
    const auto wanted =
        std::find_if(task.frames.begin(), task.frames.end(),
                     [name](const FrameEntry& frame) { return frame.name == name; });
    std::vector<FrameEntry> frames;
    if (wanted != task.frames.end()) frames.push_back(std::move(*wanted));
    // If the folder above cannot be listed, the named frame is still read.
    if (frames.empty()) {
        FrameEntry frame;
        frame.name = name;
        frame.wellNamed = readFrameFolderName(name, frame.parsed);
        frame.position = 1;
        frames.push_back(std::move(frame));
    }
    task.frames = std::move(frames);
    const std::string& path = path_.path;
    problems.erase(
        std::remove_if(problems.begin(), problems.end(),
                       [&path](const TreeProblem& problem) { return problem.path != path; }),
        problems.end());
}

Status IndexReader::read() {
    const bool inside = path_.kind != Kind::kDeviceRoot && path_.kind != Kind::kDumpRoot;
    if (inside && wanted_ && wanted_ != path_.pipe) {
        return noSuchPipe(path_.pipe ? "pipe " + std::to_string(*path_.pipe)
                                     : "a folder of no pipe");
    }
    if (!inside) return readDumpRoot();
    if (path_.kind == Kind::kPipe) {
        readPipe(path_.path, path_.pipe, true);
    } else {
        readInside();
    }
    return {};
}

}  // namespace

Result<TreeIndex> TreeIndex::read(const TreePath& path, std::optional<int> pipe) {
    TreeIndex index;
    index.path_ = path;
    IndexReader reader(index.path_, pipe);
    const Status status = reader.read();
    if (!status.ok()) return status.problem();
    index.pipes_ = std::move(reader.pipes);
    index.problems_ = std::move(reader.problems);
    return index;
}

size_t TreeIndex::frameCount() const {
    size_t count = 0;
    for (const PipeEntry& pipe : pipes_) {
        for (const TaskEntry& task : pipe.tasks) count += task.frames.size();
    }
    return count;
}

std::vector<std::string> foldersOf(const TreeIndex& index) {
    const TreePath& named = index.path();
    std::set<std::string> folders{named.path};
    if (!named.dumpRoot.empty()) folders.insert(named.dumpRoot);
    for (const PipeEntry& pipe : index.pipes()) {
        // Each folder on the way may be a link that leads out of the one that was named.
        std::string at = pipe.path;
        for (; at.size() > named.path.size(); at.resize(at.rfind('/'))) folders.insert(at);
    }
    return {folders.begin(), folders.end()};
}

std::string framePath(const TaskEntry& task, const FrameEntry& frame) {
    return task.path + "/" + frame.name;
}

}  // namespace tyktree
