// tyksim show: one frame, all of it.
#include "core/File.h"
#include "core/PipeTypes.h"
#include "tags/NearestNames.h"
#include "tools/console/Table.h"
#include "tools/console/Units.h"
#include "tools/json/TreeJson.h"
#include "tools/picture/Histogram.h"
#include "tools/tyksim/Reading.h"
#include "tree/read/Escape.h"
#include "tree/read/Timeline.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FileEntry;
using tyktree::FrameRef;
using tyktree::Parameter;

constexpr const char* kFooter = R"(
TREE is a frame folder, or a tree with a selection that picks one frame. Parameters come with their
fields where the tag table (--tags, else tags.xml in the device root) says what is in them.

Exit status: 0 all was read, 1 the tree could not be read, 2 wrong usage or no such frame, 3
something in the frame could not be read (said on standard error).

Examples:
  tyksim show /tmp/phone --frames 3
  tyksim show pulled/tykdump --pipe 1 --requests 42 --tag KELV_TAG_WB_GAINS
)";

struct ShowOptions {
    ReadingOptions reading;
    std::string tag;
};

std::string pipeTypeName(int pipe) {
    for (const PipeType& type : kPipeTypes) {
        if (type.value == pipe) return type.name;
    }
    return std::to_string(pipe);
}

/// The file's bytes, sixteen a line, with their offset and their characters. False when it cannot
/// be read to its end.
bool printBytes(const std::string& path) {
    std::array<uint8_t, 16> line{};
    InputFile file(path.c_str());
    uint64_t at = 0;
    while (const size_t count = file.read(line.data(), line.size())) {
        std::string digits, characters;
        for (size_t i = 0; i < count; ++i) {
            digits += fmt::format("{:02x} ", line[i]);
            const bool shown = line[i] >= 0x20 && line[i] < 0x7F;
            characters += shown ? static_cast<char>(line[i]) : '.';
        }
        printResult(fmt::format("    {:06x}  {:<48} {}", at, digits, characters));
        at += count;
    }
    return file.isOpen() && !file.failed();
}

std::string kindOf(const FileEntry& file) {
    return file.parameter.dumpType == kFixedSizeDump ? "fixed" : "block";
}

/// What a value without known fields shows of itself.
std::string summary(const Parameter& parameter) {
    constexpr size_t kShown = 8;
    std::string digits;
    for (size_t i = 0; i < std::min(kShown, parameter.bytes.size()); ++i) {
        digits += fmt::format("{:02x} ", parameter.bytes[i]);
    }
    if (parameter.bytes.size() > kShown) digits += "... ";
    return fmt::format("{}crc32 {:08x}", digits, parameter.crc32);
}

/// A plane of an image, and the samples of it that its file has.
struct PlaneFacts {
    const char* name;
    uint64_t samples;  ///< of the whole plane
    Histogram had;
};

/// Of an empty file all planes without samples. Throws NoPicture.
std::vector<PlaneFacts> planesOf(const std::string& path, const FileEntry& image) {
    PictureLayout layout;
    layout.width = image.image.width;
    layout.height = image.image.height;
    const std::string problem = sizeProblem(layout.width, layout.height);
    if (!problem.empty()) throw NoPicture(path, problem);
    PlaneHistograms had;
    if (!image.regular() || image.bytes > 0) {
        PictureFile file(path, layout);
        had = histogramsOf(file);
    }
    const SampleCounts whole = layout.samplesIn(layout.bytes());
    return {{"y", whole.y, had.y}, {"u", whole.u, had.u}, {"v", whole.v, had.v}};
}

/// "mean 118.20  range   3 to 250", and how many samples that is of, where not of all.
std::string planeText(const PlaneFacts& plane) {
    const uint64_t had = plane.had.total();
    if (had == 0) return "no samples";
    std::string words = fmt::format("mean {:6.2f}  range {:3} to {:3}", plane.had.mean(),
                                    plane.had.least(), plane.had.most());
    if (had < plane.samples) words += fmt::format(", {} of {} samples", had, plane.samples);
    return words;
}

Json planeItem(const PlaneFacts& plane) {
    const uint64_t had = plane.had.total();
    if (had == 0) return {};
    return {{"mean", plane.had.mean()},
            {"min", plane.had.least()},
            {"max", plane.had.most()},
            {"samples", had}};
}

/// Shows one frame.
class Show {
public:
    Show(const ShowOptions& options, const OpenedTree& tree, Reading& reading)
        : options_(options),
          tree_(tree),
          frame_(tree.frames.front()),
          reading_(reading),
          json_(reading.json()) {}

