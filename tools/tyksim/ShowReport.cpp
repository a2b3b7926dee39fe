#include "tools/tyksim/ShowReport.h"

#include "core/PipeTypes.h"
#include "tools/console/Console.h"
#include "tools/console/Table.h"
#include "tools/console/Units.h"
#include "tools/json/TreeJson.h"
#include "tree/read/Escape.h"
#include "tree/read/Timeline.h"

#include <algorithm>
#include <fmt/format.h>
#include <string>
#include <utility>

namespace tyksim {

namespace {

using tyktree::DecodedField;
using tyktree::FileEntry;
using tyktree::FrameRef;
using tyktree::Parameter;

std::string pipeTypeName(int pipe) {
    for (const PipeType& type : kPipeTypes) {
        if (type.value == pipe) return type.name;
    }
    return fmt::to_string(pipe);
}

const char* kindOf(const FileEntry& file) {
    return nameOf(tyktree::kindOf(file.parameter.dumpType));
}

/// The text for a value without known fields.
std::string summary(const Parameter& parameter) {
    constexpr size_t kShown = 8;
    std::string digits;
    for (size_t i = 0; i < std::min(kShown, parameter.bytes.size()); ++i) {
        digits += fmt::format("{:02x} ", parameter.bytes[i]);
    }
    if (parameter.bytes.size() > kShown) digits += "... ";
    return fmt::format("{}crc32 {:08x}", digits, parameter.crc32);
}

/// "mean 118.20 range 3 to 250", and the number of samples if these are not all.
std::string planeText(const PlaneFacts& plane) {
    const uint64_t existing = plane.counts.total();
    if (existing == 0) return "no samples";
    std::string words = fmt::format("mean {:6.2f}  range {:3} to {:3}", plane.counts.mean(),
                                    plane.counts.least(), plane.counts.most());
    if (existing < plane.samples) {
        words += fmt::format(", {} of {} samples", existing, plane.samples);
    }
    return words;
}

class TextShow : public ShowReport {
public:
    explicit TextShow(bool whole) : whole_(whole) {}

    void begin(const FrameRef& frame) override {
        const tyktree::FrameEntry& entry = *frame.frame;
        printResult(tyktree::escaped(frame.path()));
        std::string line = fmt::format("frame {} of task {}", entry.position, frame.task->position);
        if (frame.pipe->id) line += fmt::format(" of pipe {}", *frame.pipe->id);
        if (entry.wellNamed) {
            line += fmt::format(", request {}, sof {}, {}", entry.parsed.requestId,
                                entry.parsed.sofId, tyktree::isoTime(entry.parsed.stamp));
        }
        printResult(line);
    }

    void beginParameters() override {}

    void addParameter(const Parameter& parameter,
                      const std::vector<DecodedField>& fields) override {
        const FileEntry& file = *parameter.file;
        parameters_.addRow({tyktree::escaped(file.parameter.tagName),
                            parameter.tag ? fmt::to_string(parameter.tag->id) : "-",
                            fmt::to_string(file.parameter.camId), pipeTypeName(file.parameter.pipe),
                            kindOf(file), fmt::to_string(file.bytes),
                            fields.empty() ? summary(parameter) : ""});
        for (const DecodedField& field : fields) {
            parameters_.addRow({"  " + tyktree::escaped(field.field->name), "", "", "", "", "",
                                withUnit(shortened(tyktree::escaped(toText(field.values))),
                                         tyktree::escaped(field.field->unit)) +
                                    (field.problem.empty() ? "" : " (cut off)")});
        }
    }

    void endParameters() override {
        if (!parameters_.empty()) parameters_.print();
    }

    bool showsBytes() const override { return true; }

    void beginBytes(std::string_view fileName) override {
        printResult(tyktree::escaped(fileName) + ":");
    }

    /// Prints the bytes with their offset and their characters.
    void addBytes(uint64_t offset, const uint8_t* bytes, size_t count) override {
        std::string digits, characters;
        for (size_t i = 0; i < count; ++i) {
            digits += fmt::format("{:02x} ", bytes[i]);
            const bool printable = bytes[i] >= 0x20 && bytes[i] < 0x7F;
            characters += printable ? static_cast<char>(bytes[i]) : '.';
        }
        printResult(fmt::format("    {:06x}  {:<48} {}", offset, digits, characters));
    }

