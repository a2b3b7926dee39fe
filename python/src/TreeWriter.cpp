#include "python/src/TreeWriter.h"

#include "core/TreeNames.h"
#include "python/src/Errors.h"
#include "python/src/Text.h"
#include "python/src/Unlocked.h"
#include "tools/edit/TreeCopy.h"
#include "tools/files/CloneFile.h"
#include "tree/read/FrameListing.h"

#include <fmt/format.h>
#include <pybind11/stl.h>
#include <utility>

namespace py = pybind11;

namespace tykpython {

namespace {

using tyktree::FileEntry;
using tyktree::FrameRef;

/// The camera and sof id for an image of the frame: those of its image, or else of its other files.
ImageFileName imageNameOf(const FrameRef& frame) {
    tyktree::FrameListing listing;
    static_cast<void>(listing.read(frame.path()));  // copying the frame reports a failure
    if (const FileEntry* const image = listing.image()) return image->image;
    for (const FileEntry& file : listing.files()) {
        if (file.kind != FileEntry::Kind::kParameter) continue;
        return {file.parameter.sofId, file.parameter.camId, 0, 0};
    }
    return {frame.frame->parsed.sofId, 0, 0, 0};
}

}  // namespace

TreeWriter::TreeWriter(const std::string& out, Frames like)
    : like_(std::move(like)),
      folder_(std::in_place,
              tyksim::OutputRequest{out, tyktree::foldersOf(like_.tree().index), false}) {}

tyksim::OutputFolder& TreeWriter::folder() {
    if (!folder_) throw py::value_error("the writer is closed");
    if (failed_) throw py::value_error("nothing can be added after a frame that could not be");
    if (!folder_->isOwn()) throw py::value_error("the writer belongs to another process");
    return *folder_;
}

void TreeWriter::add(size_t index, const std::optional<NewImage>& image,
                     const std::vector<tyksim::NamedValue>& values) {
    folder();
    const FrameRef& frame = like_.at(index);
    if (known_.count(frame.frame) != 0) {
        throw py::value_error(frame.path() + ": was added before");
    }
    for (const tyksim::NamedValue& value : values) {
        static_cast<void>(like_.resolve({value.name}));
    }
    failed_ = true;
    {
        const Unlocked unlocked;
        copy(frame, image, values);
    }
    failed_ = false;
    known_.insert(frame.frame);
    added_.push_back(frame);
}

void TreeWriter::copy(const FrameRef& frame, const std::optional<NewImage>& image,
                      const std::vector<tyksim::NamedValue>& values) {
    tyksim::CopyOptions options;
    options.images = !image;
    const tyksim::Edits edits(values, like_.tree().names.catalog(), like_.tagNames());
    edits.requireFiles({frame}, [](const FileEntry&) { return true; });
    const tyksim::TreeCopy copy(folder_->path(), options, edits);
    const tyksim::FrameCopy copied = copy.copyFrame(frame, {});
    if (!copied.problems.empty()) throw Damaged({frame.path(), "", "", copied.problems.front()});
    if (!image) return;
    const ImageFileName name = imageNameOf(frame);
    const std::string path =
        imageFilePath(copy.folderOf(frame), name.sofId, name.camId, image->width, image->height);
    tyksim::writeNewFile(path, image->bytes);
}

void TreeWriter::commit() {
    tyksim::OutputFolder& out = folder();
    if (added_.empty()) throw py::value_error("expected at least one frame, none was added");
    const Unlocked unlocked;
    const tyksim::Edits none;
    const tyksim::CopyOptions options;
    tyksim::TreeCopy copy(out.path(), options, none);
    const tyktree::TreeIndex& index = like_.tree().index;
    const std::vector<std::string> problems =
        copy.prepare(index, added_, like_.tree().names.catalog());
    if (!problems.empty()) throw Damaged({index.path().path, "", "", problems.front()});
    out.commit();
    folder_.reset();
}

namespace {

NewImage newImage(const py::object& image) {
    const auto [width, height, bytes] = image.cast<std::tuple<int, int, py::bytes>>();
    return {width, height, bytes};
}

/// A name with a text or bytes.
tyksim::NamedValue namedValue(const py::tuple& pair) {
    tyksim::NamedValue named{bytesOf(py::cast<py::str>(pair[0])), {}};
    if (py::isinstance<py::bytes>(pair[1])) {
        const auto bytes = py::cast<std::string_view>(pair[1]);
        named.value = std::vector<uint8_t>(bytes.begin(), bytes.end());
    } else {
        named.value = bytesOf(py::cast<py::str>(pair[1]));
    }
    return named;
}

}  // namespace

void bindWriter(py::module_& module) {
    py::class_<TreeWriter>(module, "TreeWriter")
        .def(py::init([](const py::str& out, const Frames& like) {
            return std::make_unique<TreeWriter>(bytesOf(out), like);
        }))
        .def("add",
             [](TreeWriter& self, size_t index, const py::object& image,
                const std::vector<py::tuple>& values) {
                 std::optional<NewImage> given;
                 if (!image.is_none()) given = newImage(image);
                 std::vector<tyksim::NamedValue> named;
                 named.reserve(values.size());
                 for (const py::tuple& value : values) named.push_back(namedValue(value));
                 self.add(index, given, named);
             })
        .def("commit", &TreeWriter::commit)
        .def("close", &TreeWriter::close);
}

}  // namespace tykpython