    ExitStatus run() {
        if (!listing_.read(frame_.path())) {
            problem(frame_.path(), systemReason(listing_.error()));
        }
        showHead();
        showParameters();
        if (options_.tag.empty()) {
            showScene();
            showImage();
        }
        return ExitStatus::kClean;
    }

private:
    std::string pathOf(const FileEntry& file) const {
        return listing_.path() + "/" + std::string(file.name);
    }

    void showHead() {
        const tyktree::FrameEntry& entry = *frame_.frame;
        if (json_) {
            Json members = identityOf(frame_);
            addText(members, "path", frame_.path());
            json_->members(members);
            return;
        }
        printResult(tyktree::escaped(frame_.path()));
        std::string line =
            fmt::format("frame {} of task {}", entry.position, frame_.task->position);
        if (frame_.pipe->id) line += fmt::format(" of pipe {}", *frame_.pipe->id);
        if (entry.wellNamed) {
            line += fmt::format(", request {}, sof {}, {}", entry.parsed.requestId,
                                entry.parsed.sofId, tyktree::isoTime(entry.parsed.stamp));
        }
        printResult(line);
    }

    void showParameters() {
        Table table;
        table.addColumn("parameter", Table::Align::kLeft);
        table.addColumn("id", Table::Align::kRight);
        table.addColumn("camera", Table::Align::kRight);
        table.addColumn("pipe type", Table::Align::kLeft);
        table.addColumn("kind", Table::Align::kLeft);
        table.addColumn("size", Table::Align::kRight);
        table.addColumn("value", Table::Align::kLeft);
        if (json_) json_->beginList("parameters");
        bool any = false;
        for (const FileEntry& file : listing_.files()) {
            if (file.kind != FileEntry::Kind::kParameter) continue;
            if (!options_.tag.empty() && file.parameter.tagName != options_.tag) continue;
            any = true;
            showParameter(file, table);
        }
        if (json_) json_->endList();
        if (!any && !options_.tag.empty()) refuseTag();
        if (json_ || table.empty()) return;
        table.print();
        for (const FileEntry* const file : dumped_) {
            printResult(tyktree::escaped(file->name) + ":");
            const std::string path = pathOf(*file);
            errno = 0;
            if (!printBytes(path)) problem(path, systemReason(errno));
        }
    }

    [[noreturn]] void refuseTag() const {
        std::vector<std::string> names;
        for (const FileEntry& file : listing_.files()) {
            if (file.kind == FileEntry::Kind::kParameter)
                names.emplace_back(file.parameter.tagName);
        }
        const std::vector<std::string> nearest = tyktags::nearestNames(options_.tag, names);
        std::string advice;
        if (names.empty()) {
            advice = "; the frame has no parameters";
        } else if (!nearest.empty()) {
            advice = "; did you mean " + tyktags::joinedByOr(nearest) + "?";
        }
        throw PicksNothing(fmt::format("{}: expected the tag {}, found none{}",
                                       tyktree::escaped(frame_.path()),
                                       tyktree::escaped(options_.tag), tyktree::escaped(advice)));
    }

    void showParameter(const FileEntry& file, Table& table) {
        const Parameter parameter = tyktree::readParameter(listing_, file, tree_.catalog);
        if (!parameter.status.ok()) {
            problem(pathOf(file), parameter.status.problem().reason);
        } else if (!options_.tag.empty()) {
            dumped_.push_back(&file);
        }
        const std::vector<tyktree::DecodedField> fields = parameter.fields();
        for (const tyktree::DecodedField& field : fields) {
            if (field.problem.empty() || !parameter.status.ok()) continue;
            reading_.problem(fmt::format("{}: {}: {}", tyktree::escaped(pathOf(file)),
                                         tyktree::escaped(field.field->name), field.problem));
        }
        if (json_) {
            json_->item(parameterItem(parameter, fields));
            return;
        }
        const std::string id = parameter.tag ? std::to_string(parameter.tag->id) : "-";
        table.addRow({tyktree::escaped(file.parameter.tagName), id,
                      std::to_string(file.parameter.camId), pipeTypeName(file.parameter.pipe),
                      kindOf(file), std::to_string(file.bytes),
                      fields.empty() ? summary(parameter) : ""});
        for (const tyktree::DecodedField& field : fields) {
            table.addRow({"  " + tyktree::escaped(field.field->name), "", "", "", "", "",
                          shortened(tyktree::escaped(tyktree::toText(field.values))) +
                              (field.problem.empty() ? "" : " (cut off)")});
        }
    }

    /// A long list of elements, unless it was asked for.
    std::string shortened(std::string text) const {
        constexpr size_t kShown = 72;
        if (!options_.tag.empty() || text.size() <= kShown) return text;
        const size_t comma = text.rfind(',', kShown);
        if (comma == std::string::npos) return text;
        return text.substr(0, comma) + ", ...";
    }

