#include "tools/tyksim/TrackReport.h"

#include "tools/console/Console.h"
#include "tools/json/TreeJson.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string>
#include <utility>

namespace tyksim {

namespace {

using tyktree::FrameRef;
using tyktree::FrameValue;
using tyktree::ValueName;

/// A field of a comma-separated file, for a terminal too: control characters are escaped.
std::string csvField(const std::string& given) {
    std::string text = tyktree::escaped(given);
    if (text.find_first_of(",\"") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

/// Pipe, task, frame, request and sof; "" for what the names do not say.
std::array<std::string, 5> placeOf(const FrameRef& frame) {
    const tyktree::FrameEntry& entry = *frame.frame;
    return {frame.pipe->id ? fmt::to_string(*frame.pipe->id) : "",
            fmt::to_string(frame.task->position), fmt::to_string(entry.position),
            entry.wellNamed ? fmt::to_string(entry.parsed.requestId) : "",
            entry.wellNamed ? fmt::to_string(entry.parsed.sofId) : ""};
}

class TextTrack : public TrackReport {
public:
    explicit TextTrack(const std::vector<ValueName>& names) : names_(names) {}

    void begin() override {
        std::string heading = "pipe  task  frame  request      sof";
        for (const ValueName& name : names_) {
            heading += fmt::format("  {:>{}}", tyktree::escaped(name.name), widthOf(name));
        }
        printResult(heading);
    }

    /// A value that moved since the frame before is marked.
    void addRow(const FrameRef& frame, const FrameRow& row, const FrameRow* before) override {
        const auto place = placeOf(frame);
        std::string line = fmt::format("{:>4}  {:>4}  {:>5}  {:>7}  {:>7}", place[0], place[1],
                                       place[2], place[3], place[4]);
        for (size_t i = 0; i < row.size(); ++i) {
            const bool moved = before && !(row[i] == (*before)[i]);
            const std::string text =
                row[i].absent() ? "-" : tyktree::escaped(tyktree::toText(row[i]));
            line += fmt::format("{}{:>{}}", moved ? " *" : "  ", text, widthOf(names_[i]));
        }
        printResult(line);
    }

    void end() override {}

private:
    /// Columns are as wide as their headings and most numbers are, so that rows can be shown as
    /// they are read.
    static size_t widthOf(const ValueName& name) {
        constexpr size_t kValueWidth = 12;
        return std::max(kValueWidth, name.name.size());
    }

    const std::vector<ValueName>& names_;
};

class CsvTrack : public TrackReport {
public:
    explicit CsvTrack(const std::vector<ValueName>& names) : names_(names) {}

    void begin() override {
        std::string heading = "pipe,task,frame,request,sof";
        for (const ValueName& name : names_) heading += "," + csvField(name.name);
        printResult(heading);
    }

    void addRow(const FrameRef& frame, const FrameRow& row, const FrameRow* /*before*/) override {
        std::string line = fmt::format("{}", fmt::join(placeOf(frame), ","));
        for (const FrameValue& value : row) line += "," + csvField(tyktree::toText(value));
        printResult(line);
    }

    void end() override {}

private:
    const std::vector<ValueName>& names_;
};

class JsonTrack : public TrackReport {
public:
    JsonTrack(JsonDocument& json, const std::vector<ValueName>& names)
        : json_(json), names_(names) {}

    void begin() override { json_.beginList("rows"); }

    void addRow(const FrameRef& frame, const FrameRow& row, const FrameRow* /*before*/) override {
        Json item = identityOf(frame);
        Json members = Json::object();
        for (size_t i = 0; i < row.size(); ++i) addValue(members, keyOf(names_[i].name), row[i]);
        item["values"] = std::move(members);
        json_.item(item);
    }

    void end() override { json_.endList(); }

private:
    JsonDocument& json_;
    const std::vector<ValueName>& names_;
};

}  // namespace

std::unique_ptr<TrackReport> makeTrackReport(JsonDocument* json, bool asCsv,
                                             const std::vector<ValueName>& names) {
    if (json) return std::make_unique<JsonTrack>(*json, names);
    if (asCsv) return std::make_unique<CsvTrack>(names);
    return std::make_unique<TextTrack>(names);
}

}  // namespace tyksim
