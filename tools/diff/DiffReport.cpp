#include "tools/diff/DiffReport.h"

#include "tools/console/Console.h"
#include "tools/console/Table.h"
#include "tools/console/Units.h"
#include "tools/diff/DifferenceText.h"
#include "tools/json/TreeJson.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <vector>

namespace tyksim {

namespace {

// The largest number of a field's elements that the text lists one by one.
constexpr size_t kShownFields = 8;

Json placeOf(const std::optional<tyktree::FrameRef>& frame) {
    if (!frame) return {};
    Json place = identityOf(*frame);
    addText(place, "path", frame->path());
    return place;
}

Json valuesJson(const std::vector<ValueDifference>& values) {
    Json list = Json::array();
    for (const ValueDifference& value : values) {
        Json item = Json::object();
        addText(item, "name", value.name);
        addValue(item, "a", value.a);
        addValue(item, "b", value.b);
        item["unit"] = value.unit.empty() ? Json() : Json(tyktree::toUtf8(value.unit));
        list.push_back(std::move(item));
    }
    return list;
}

Json namesJson(const std::vector<NameDifference>& names) {
    Json list = Json::array();
    for (const NameDifference& name : names) {
        Json item = Json::object();
        addText(item, "a", name.a);
        addText(item, "b", name.b);
        list.push_back(std::move(item));
    }
    return list;
}

/// Adds the sizes and the first difference.
void addContent(const ContentDifference& content, Json& item) {
    item["size_a"] = content.inA ? Json(content.bytes.bytesA) : Json();
    item["size_b"] = content.inB ? Json(content.bytes.bytesB) : Json();
    const bool both = content.inA && content.inB;
    item["first"] = both && content.bytes.first ? Json(*content.bytes.first) : Json();
    item["bytes"] = content.bytes.different;
}

Json tagItem(const ContentDifference& tag) {
    Json item = Json::object();
    addText(item, "tag", tag.name);
    item["pipe"] = tag.pipe;
    item["camera"] = tag.camera;
    addContent(tag, item);
    item["fields"] = valuesJson(tag.fields);
    return item;
}

/// {"psnr", "max", "mean", "pixels", "samples"}; the ratio is null for equal planes. Null if no
/// samples were compared.
Json toJson(const PlaneDifference& plane) {
    if (plane.samples == 0) return {};
    const double psnr = plane.psnr();
    return {{"psnr", std::isfinite(psnr) ? Json(psnr) : Json()},
            {"max", plane.largest},
            {"mean", plane.mean()},
            {"pixels", plane.different},
            {"samples", plane.samples}};
}

/// {"y", "u", "v"}.
Json toJson(const PictureDifference& picture) {
    return {{"y", toJson(picture.y)}, {"u", toJson(picture.u)}, {"v", toJson(picture.v)}};
}

Json sideOf(bool there, const PictureSize& size, uint64_t bytes) {
    if (!there) return {};
    return {{"width", size.width}, {"height", size.height}, {"bytes", bytes}};
}

Json imageItem(const ImageDifference& image) {
    const PictureDifference* const samples = image.samples ? &*image.samples : nullptr;
    Json item = samples && samples->problem.empty()
                    ? toJson(*samples)
                    : Json{{"y", nullptr}, {"u", nullptr}, {"v", nullptr}};
    item["camera"] = image.camera;
    item["a"] = sideOf(image.inA, image.sizeA, image.bytesA);
    item["b"] = sideOf(image.inB, image.sizeB, image.bytesB);
    return item;
}

void printValues(const std::vector<ValueDifference>& values, const std::string& indent) {
    for (size_t i = 0; i < values.size() && i < kShownFields; ++i) {
        printResult(fmt::format(
            "{}{}: {} -> {}", indent, tyktree::escaped(values[i].name), valueText(values[i].a),
            withUnit(valueText(values[i].b), tyktree::escaped(values[i].unit))));
    }
    if (values.size() > kShownFields) {
        printResult(fmt::format("{}and {} more", indent, values.size() - kShownFields));
    }
}

std::string matchedText(const DiffSummary& summary, const char* by, bool complete) {
    if (summary.matched == 0) {
        return fmt::format("no frame of A matches one of B by {}: nothing was compared", by);
    }
    const char* const same = complete ? "all the same" : "the readable part is the same";
    return fmt::format("{} matched by {}, {}", counted(summary.matched, "frame", "frames"), by,
                       summary.different == 0 ? std::string(same)
                                              : counted(summary.different, "differs", "differ"));
}

std::string placeText(const char* side, const tyktree::FrameRef& frame) {
    return fmt::format("{} task {} frame {}", side, frame.task->position, frame.frame->position);
}

/// Adds rows for the frames in which a tag or file differs; the names of fields begin with
/// `indent`.
void addRows(const std::map<std::string, DiffSummary::Content>& contents, const char* kind,
             Table& table) {
    for (const auto& [name, content] : contents) {
        std::string note;
        if (content.onlyA > 0) note += fmt::format("only in A {}  ", content.onlyA);
        if (content.onlyB > 0) note += fmt::format("only in B {}  ", content.onlyB);
        if (content.mostBytes > 0) {
            note += "at most " + counted(content.mostBytes, "byte", "bytes");
        }
        table.addRow({kind, tyktree::escaped(name), fmt::to_string(content.frames), note});
        for (const auto& [field, frames] : content.fields) {
            table.addRow({"", "  " + tyktree::escaped(field), fmt::to_string(frames), ""});
        }
    }
}

void printOnly(std::vector<int64_t> requests, const char* side) {
    if (requests.empty()) return;
    std::sort(requests.begin(), requests.end());
    printResult(fmt::format(
        "{} only in {}: {} {}", counted(requests.size(), "frame is", "frames are"), side,
        requests.size() == 1 ? "request" : "requests", rangesText(rangesOf(requests))));
}

Json contentsJson(const std::map<std::string, DiffSummary::Content>& contents, const char* key) {
    Json list = Json::array();
    for (const auto& [name, content] : contents) {
        Json item = Json::object();
        addText(item, key, name);
        item["frames"] = content.frames;
        item["only_a"] = content.onlyA;
        item["only_b"] = content.onlyB;
        item["most_bytes"] = content.mostBytes;
        item["fields"] = Json::object();
        for (const auto& [field, frames] : content.fields) {
            item["fields"][tyktree::toUtf8(field)] = frames;
        }
        list.push_back(std::move(item));
    }
    return list;
}

/// Summarises the compared images, and counts the others.
std::string imagesText(const DiffSummary::Images& images) {
    if (images.notCompared == 0) return planesText(images.samples);
    const std::string others = counted(images.notCompared, "image", "images") + " not compared";
    const bool any = images.samples.y.samples > 0;
    return any ? planesText(images.samples) + "; " + others : others;
}

/// Files, in the form of a frame's "files".
Json toJson(const std::vector<ContentDifference>& files) {
    Json list = Json::array();
    for (const ContentDifference& content : files) {
        Json file = Json::object();
        addText(file, "name", content.name);
        addContent(content, file);
        list.push_back(std::move(file));
    }
    return list;
}

/// One entry of "frames".
Json toJson(const FramePair& frames, const FrameDifference& difference) {
    Json item = Json::object();
    item["a"] = placeOf(frames.a);
    item["b"] = placeOf(frames.b);
    item["tags"] = Json::array();
    for (const ContentDifference& tag : difference.tags) item["tags"].push_back(tagItem(tag));
    item["scene"] = valuesJson(difference.scene);
    const auto& images = difference.images;
    item["image"] = images.empty() ? Json() : imageItem(images.front());
    for (size_t i = 1; i < images.size(); ++i) item["more_images"].push_back(imageItem(images[i]));
    item["files"] = toJson(difference.files);
    item["names"] = namesJson(difference.names);
    item["moved"] = difference.overtaken.has_value();
    return item;
}

/// The member "summary".
Json toJson(const DiffSummary& summary) {
    Json result = {{"matched", summary.matched},
                   {"different", summary.different},
                   {"only_a", summary.onlyA.size()},
                   {"only_b", summary.onlyB.size()}};
    result["tags"] = contentsJson(summary.tags, "tag");
    result["scene"] = Json::object();
    for (const auto& [field, frames] : summary.scene) result["scene"][field] = frames;
    result["files"] = contentsJson(summary.files, "name");
    result["names"] = {{"sof", summary.sofs}, {"other", summary.otherNames}};
    result["moved"] = summary.moved;
    Json images = {{"frames", summary.images.frames}, {"not_compared", summary.images.notCompared}};
    images.update(toJson(summary.images.samples));
    result["images"] = std::move(images);
    return result;
}

void printPair(const DifferentPair& pair) {
    printResult(fmt::format("{}: {}, {}", frameText(pair.frames.either()),
                            placeText("A", *pair.frames.a), placeText("B", *pair.frames.b)));
    for (const DifferenceText& text : textsOf(pair.difference)) {
        std::string line = "  " + text.what + ":";
        if (text.planes) line += " " + planesText(*text.planes) + (text.how.empty() ? "" : ";");
        if (!text.how.empty()) line += " " + text.how;
        printResult(line);
        if (text.values) printValues(*text.values, "    ");
    }
}

/// Prints the summary and the worst frames. `by` tells how frames were matched, `complete` whether
/// both sides could be read completely.
void printSummary(const DiffSummary& summary, const char* by, bool complete) {
    printResult(matchedText(summary, by, complete));
    printOnly(summary.onlyA, "A");
    printOnly(summary.onlyB, "B");
    if (summary.different == 0) return;
    Table table{{"differs"}, {""}, {"frames", Align::kRight}, {""}};
    if (summary.images.frames > 0) {
        table.addRow(
            {"image", "", fmt::to_string(summary.images.frames), imagesText(summary.images)});
    }
    for (const auto& [field, frames] : summary.scene) {
        table.addRow({"scene", field, fmt::to_string(frames), ""});
    }
    addRows(summary.tags, "tag", table);
    addRows(summary.files, "file", table);
    for (const auto& [what, frames] :
         {std::pair{"sof ids", summary.sofs}, std::pair{"otherwise", summary.otherNames}}) {
        if (frames > 0) table.addRow({"names", what, fmt::to_string(frames), ""});
    }
    if (summary.moved > 0) table.addRow({"order", "", fmt::to_string(summary.moved), ""});
    table.print("  ");
    const auto worst = summary.worst();
    printResult(worst.size() < summary.different ? fmt::format("the {} worst:", worst.size())
                                                 : std::string("worst first:"));
    for (const DifferentPair* const pair : worst) printPair(*pair);
}

class TextDiff : public DiffReport {
public:
    explicit TextDiff(MatchBy by) : by_(by) {}