    static Json parameterItem(const Parameter& parameter,
                              const std::vector<tyktree::DecodedField>& decoded) {
        const ParamFileName& name = parameter.file->parameter;
        Json item = Json::object();
        addText(item, "tag", name.tagName);
        item["id"] = parameter.tag ? Json(parameter.tag->id) : Json();
        item["pipe"] = name.pipe;
        item["camera"] = name.camId;
        item["sof"] = name.sofId;
        item["kind"] = kindOf(*parameter.file);
        item["size"] = parameter.file->bytes;
        item["crc32"] = fmt::format("{:08x}", parameter.crc32);
        Json fields = Json::object();
        for (const tyktree::DecodedField& field : decoded) {
            addField(fields, field);
        }
        item["fields"] = std::move(fields);
        return item;
    }

    void showScene() {
        const tyktree::SceneSources sources = readScene(listing_, frame_.place(), nullptr);
        if (!sources.problem.empty()) {
            problem(listing_.path() + "/" + kSceneXmlName, sources.problem);
        }
        const tyktree::SceneRecord* const record = sources.record();
        if (json_) {
            json_->member("scene", record ? toJson(*record) : Json());
            return;
        }
        if (!record) {
            printResult(sources.xmlThere ? "scene record: not readable" : "no scene record");
            return;
        }
        Table table;
        table.addColumn(sources.xmlThere ? "scene record" : "scene record (parameter file)",
                        Table::Align::kLeft);
        table.addColumn("value", Table::Align::kRight);
        for (const ::SceneField& field : kSceneFields) {
            table.addRow({field.path, tyktree::sceneText(field, *record)});
        }
        table.print();
    }

    void showImage() {
        const FileEntry* const image = listing_.image();
        if (!image) {
            if (json_) json_->member("image", nullptr);
            if (!json_) printResult("no image");
            return;
        }
        const std::vector<PlaneFacts> planes = readPlanes(*image);
        if (json_) {
            json_->member("image", imageItem(*image, planes));
            return;
        }
        printResult(fmt::format("image {}x{}, {}, expected {} bytes, found {}", image->image.width,
                                image->image.height, humanBytes(image->bytes),
                                nv21Bytes(image->image.width, image->image.height), image->bytes));
        for (const PlaneFacts& plane : planes) {
            printResult(fmt::format("  {}  {}", plane.name, planeText(plane)));
        }
    }

    /// None where the file cannot be read, which is said.
    std::vector<PlaneFacts> readPlanes(const FileEntry& image) {
        try {
            return planesOf(pathOf(image), image);
        } catch (const NoPicture& error) {
            reading_.problem(error.what());
            return {};
        }
    }

    static Json imageItem(const FileEntry& image, const std::vector<PlaneFacts>& planes) {
        Json item = Json::object();
        addText(item, "name", image.name);
        item["width"] = image.image.width;
        item["height"] = image.image.height;
        item["bytes"] = image.bytes;
        item["expected_bytes"] = nv21Bytes(image.image.width, image.image.height);
        for (const char* const name : {"y", "u", "v"}) item[name] = nullptr;
        for (const PlaneFacts& plane : planes) item[plane.name] = planeItem(plane);
        return item;
    }

    void problem(const std::string& path, const std::string& reason) {
        reading_.problem(tyktree::escaped(path) + ": cannot be read: " + reason);
    }

    const ShowOptions& options_;
    const OpenedTree& tree_;
    const FrameRef frame_;
    Reading& reading_;
    JsonDocument* const json_;
    tyktree::FrameListing listing_;
    std::vector<const FileEntry*> dumped_;  ///< to be shown byte by byte
};

}  // namespace

Action defineShow(CLI::App& verb) {
    const auto options = std::make_shared<ShowOptions>();
    addReadingOptions(verb, options->reading);
    verb.add_option("--tag", options->tag, "Only this parameter, with its bytes")
        ->type_name("NAME");
    verb.footer(kFooter);
    return [options] {
        return readTrees(options->reading, "tyksim.show",
                         [&options](const OpenedTree& tree, Reading& reading) {
                             if (tree.frames.size() == 1) {
                                 return Show(*options, tree, reading).run();
                             }
                             const std::string where = tyktree::escaped(tree.index.path().given);
                             throw WrongUsage(
                                 fmt::format("{}: expected one frame, the selection picks {}; "
                                             "pick one with --pipe, --task, --frames",
                                             where, tree.frames.size()));
                         });
    };
}

}  // namespace tyksim
