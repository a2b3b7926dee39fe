#include "tools/sheet/SheetRows.h"

#include "tools/diff/DifferenceText.h"
#include "tree/read/Escape.h"
#include "tree/read/TagCatalog.h"
#include "tree/read/Timeline.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

constexpr size_t kShownValues = 16;  ///< shown values of a field or record
constexpr const char* kBothCut = "both images are cut";

std::string timeOf(const tyktree::FrameEntry& entry) {
    if (!entry.wellNamed) return "";
    const std::string time = tyktree::isoTime(entry.parsed.stamp);
    return time.substr(time.find('T') + 1);
}

double rounded(double value, double steps) {
    return std::round(value * steps) / steps;
}

Json figuresOf(const PlaneFigures& figures) {
    if (!figures.any) return nullptr;
    return Json::array({figures.least, figures.most, rounded(figures.mean, 1e6),
                        rounded(figures.shareAt0, 1e8), rounded(figures.shareAt255, 1e8),
                        rounded(figures.peak, 1e6)});
}

Json imageOf(const FrameImage& image) {
    const FramePicture& picture = image.picture;
    if (image.path.empty()) return nullptr;
    if (!picture.problem.empty()) return picture.problem;
    const PixelArea& window = picture.window;
    return Json::array(
        {picture.lacking, Json::array({picture.held.y, picture.held.u, picture.held.v}),
         window.empty() ? Json() : Json::array({window.x, window.y, window.width, window.height}),
         figuresOf(picture.planes[0]), figuresOf(picture.planes[1]), figuresOf(picture.planes[2])});
}

Json planesOf(const PictureDifference& difference) {
    Json planes = Json::array();
    for (const PlaneDifference* plane : {&difference.y, &difference.u, &difference.v}) {
        const double psnr = plane->psnr();
        planes.push_back(plane->samples == 0
                             ? Json()
                             : Json::array({std::isfinite(psnr) ? Json(psnr) : Json(),
                                            plane->largest, plane->mean(), plane->different}));
    }
    return planes;
}

const ImageDifference* imageDifference(const SheetPair& pair) {
    for (const ImageDifference& image : pair.difference.images) {
        const bool ofMine = image.inA && image.pathA == pair.mine->image.path;
        const bool ofOther = image.inB && image.pathB == pair.other->image.path;
        if (ofMine || ofOther) return &image;
    }
    return nullptr;
}

/// The comparison of the page's two images: [planes, why they are not whole or not compared]; null
/// if neither frame has one.
Json metricsOf(const SheetPair& pair) {
    const FrameImage& mine = pair.mine->image;
    const FrameImage& other = pair.other->image;
    if (mine.path.empty() && other.path.empty()) return nullptr;
    if (const ImageDifference* const image = imageDifference(pair)) {
        const DifferenceText text = textOf(*image);
        const bool whole =
            text.planes && image->bytesA == image->bytesB && mine.picture.lacking == 0;
        const std::string how = text.how.empty() ? kBothCut : text.how;
        return Json::array(
            {text.planes ? planesOf(*text.planes) : Json(), whole ? Json() : Json(how)});
    }
    const std::string& problem =
        mine.picture.problem.empty() ? other.picture.problem : mine.picture.problem;
    if (!problem.empty()) return Json::array({nullptr, problem});
    PictureDifference same;
    const SampleCounts held = mine.picture.held;
    same.y.samples = held.y;
    same.u.samples = held.u;
    same.v.samples = held.v;
    return Json::array({planesOf(same), mine.picture.lacking > 0 ? Json(kBothCut) : Json()});
}

/// [name, unit, names, dimensions] of a field, see page/data.js.
Json fieldOf(const tyktags::TagField& field) {
    return Json::array({tyktree::escaped(field.name), tyktree::escaped(field.unit), namesOf(field),
                        field.shape()});
}

