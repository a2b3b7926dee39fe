// Values over many frames as columns.
#include "python/src/Errors.h"
#include "python/src/Frames.h"
#include "python/src/Text.h"
#include "python/src/Waiting.h"
#include "tree/read/FileBytes.h"
#include "tree/read/FrameListing.h"

#include <array>
#include <cstring>
#include <fmt/format.h>
#include <optional>
#include <pybind11/stl.h>
#include <utility>

namespace py = pybind11;

namespace tykpython {

namespace {

using tyktree::FileEntry;
using tyktree::FrameRef;
using tyktree::FrameValue;
using tyktree::ValueName;

py::ssize_t lengthOf(size_t count) {
    return static_cast<py::ssize_t>(count);
}

py::array zeros(const py::dtype& type, const std::vector<py::ssize_t>& shape) {
    py::array array(type, shape);
    std::memset(array.mutable_data(), 0, static_cast<size_t>(array.nbytes()));
    return array;
}

/// One value over the frames. The constructor needs the interpreter's lock; threads fill the column
/// without it.
class TrackColumn {
public:
    TrackColumn(const ValueName& name, size_t rows)
        : shape_(shapeOf(name)), count_(shape_.count()) {
        mask_ = py::array(py::dtype("?"), std::vector<py::ssize_t>{lengthOf(rows)});
        missing_ = static_cast<bool*>(mask_.mutable_data());
        std::fill(missing_, missing_ + rows, true);
        if (shape_.isText()) {
            texts_.resize(rows * count_);
            return;
        }
        std::vector<py::ssize_t> sides{lengthOf(rows)};
        sides.insert(sides.end(), shape_.sides.begin(), shape_.sides.end());
        data_ = zeros(elementType(shape_), sides);
        out_ = static_cast<uint8_t*>(data_.mutable_data());
        size_ = static_cast<size_t>(data_.itemsize());
    }

    void set(size_t row, const FrameValue& value) {
        if (value.absent() || !value.problem.empty()) return;
        missing_[row] = false;
        if (value.isBlob) {
            std::memcpy(out_ + row * size_, &value.crc32, sizeof(value.crc32));
        } else if (shape_.isText()) {
            for (size_t i = 0; i < value.values.size(); ++i) {
                texts_[row * count_ + i] = tyktags::toText(value.values[i]);
            }
        } else {
            uint8_t* at = out_ + row * size_ * count_;
            for (const tyktags::Value& element : value.values) {
                storeElement(element, shape_.type, at);
                at += size_;
            }
        }
    }