    void addScene(const tyktree::SceneSources& sources) override {
        const tyktree::SceneRecord* const record = sources.record();
        if (!record) {
            printResult(sources.xmlThere ? "scene record: not readable" : "no scene record");
            return;
        }
        Table table{{sources.xmlThere ? "scene record" : "scene record (parameter file)"},
                    {"value", Align::kRight}};
        for (const ::SceneField& field : kSceneFields) {
            table.addRow({field.path, tyktree::sceneText(field, *record)});
        }
        table.print();
    }

    void addImage(const ShownImage* image) override {
        if (!image) {
            printResult("no image");
            return;
        }
        const FileEntry& file = *image->file;
        printResult(fmt::format("image {}x{}, {}, expected {} bytes, found {}", file.image.width,
                                file.image.height, humanBytes(file.bytes), image->expectedBytes(),
                                file.bytes));
        if (!image->assumed.isUsual()) {
            printResult(fmt::format("  {}", image->assumed.toText()));
        }
        for (const PlaneFacts& plane : image->planes) {
            printResult(fmt::format("  {}  {}", plane.name, planeText(plane)));
        }
    }

private:
    std::string shortened(std::string text) const {
        constexpr size_t kShown = 72;
        if (whole_ || text.size() <= kShown) return text;
        const size_t comma = text.rfind(',', kShown);
        if (comma == std::string::npos) return text;
        return text.substr(0, comma) + ", ...";
    }

    const bool whole_;
    Table parameters_{{"parameter"},
                      {"id", Align::kRight},
                      {"camera", Align::kRight},
                      {"pipe type"},
                      {"kind"},
                      {"size", Align::kRight},
                      {"value"}};
};

class JsonShow : public ShowReport {
public:
    explicit JsonShow(JsonDocument& json) : json_(json) {}

    void begin(const FrameRef& frame) override {
        Json members = identityOf(frame);
        addText(members, "path", frame.path());
        json_.members(members);
    }

    void beginParameters() override { json_.beginList("parameters"); }

    void addParameter(const Parameter& parameter,
                      const std::vector<DecodedField>& fields) override {
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
        Json members = Json::object();
        Json units = Json::object();
        for (const DecodedField& field : fields) {
            addField(members, field);
            if (field.field->unit.empty()) continue;
            units[keyOf(field.field->name)] = tyktree::toUtf8(field.field->unit);
        }
        item["fields"] = std::move(members);
        item["units"] = std::move(units);
        json_.item(item);
    }

    void endParameters() override { json_.endList(); }

    void addScene(const tyktree::SceneSources& sources) override {
        const tyktree::SceneRecord* const record = sources.record();
        json_.member("scene", record ? toJson(*record) : Json());
    }

    void addImage(const ShownImage* image) override {
        if (!image) {
            json_.member("image", nullptr);
            return;
        }
        const FileEntry& file = *image->file;
        Json item = Json::object();
        addText(item, "name", file.name);
        item["width"] = file.image.width;
        item["height"] = file.image.height;
        item["bytes"] = file.bytes;
        item["expected_bytes"] = image->expectedBytes();
        item["assumed"] = image->assumed.toJson();
        for (const char* const name : {"y", "u", "v"}) item[name] = nullptr;
        for (const PlaneFacts& plane : image->planes) item[plane.name] = planeItem(plane);
        json_.member("image", item);
    }

private:
    static Json planeItem(const PlaneFacts& plane) {
        const uint64_t existing = plane.counts.total();
        if (existing == 0) return {};
        return {{"mean", plane.counts.mean()},
                {"min", plane.counts.least()},
                {"max", plane.counts.most()},
                {"samples", existing}};
    }

    JsonDocument& json_;
};

}  // namespace

int64_t ShownImage::expectedBytes() const {
    const PictureLayout layout = assumed.layoutOf(file->image);
    return layout.stride > 0 ? static_cast<int64_t>(layout.usedBytes())
                             : nv21Bytes(layout.width, layout.height);
}

std::unique_ptr<ShowReport> makeShowReport(JsonDocument* json, bool whole) {
    if (json) return std::make_unique<JsonShow>(*json);
    return std::make_unique<TextShow>(whole);
}

}  // namespace tyksim