/// [what, how, planes, values, more], see page/data.js.
Json entryOf(const DifferenceText& text) {
    Json values = Json::array();
    const size_t count = text.values ? text.values->size() : 0;
    for (size_t i = 0; i < std::min(count, kShownValues); ++i) {
        const ValueDifference& value = (*text.values)[i];
        values.push_back(Json::array({tyktree::escaped(value.name), valueText(value.a),
                                      valueText(value.b), tyktree::escaped(value.unit)}));
    }
    const size_t more = count - values.size();
    return Json::array({text.what, text.how, text.planes ? planesOf(*text.planes) : Json(),
                        std::move(values), more});
}

Json entriesOf(const FrameDifference& difference) {
    Json entries = Json::array();
    for (const std::string& problem : difference.problems) {
        entries.push_back(entryOf({"not read", problem}));
    }
    for (const DifferenceText& text : textsOf(difference)) entries.push_back(entryOf(text));
    return entries;
}

}  // namespace

Json namesOf(const tyktags::TagField& field) {
    if (!field.enumeration) return nullptr;
    Json names = Json::object();
    for (const tyktags::EnumValue& value : field.enumeration->values()) {
        // Takes the first of several names, like toText().
        names.emplace(toText(value.number), tyktree::escaped(value.name));
    }
    return names;
}

size_t SheetTags::numberOf(const SheetParameter& parameter) {
    const Key key(parameter.tag, parameter.camera, parameter.pipe, parameter.dumpType);
    return numbers_.emplace(key, numbers_.size()).first->second;
}

Json SheetTags::table(const tyktree::TagCatalog& catalog) const {
    std::vector<Json> tags(numbers_.size());
    for (const auto& [key, number] : numbers_) {
        const auto& [name, camera, pipe, dumpType] = key;
        const tyktags::TagEntry* const known = catalog.byName(name);
        Json fields = Json::array();
        if (known) {
            for (const tyktags::TagField& field : known->fields) fields.push_back(fieldOf(field));
        }
        tags[number] = {{"name", tyktree::escaped(name)},
                        {"id", known ? Json(known->id) : Json()},
                        {"pipe", pipe},
                        {"camera", camera},
                        {"kind", nameOf(tyktree::kindOf(dumpType))},
                        {"fields", std::move(fields)}};
    }
    return tags;
}

Json SheetRows::row(const SheetFrame& frame) {
    const tyktree::FrameEntry& entry = *frame.entry;
    Json scene = frame.scene;
    if (!scene.is_null() && scene == sceneBefore_) scene = 0;
    sceneBefore_ = frame.scene;
    return Json::array({entry.position, entry.wellNamed ? Json(entry.parsed.requestId) : Json(),
                        entry.wellNamed ? Json(entry.parsed.sofId) : Json(),
                        tyktree::escaped(entry.name), timeOf(entry),
                        frame.camera ? Json(*frame.camera) : Json(), frame.image.layout.width,
                        frame.image.layout.height, frame.files, frame.bytes, frame.plots,
                        parameters(frame), std::move(scene), imageOf(frame.image)});
}

Json SheetRows::parameters(const SheetFrame& frame) {
    Json list = Json::array();
    std::map<size_t, Json> now;
    for (const SheetParameter& parameter : frame.parameters) {
        const size_t tag = tags_.numberOf(parameter);
        Json value = Json::array({tag, parameter.size, parameter.crc, parameter.content});
        const auto before = before_.find(tag);
        const bool same = before != before_.end() && before->second == value;
        list.push_back(same ? Json(tag) : value);
        now[tag] = std::move(value);
    }
    before_ = std::move(now);
    return list;
}

Json differencesOf(const SheetPair& pair) {
    if (!pair.mine || !pair.other) return nullptr;
    return Json::array({metricsOf(pair), entriesOf(pair.difference)});
}

std::string elementText(const Json& value) {
    std::string text;
    for (const char c : value.dump(-1, ' ', true, Json::error_handler_t::replace)) {
        switch (c) {
            case '<':
                text += "\\u003c";
                break;
            case '>':
                text += "\\u003e";
                break;
            case '&':
                text += "\\u0026";
                break;
            default:
                text += c;
        }
    }
    return text;
}

}  // namespace tyksim