    /// The values and the mask of missing ones. Texts are a list, with the sides of a frame's array
    /// as third element.
    py::tuple result() const {
        if (!shape_.isText()) return py::make_tuple(data_, mask_, py::none());
        py::list texts;
        for (const std::string& text : texts_) texts.append(pythonText(text));
        return py::make_tuple(texts, mask_, py::cast(shape_.sides));
    }

private:
    ValueShape shape_;
    size_t count_;
    py::array mask_;
    py::array data_;
    std::vector<std::string> texts_;
    bool* missing_ = nullptr;
    uint8_t* out_ = nullptr;
    size_t size_ = 0;
};

/// The columns in the order of the names, and the problems of values that could not be read. Unless
/// `masked`, throws the first such problem.
py::tuple track(const Frames& frames, const std::vector<std::string>& given, bool masked, int jobs,
                const py::object& progress) {
    const std::vector<ValueName> names = frames.resolve(given);
    const std::vector<FrameRef>& refs = frames.refs();
    std::vector<TrackColumn> columns;
    columns.reserve(names.size());
    for (const ValueName& name : names) columns.emplace_back(name, refs.size());
    std::vector<std::string> problems;
    Waiting waiting(jobs, progress);
    const auto take = [&](const std::vector<FrameValue>& row, size_t index) {
        for (size_t i = 0; i < row.size(); ++i) {
            columns[i].set(index, row[i]);
            if (row[i].problem.empty()) continue;
            tyktags::Problem problem{refs[index].path(), "", "", row[i].problem, names[i].name};
            if (!masked) throw Damaged(std::move(problem));
            problems.push_back(toLine(problem));
        }
        waiting.count(index + 1, refs.size());
    };
    waiting.run([&] {
        tyktree::forEachInOrder<std::vector<FrameValue>>(
            refs.size(), waiting.execution(), [&] { return tyktree::FrameValueReader(names); },
            [&](tyktree::FrameValueReader& reader, std::vector<FrameValue>& row, size_t index) {
                row = reader.read(refs[index]);
            },
            take);
    });
    py::list results;
    for (const TrackColumn& column : columns) results.append(column.result());
    py::list lines;
    for (const std::string& problem : problems) lines.append(pythonText(problem));
    return py::make_tuple(results, lines);
}

/// Pipe, task, frame, request and sof id of the frames as arrays, the mask of unknown pipes, and
/// that of unknown request and sof ids.
py::tuple places(const Frames& frames) {
    const size_t rows = frames.refs().size();
    std::array<py::array_t<int64_t>, 5> numbers;
    for (py::array_t<int64_t>& column : numbers) {
        column = py::array_t<int64_t>(lengthOf(rows));
    }
    py::array_t<bool> unnamed(lengthOf(rows));
    py::array_t<bool> noPipe(lengthOf(rows));
    for (size_t row = 0; row < rows; ++row) {
        const FrameRef& frame = frames.refs()[row];
        const auto at = lengthOf(row);
        numbers[0].mutable_at(at) = frame.pipe->id.value_or(0);
        numbers[1].mutable_at(at) = frame.task->position;
        numbers[2].mutable_at(at) = frame.frame->position;
        numbers[3].mutable_at(at) = frame.frame->parsed.requestId;
        numbers[4].mutable_at(at) = frame.frame->parsed.sofId;
        unnamed.mutable_at(at) = !frame.frame->wellNamed;
        noPipe.mutable_at(at) = !frame.pipe->id;
    }
    return py::make_tuple(numbers[0], numbers[1], numbers[2], numbers[3], numbers[4], noPipe,
                          unnamed);
}

/// A frame's value of a fixed-size tag; none if it has no file of the tag.
std::optional<std::vector<uint8_t>> recordOf(const FrameRef& frame, const std::string& tag,
                                             size_t size, tyktree::FrameListing& listing) {
    const tyktags::Status& listed = listing.read(frame.path());
    if (!listed.ok()) throw Damaged(listed.problem());
    for (const FileEntry& file : listing.files()) {
        if (file.kind != FileEntry::Kind::kParameter || file.parameter.tagName != tag) continue;
        const std::string path = listing.pathOf(file);
        std::vector<uint8_t> bytes;
        const uint64_t found = orDamaged(tyktree::readFileBytes(path, size, bytes));
        if (found == size && bytes.size() == size) return bytes;
        throw Damaged({path, fmt::format("{} bytes", size), fmt::to_string(found)});
    }
    return std::nullopt;
}

/// The values of a tag as records, and the mask of frames without one.
py::tuple records(const Frames& frames, const std::string& tag, int jobs,
                  const py::object& progress) {
    using Record = std::optional<std::vector<uint8_t>>;
    const py::dtype type = frames.tree().names.recordType(tag);
    const auto size = static_cast<size_t>(type.itemsize());
    const std::vector<FrameRef>& refs = frames.refs();
    py::array data = zeros(type, {lengthOf(refs.size())});
    py::array_t<bool> mask(lengthOf(refs.size()));
    auto* const out = static_cast<uint8_t*>(data.mutable_data());
    bool* const missing = mask.mutable_data();
    Waiting waiting(jobs, progress);
    waiting.run([&] {
        tyktree::forEachInOrder<Record>(
            refs.size(), waiting.execution(), [] { return tyktree::FrameListing(); },
            [&](tyktree::FrameListing& listing, Record& record, size_t index) {
                record = recordOf(refs[index], tag, size, listing);
            },
            [&](const Record& record, size_t index) {
                missing[index] = !record;
                if (record && size > 0) std::memcpy(out + index * size, record->data(), size);
                waiting.count(index + 1, refs.size());
            });
    });
    return py::make_tuple(data, mask);
}

}  // namespace

void bindTracks(py::class_<Frames>& frames) {
    frames.def("track", [](const Frames& self, const std::vector<py::str>& names, bool masked,
                           int jobs, const py::object& progress) {
        std::vector<std::string> given;
        given.reserve(names.size());
        for (const py::str& name : names) given.push_back(bytesOf(name));
        return track(self, given, masked, jobs, progress);
    });
    frames.def("places", &places);
    frames.def("records",
               [](const Frames& self, const py::str& tag, int jobs, const py::object& progress) {
                   return records(self, bytesOf(tag), jobs, progress);
               });
}

}  // namespace tykpython
