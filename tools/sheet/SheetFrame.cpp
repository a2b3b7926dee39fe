#include "tools/sheet/SheetFrame.h"

#include "core/File.h"
#include "records/SceneLayout.h"
#include "tools/console/Console.h"
#include "tools/json/TreeJson.h"
#include "tree/read/Escape.h"
#include "tree/read/Parameter.h"

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <iterator>

namespace tyksim {

namespace {

using tyktags::Value;
using tyktree::FileEntry;
using tyktree::ValueName;

constexpr size_t kSceneFieldCount = std::size(kSceneFields);
constexpr size_t kElements = 16;  ///< shown elements of a field
constexpr size_t kHexBytes = 24;  ///< shown bytes of a value without known fields
constexpr size_t kPieceBytes = size_t{1} << 20;

// A script's numbers are exact for integers up to here.
constexpr int64_t kExact = int64_t{1} << 53;

/// Numbers have no names, which are stored once in the page.
Json pageValue(const Value& given) {
    const Value value = withoutName(given);
    if (const auto* text = std::get_if<std::string>(&value)) return tyktree::escaped(*text);
    const auto* whole = std::get_if<int64_t>(&value);
    const auto* natural = std::get_if<uint64_t>(&value);
    const bool inexact = (whole && (*whole > kExact || *whole < -kExact)) ||
                         (natural && *natural > static_cast<uint64_t>(kExact));
    return inexact ? Json(tyktags::toText(value)) : toJson(value);
}

/// A single element as such, several as their number and the first ones.
Json pageValues(const std::vector<Value>& values, bool single) {
    if (values.empty()) return nullptr;
    if (single) return pageValue(values.front());
    Json list = Json::array({values.size()});
    const size_t shown = std::min(values.size(), kElements);
    for (size_t i = 0; i < shown; ++i) list.push_back(pageValue(values[i]));
    return list;
}

Json plottedValue(const tyktree::FrameValue& value) {
    if (value.isBlob) return value.crc32;
    return value.values.empty() ? Json() : pageValue(value.values.front());
}

std::string hexStart(const std::vector<uint8_t>& bytes) {
    std::string text;
    for (size_t i = 0; i < std::min(bytes.size(), kHexBytes); ++i) {
        text += fmt::format(i == 0 ? "{:02x}" : " {:02x}", bytes[i]);
    }
    return bytes.size() > kHexBytes ? text + " …" : text;
}

std::vector<ValueName> withScene(const std::vector<ValueName>& plots) {
    std::vector<ValueName> names;
    for (const ::SceneField& field : kSceneFields) {
        ValueName name;
        name.name = field.path;
        name.scene = &field;
        names.push_back(name);
    }
    names.insert(names.end(), plots.begin(), plots.end());
    return names;
}

}  // namespace

SheetFrameReader::SheetFrameReader(const tyktree::TagCatalog& catalog,
                                   const std::vector<ValueName>& plots, const PicturePlan& pictures)
    : catalog_(catalog),
      values_(withScene(plots)),
      assumed_(pictures.assumed),
      pictures_(pictures) {}

SheetFrame SheetFrameReader::read(const tyktree::FrameRef& frame, bool drawn) {
    SheetFrame result = readValues(frame);
    FrameImage& image = result.image;
    if (image.path.empty()) return result;
    pictures_.read(image, drawn);
    if (!image.picture.problem.empty()) {
        result.problems.insert(
            fmt::format("{}: {}", tyktree::escaped(image.path), image.picture.problem));
    }
    return result;
}

SheetFrame SheetFrameReader::readValues(const tyktree::FrameRef& frame) {
    SheetFrame result;
    result.entry = frame.frame;
    if (const tyktags::Status& listed = listing_.read(frame.path()); !listed.ok()) {
        result.problems.insert(fmt::format(
            "{}: cannot be listed: {}", tyktree::escaped(frame.path()), listed.problem().reason));
    }
    result.files = listing_.files().size();
    result.bytes = listing_.bytes();
    for (const FileEntry& file : listing_.files()) {
        if (file.kind != FileEntry::Kind::kParameter) continue;
        if (!result.camera) result.camera = file.parameter.camId;
        result.parameters.push_back(readParameter(file, result));
    }
    addValues(result, frame.pathBefore());
    if (const FileEntry* const image = listing_.image()) {
        if (!result.camera) result.camera = image->image.camId;
        result.image.path = listing_.pathOf(*image);
        result.image.layout = assumed_.layoutOf(image->image);
    }
    return result;
}

void SheetFrameReader::addValues(SheetFrame& frame, const std::string& before) {
    const std::vector<tyktree::FrameValue> values = values_.read(listing_, before);
    for (size_t i = kSceneFieldCount; i < values.size(); ++i) {
        frame.plots.push_back(plottedValue(values[i]));
    }
    for (size_t i = 0; i < values.size(); ++i) {
        if (values[i].problem.empty()) continue;
        const std::string& name = values_.names()[i].name;
        frame.problems.insert(
            fmt::format("{}: {}: {}", tyktree::escaped(listing_.path()),
                        i < kSceneFieldCount ? "scene record" : tyktree::escaped(name),
                        tyktree::escaped(values[i].problem)));
    }
    if (values.front().absent()) return;
    frame.scene = Json::array();
    for (size_t i = 0; i < kSceneFieldCount; ++i) frame.scene.push_back(plottedValue(values[i]));
}

SheetParameter SheetFrameReader::readParameter(const FileEntry& file, SheetFrame& frame) const {
    SheetParameter result;
    result.tag = file.parameter.tagName;
    result.camera = file.parameter.camId;
    result.pipe = file.parameter.pipe;
    result.dumpType = file.parameter.dumpType;
    result.size = file.bytes;
    const tyktree::Parameter parameter =
        tyktree::readParameter(listing_, file, catalog_, kPieceBytes);
    if (!parameter.status.ok()) {
        result.crc = parameter.status.problem().reason;
        frame.problems.insert(fmt::format("{}: cannot be read: {}",
                                          tyktree::escaped(listing_.pathOf(file)), result.crc));
        return result;
    }
    result.crc = fmt::format("{:08x}", parameter.crc32);
    if (!parameter.tag || parameter.tag->fields.empty()) {
        result.content = hexStart(parameter.bytes);
        return result;
    }
    result.content = Json::array();
    for (const tyktree::DecodedField& field : parameter.fields()) {
        result.content.push_back(pageValues(field.values, isSingle(*field.field)));
    }
    return result;
}

}  // namespace tyksim