    void begin(const std::string& /*a*/, const std::string& /*b*/) override {}
    void addPair(const FramePair& /*frames*/, const FrameDifference& /*difference*/) override {}

    void end(const DiffResult& result) override {
        for (const ContentDifference& copy : result.tuningCopies) {
            printResult(fmt::format("{}: {}", tyktree::escaped(copy.name), contentText(copy)));
        }
        printSummary(result.frames, by_ == MatchBy::kOrder ? "order" : "request id",
                     result.complete);
    }

private:
    const MatchBy by_;
};

class JsonDiff : public DiffReport {
public:
    JsonDiff(JsonDocument& json, MatchBy by) : json_(json), by_(by) {}

    void begin(const std::string& a, const std::string& b) override {
        Json sides = Json::object();
        addText(sides, "a", a);
        addText(sides, "b", b);
        json_.members(sides);
        json_.member("match", by_ == MatchBy::kOrder ? "order" : "request");
        json_.beginList("frames");
    }

    void addPair(const FramePair& frames, const FrameDifference& difference) override {
        json_.item(toJson(frames, difference));
    }

    void end(const DiffResult& result) override {
        json_.endList();
        json_.member("summary", toJson(result.frames));
        json_.member("tuning_copies", toJson(result.tuningCopies));
        json_.member("same", result.same);
    }

private:
    JsonDocument& json_;
    const MatchBy by_;
};

}  // namespace

std::unique_ptr<DiffReport> makeDiffReport(JsonDocument* json, MatchBy by) {
    if (json) return std::make_unique<JsonDiff>(*json, by);
    return std::make_unique<TextDiff>(by);
}

}  // namespace tyksim
