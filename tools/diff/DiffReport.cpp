#include "tools/diff/DiffReport.h"

#include "tools/output/Console.h"
#include "tools/output/Table.h"
#include "tools/output/Units.h"
#include "tools/output/Values.h"
#include "tree/Escape.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <vector>

namespace tyksim {

namespace {

// Elements of a field that are named one by one on a terminal.
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
        item["a"] = toJson(value.a);
        item["b"] = toJson(value.b);
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

/// The sizes and the place where they differ.
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

/// "34.25 dB, max 31, mean 0.52, 123 pixels"
std::string planeText(const PlaneDifference& plane) {
    if (plane.samples == 0) return "not compared";
    if (plane.squares == 0) return "same";
    return fmt::format("{:.2f} dB, max {}, mean {:.3g}, {}", plane.psnr(), plane.largest,
                       plane.mean(), counted(plane.different, "pixel", "pixels"));
}

std::string pictureText(const PictureDifference& picture) {
    return fmt::format("y {}; u {}; v {}", planeText(picture.y), planeText(picture.u),
                       planeText(picture.v));
}

/// How much of the planes was compared, where one file ends before the other: ", 99 of 3072 samples
/// of y".
std::string missingText(const ImageDifference& image) {
    const SampleCounts whole =
        image.layout.samplesIn(std::max(image.samples->bytesA, image.samples->bytesB));
    const auto part = [](const char* name, uint64_t compared, uint64_t of) {
        const bool some = compared > 0 && compared < of;
        return some ? fmt::format("; compared {} of {} samples of {}", compared, of, name) : "";
    };
    return part("y", image.samples->y.samples, whole.y) +
           part("u", image.samples->u.samples, whole.u) +
           part("v", image.samples->v.samples, whole.v);
}

/// Numbers of files by the sof ids in their names, A's and B's.
std::map<std::pair<int, int>, size_t> sofsOf(const std::vector<NameDifference>& names) {
    std::map<std::pair<int, int>, size_t> counts;
    for (const NameDifference& name : names) {
        if (const auto sofs = name.sofs()) ++counts[*sofs];
    }
    return counts;
}

void printValues(const std::vector<ValueDifference>& values, const std::string& indent) {
    for (size_t i = 0; i < values.size() && i < kShownFields; ++i) {
        printResult(fmt::format("{}{}: {} -> {}", indent, tyktree::escaped(values[i].name),
                                tyktree::escaped(tyktree::toText(values[i].a)),
                                tyktree::escaped(tyktree::toText(values[i].b))));
    }
    if (values.size() > kShownFields) {
        printResult(fmt::format("{}and {} more", indent, values.size() - kShownFields));
    }
}

std::string imageText(const ImageDifference& image) {
    if (!image.inB) return "only in A";
    if (!image.inA) return "only in B";
    if (!image.samples) {
        return fmt::format("{}x{} -> {}x{}", image.sizeA.width, image.sizeA.height,
                           image.sizeB.width, image.sizeB.height);
    }
    const PictureDifference& samples = *image.samples;
    if (!samples.problem.empty()) return "cannot be read";
    std::string words = pictureText(samples);
    if (samples.bytesA != samples.bytesB) {
        words += missingText(image);
        words += fmt::format("; {} -> {} bytes", samples.bytesA, samples.bytesB);
    }
    if (samples.restDiffers) words += "; bytes behind the picture differ";
    return words;
}

std::string frameText(const tyktree::FrameRef& frame) {
    const tyktree::FrameEntry& entry = *frame.frame;
    return entry.wellNamed ? fmt::format("request {}", entry.parsed.requestId)
                           : tyktree::escaped(entry.name);
}

std::string matchedText(const DiffSummary& summary, const char* by, bool complete) {
    if (summary.matched == 0) {
        return fmt::format("no frame of A matches one of B by {}: nothing was compared", by);
    }
    const char* const same = complete ? "all the same" : "what could be read is the same";
    return fmt::format("{} matched by {}, {}", counted(summary.matched, "frame", "frames"), by,
                       summary.different == 0 ? std::string(same)
                                              : counted(summary.different, "differs", "differ"));
}

std::string placeText(const char* side, const tyktree::FrameRef& frame) {
    return fmt::format("{} task {} frame {}", side, frame.task->position, frame.frame->position);
}

/// Frames in which a tag or file differs; names begin with `indent` where they are fields.
void addRows(const std::map<std::string, DiffSummary::Content>& contents, const char* kind,
             Table& table) {
    for (const auto& [name, content] : contents) {
        std::string note;
        if (content.onlyA > 0) note += fmt::format("only in A {}  ", content.onlyA);
        if (content.onlyB > 0) note += fmt::format("only in B {}  ", content.onlyB);
        if (content.mostBytes > 0) {
            note += "at most " + counted(content.mostBytes, "byte", "bytes");
        }
        table.addRow({kind, tyktree::escaped(name), std::to_string(content.frames), note});
        for (const auto& [field, frames] : content.fields) {
            table.addRow({"", "  " + tyktree::escaped(field), std::to_string(frames), ""});
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

/// What the images that could be compared come to, and how many could not.
std::string imagesText(const DiffSummary::Images& images) {
    if (images.notCompared == 0) return pictureText(images.samples);
    const std::string others = counted(images.notCompared, "image", "images") + " not compared";
    const bool any = images.samples.y.samples > 0;
    return any ? pictureText(images.samples) + "; " + others : others;
}

}  // namespace

Json toJson(const PlaneDifference& plane) {
    if (plane.samples == 0) return {};
    const double psnr = plane.psnr();
    return {{"psnr", std::isfinite(psnr) ? Json(psnr) : Json()},
            {"max", plane.largest},
            {"mean", plane.mean()},
            {"pixels", plane.different},
            {"samples", plane.samples}};
}

Json toJson(const PictureDifference& picture) {
    return {{"y", toJson(picture.y)}, {"u", toJson(picture.u)}, {"v", toJson(picture.v)}};
}

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

std::string contentText(const ContentDifference& content) {
    if (!content.inB) return "only in A";
    if (!content.inA) return "only in B";
    const FileDifference& bytes = content.bytes;
    if (!bytes.problem.empty()) return "cannot be read";
    std::string words = fmt::format(
        "{} at {}", counted(bytes.different, "byte differs, it is", "bytes differ, the first is"),
        bytes.first.value_or(0));
    if (bytes.bytesA != bytes.bytesB) {
        words += fmt::format(", {} -> {} bytes", bytes.bytesA, bytes.bytesB);
    }
    return words;
}

std::vector<std::string> nameLines(const std::vector<NameDifference>& names) {
    std::vector<std::string> lines;
    for (const auto& [sofs, files] : sofsOf(names)) {
        lines.push_back(fmt::format("sof {} -> {} in the {} of {}", sofs.first, sofs.second,
                                    files == 1 ? "name" : "names",
                                    counted(files, "file", "files")));
    }
    for (const NameDifference& name : names) {
        if (name.sofs()) continue;
        lines.push_back(
            fmt::format("name: {} -> {}", tyktree::escaped(name.a), tyktree::escaped(name.b)));
    }
    return lines;
}

std::string overtakenText(const tyktree::FrameRef& overtaken) {
    return fmt::format("behind {} in A, before it in B", frameText(overtaken));
}

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

void printSummary(const DiffSummary& summary, const char* by, bool complete) {
    printResult(matchedText(summary, by, complete));
    printOnly(summary.onlyA, "A");
    printOnly(summary.onlyB, "B");
    if (summary.different == 0) return;
    Table table;
    table.addColumn("differs", Table::Align::kLeft);
    table.addColumn("", Table::Align::kLeft);
    table.addColumn("frames", Table::Align::kRight);
    table.addColumn("", Table::Align::kLeft);
    if (summary.images.frames > 0) {
        table.addRow(
            {"image", "", std::to_string(summary.images.frames), imagesText(summary.images)});
    }
    for (const auto& [field, frames] : summary.scene) {
        table.addRow({"scene", field, std::to_string(frames), ""});
    }
    addRows(summary.tags, "tag", table);
    addRows(summary.files, "file", table);
    for (const auto& [what, frames] :
         {std::pair{"sof ids", summary.sofs}, std::pair{"otherwise", summary.otherNames}}) {
        if (frames > 0) table.addRow({"names", what, std::to_string(frames), ""});
    }
    if (summary.moved > 0) table.addRow({"order", "", std::to_string(summary.moved), ""});
    table.print("  ");
    const auto worst = summary.worst();
    printResult(worst.size() < summary.different ? fmt::format("the {} worst:", worst.size())
                                                 : std::string("worst first:"));
    for (const DifferentPair* const pair : worst) printPair(*pair);
}

void printPair(const DifferentPair& pair) {
    printResult(fmt::format("{}: {}, {}", frameText(pair.frames.either()),
                            placeText("A", *pair.frames.a), placeText("B", *pair.frames.b)));
    for (const ImageDifference& image : pair.difference.images) {
        printResult("  image: " + imageText(image));
    }
    if (!pair.difference.scene.empty()) printResult("  scene record:");
    printValues(pair.difference.scene, "    ");
    for (const ContentDifference& tag : pair.difference.tags) {
        printResult(fmt::format("  {} (pipe type {}, camera {}): {}", tyktree::escaped(tag.name),
                                tag.pipe, tag.camera, contentText(tag)));
        printValues(tag.fields, "    ");
    }
    for (const ContentDifference& file : pair.difference.files) {
        printResult(fmt::format("  {}: {}", tyktree::escaped(file.name), contentText(file)));
    }
    for (const std::string& line : nameLines(pair.difference.names)) printResult("  " + line);
    if (pair.difference.overtaken) {
        printResult("  order: " + overtakenText(*pair.difference.overtaken));
    }
}

}  // namespace tyksim
