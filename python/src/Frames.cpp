#include "python/src/Frames.h"

#include "python/src/Errors.h"
#include "python/src/Text.h"
#include "python/src/Unlocked.h"
#include "python/src/Where.h"
#include "tools/picture/Measures.h"
#include "tree/read/FileBytes.h"
#include "tree/read/FrameListing.h"
#include "tree/read/TagNames.h"
#include "tree/read/Timeline.h"

#include <climits>

#include <fmt/format.h>
#include <limits>
#include <pybind11/stl.h>
#include <utility>

namespace py = pybind11;

namespace tykpython {

namespace {

using tyktree::FileEntry;
using tyktree::FrameRef;

/// The ranges of an argument; `least` is the smallest valid number.
tyktree::NumberRanges rangesOf(const char* argument, const std::string& text, int64_t least) {
    if (text.empty()) return {};
    auto ranges = tyktree::NumberRanges::parse(text, least);
    if (ranges.ok()) return std::move(ranges.value());
    throw py::value_error(std::string(argument) + ": " + toLine(ranges.problem()));
}

const char* nameOf(tyktree::TreePath::Kind kind) {
    using Kind = tyktree::TreePath::Kind;
    switch (kind) {
        case Kind::kDeviceRoot:
            return "device";
        case Kind::kDumpRoot:
            return "dump";
        case Kind::kPipe:
            return "pipe";
        case Kind::kTask:
            return "task";
        case Kind::kFrame:
            break;
    }
    return "frame";
}

/// Pipe, task, position, request and sof id, path, name and time; None for ids that the names lack.
py::tuple placeOf(const Frames& frames, size_t index) {
    const FrameRef& frame = frames.at(index);
    const tyktree::FrameEntry& entry = *frame.frame;
    const auto ifNamed = [&entry](int number) {
        return entry.wellNamed ? py::object(py::int_(number)) : py::object(py::none());
    };
    return py::make_tuple(frame.pipe->id, frame.task->position, entry.position,
                          ifNamed(entry.parsed.requestId), ifNamed(entry.parsed.sofId),
                          pythonText(frame.path()), pythonText(entry.name),
                          entry.wellNamed ? py::object(pythonText(isoTime(entry.parsed.stamp)))
                                          : py::object(py::none()));
}

/// For each task: pipe, position, path, name, time, and the range of its frames among all.
py::list tasksOf(const Frames& frames) {
    py::list tasks;
    const std::vector<FrameRef>& refs = frames.refs();
    for (size_t first = 0; first < refs.size();) {
        size_t last = first;
        while (last < refs.size() && refs[last].task == refs[first].task) ++last;
        const tyktree::TaskEntry& task = *refs[first].task;
        tasks.append(py::make_tuple(
            refs[first].pipe->id, task.position, pythonText(task.path), pythonText(task.name),
            task.parsed ? py::object(pythonText(isoTime(task.parsed->stamp)))
                        : py::object(py::none()),
            first, last));
        first = last;
    }
    return tasks;
}

/// Lists a frame's folder. Throws Damaged on failure.
void list(const FrameRef& frame, tyktree::FrameListing& listing) {
    const Unlocked unlocked;
    const tyktags::Status& listed = listing.read(frame.path());
    if (!listed.ok()) throw Damaged(listed.problem());
}

py::list parametersOf(const Frames& frames, size_t index) {
    tyktree::FrameListing listing;
    list(frames.at(index), listing);
    py::list parameters;
    for (const FileEntry& file : listing.files()) {
        if (file.kind != FileEntry::Kind::kParameter) continue;
        const ParamFileName& name = file.parameter;
        const tyktags::TagEntry* const tag = frames.tree().names.catalog().byName(name.tagName);
        parameters.append(py::make_tuple(
            pythonText(name.tagName), tag ? py::object(py::int_(tag->id)) : py::object(py::none()),
            name.camId, name.pipe, name.sofId, nameOf(tyktree::kindOf(name.dumpType)),
            pythonText(listing.pathOf(file)), file.bytes));
    }
    return parameters;
}

/// Path, camera, sof id, width, height and bytes of a frame's image; None if it has none.
py::object imageOf(const Frames& frames, size_t index) {
    tyktree::FrameListing listing;
    list(frames.at(index), listing);
    const FileEntry* const image = listing.image();
    if (!image) return py::none();
    return py::make_tuple(pythonText(listing.pathOf(*image)), image->image.camId,
                          image->image.sofId, image->image.width, image->image.height,
                          image->bytes);
}

/// The camera of a frame's first file; None if no file has one.
py::object cameraOf(const Frames& frames, size_t index) {
    tyktree::FrameListing listing;
    list(frames.at(index), listing);
    for (const FileEntry& file : listing.files()) {
        if (file.kind == FileEntry::Kind::kParameter) return py::int_(file.parameter.camId);
        if (file.kind == FileEntry::Kind::kImage) return py::int_(file.image.camId);
    }
    return py::none();
}

/// The value of a name in one frame. Raises KeyError if the frame has none, throws Damaged if it
/// cannot be read. Returns None for a whole tag.
py::object valueOf(const Frames& frames, size_t index, const std::string& name) {
    const std::string path = frames.at(index).path();
    const std::vector<tyktree::ValueName> names = frames.resolve({name});
    tyktree::FrameValue value;
    {
        const Unlocked unlocked;
        value = tyktree::FrameValueReader(names).read(frames.at(index)).front();
    }
    if (!value.problem.empty()) throw Damaged({path, "", "", value.problem, name});
    if (value.absent()) {
        const py::str line = pythonText(path + ": the frame has no " + name);
        PyErr_SetObject(PyExc_KeyError, line.ptr());
        throw py::error_already_set();
    }
    return pythonValue(value.values, shapeOf(names.front()));
}

/// All bytes of a file of a tree.
py::bytes bytesIn(const std::string& path) {
    std::vector<uint8_t> bytes;
    {
        const Unlocked unlocked;
        const uint64_t size = orDamaged(tyktree::readFileBytes(path, INT_MAX, bytes));
        if (size != bytes.size()) {
            throw Damaged({path, fmt::format("{} bytes", size), fmt::to_string(bytes.size())});
        }
    }
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

Frames Frames::open(const std::string& path, const std::string& tags, std::optional<int> pipe,
                    const tyksim::AssumedPicture& assumed) {
    tyktree::FrameSelection selection;
    selection.pipe = pipe;
    auto read = tyktree::TreeIndex::read(orDamaged(tyktree::resolveTree(path)), pipe);
    if (!read.ok()) throw py::value_error(toLine(read.problem()));
    tyktree::TreeIndex index = std::move(read.value());
    auto catalog =
        std::make_shared<tyktree::TagCatalog>(orDamaged(tyktree::TagCatalog::find(index, tags)));
    const auto measures = std::make_shared<tyksim::ImageMeasures>(assumed);
    return {std::make_shared<OpenTree>(
                OpenTree{std::move(index), NameCatalog(std::move(catalog), measures)}),
            std::move(selection)};
}

Frames::Frames(std::shared_ptr<const OpenTree> tree, tyktree::FrameSelection selection)
    : tree_(std::move(tree)),
      selection_(std::move(selection)),
      refs_(tyktree::select(tree_->index, selection_)) {}

Frames Frames::select(const Picked& picked) const {
    constexpr int64_t kFirstPosition = 1;
    constexpr int64_t kAnyNumber = std::numeric_limits<int64_t>::min();
    tyktree::FrameSelection selection;
    selection.pipe = picked.pipe;
    selection.task = picked.task;
    selection.frames = rangesOf("frames", picked.frames, kFirstPosition);
    selection.requests = rangesOf("requests", picked.requests, kAnyNumber);
    selection.sofs = rangesOf("sofs", picked.sofs, kAnyNumber);
    Frames frames(tree_, std::move(selection));
    if (!picked.where.empty()) frames.keepWhere(picked.where);
    return frames;
}

void Frames::keepWhere(const std::string& expression) {
    refs_ = framesWhere(tree_->names, tagNames(), refs_, expression);
    std::vector<const tyktree::FrameEntry*> entries;
    entries.reserve(refs_.size());
    for (const FrameRef& frame : refs_) entries.push_back(frame.frame);
    selection_.keepOnly(std::move(entries));
}

const FrameRef& Frames::at(size_t index) const {
    if (index >= refs_.size()) throw py::index_error("no such frame");
    return refs_[index];
}

const std::vector<std::string>& Frames::tagNames() const {
    std::call_once(names_->read, [this] { names_->list = tyktree::tagNamesIn(refs_); });
    return names_->list;
}

std::vector<tyktree::ValueName> Frames::resolve(const std::vector<std::string>& names) const {
    const std::vector<std::string>* tagNames = nullptr;
    {
        const Unlocked unlocked;  // another thread may be reading them
        tagNames = &this->tagNames();
    }
    std::vector<tyktree::ValueName> resolved;
    resolved.reserve(names.size());
    for (const std::string& name : names) resolved.push_back(tree_->names.resolve(name, *tagNames));
    return resolved;
}

void bindFrames(py::class_<Frames>& frames) {
    frames
        .def_static("open",
                    [](const py::str& path, const py::str& tags, std::optional<int> pipe,
                       bool uFirst, int stride) {
                        const std::string pathBytes = bytesOf(path);
                        const std::string tagsBytes = bytesOf(tags);
                        tyksim::AssumedPicture assumed;
                        if (uFirst) assumed.order = tyksim::ChromaOrder::kNv12;
                        assumed.stride = stride;
                        const Unlocked unlocked;
                        return Frames::open(pathBytes, tagsBytes, pipe, assumed);
                    })
        .def("select",
             [](const Frames& self, std::optional<int> pipe, std::optional<uint32_t> task,
                const std::string& picked, const std::string& requests, const std::string& sofs,
                const py::str& where) {
                 return self.select({pipe, task, picked, requests, sofs, bytesOf(where)});
             })
        .def("__len__", [](const Frames& self) { return self.refs().size(); })
        .def_property_readonly(
            "kind", [](const Frames& self) { return nameOf(self.tree().index.path().kind); })
        .def_property_readonly(
            "path", [](const Frames& self) { return pythonText(self.tree().index.path().path); })
        .def_property_readonly("table", [](const Frames& self) { return self.tree().names; })
        .def("tag_names",
             [](const Frames& self) {
                 py::list names;
                 for (const std::string& name : self.tagNames()) names.append(pythonText(name));
                 return names;
             })
        .def("place", &placeOf)
        .def("tasks", &tasksOf)
        .def("parameters", &parametersOf)
        .def("image", &imageOf)
        .def("camera", &cameraOf)
        .def("value", [](const Frames& self, size_t index, const py::str& name) {
            return valueOf(self, index, bytesOf(name));
        });
    frames.def_static("read_file", [](const py::str& path) { return bytesIn(bytesOf(path)); });
}

}  // namespace tykpython
