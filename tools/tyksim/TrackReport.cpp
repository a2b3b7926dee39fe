#include "tools/tyksim/TrackReport.h"

#include "tags/Words.h"
#include "tools/console/Console.h"
#include "tools/json/TreeJson.h"
#include "tree/read/Escape.h"
#include "tree/read/Timeline.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <string>
#include <unistd.h>
#include <utility>

namespace tyksim {

namespace {

using tyktree::FrameRef;
using tyktree::FrameValue;
using tyktree::ValueName;

/// A cell of a comma-separated file, in quotation marks if `marked` or if it needs them. A terminal
/// gets control characters escaped, everything else the exact bytes.
std::string csvCell(const std::string& given, bool marked = false) {
    static const bool isShown = ::isatty(STDOUT_FILENO) == 1;
    std::string text = isShown ? tyktree::escaped(given) : given;
    if (!marked && text.find_first_of(",;\"\t\r\n") == std::string::npos) return text;
    return tyktags::marked(text);
}

/// An absent value is an empty cell, an empty text has its marks.
std::string csvCell(const FrameValue& value) {
    const std::string text = tyktree::toText(value);
    return csvCell(text, text.empty() && !value.absent());
}

/// Pipe, task, frame, request and sof; "" for ids that the names do not have.
std::array<std::string, 5> placeOf(const FrameRef& frame) {
    const tyktree::FrameEntry& entry = *frame.frame;
    return {frame.pipe->id ? fmt::to_string(*frame.pipe->id) : "",
            fmt::to_string(frame.task->position), fmt::to_string(entry.position),
            entry.wellNamed ? fmt::to_string(entry.parsed.requestId) : "",
            entry.wellNamed ? fmt::to_string(entry.parsed.sofId) : ""};
}

std::string unitOf(const ValueName& name) {
    return name.field ? name.field->unit : "";
}

/// "KELV_TAG_AE.exposure (ns)".
std::string headingOf(const ValueName& name) {
    const std::string unit = unitOf(name);
    return tyktree::escaped(unit.empty() ? name.name : name.name + " (" + unit + ")");
}

/// The units of the values that have one, by name.
Json unitsOf(const std::vector<ValueName>& names) {
    Json units = Json::object();
    for (const ValueName& name : names) {
        const std::string unit = unitOf(name);
        if (!unit.empty()) units[keyOf(name.name)] = tyktree::toUtf8(unit);
    }
    return units;
}

class TextTrack : public TrackReport {
public:
    explicit TextTrack(bool several) : several_(several) {}

    void begin(const TrackedTree& tree) override {
        names_ = &tree.names;
        if (several_) printResult(tyktree::escaped(tree.path));
        std::string heading = "pipe  task  frame  request      sof";
        for (const ValueName& name : tree.names) {
            heading += fmt::format("  {:>{}}", headingOf(name), widthOf(name));
        }
        printResult(heading);
    }

    /// Marks values that changed since the frame before.
    void addRow(const FrameRef& frame, const FrameRow& row, const FrameRow* before) override {
        const auto place = placeOf(frame);
        std::string line = fmt::format("{:>4}  {:>4}  {:>5}  {:>7}  {:>7}", place[0], place[1],
                                       place[2], place[3], place[4]);
        for (size_t i = 0; i < row.size(); ++i) {
            const bool moved = before && !(row[i] == (*before)[i]);
            const std::string text =
                row[i].absent() ? "-" : tyktree::escaped(tyktree::toText(row[i]));
            line += fmt::format("{}{:>{}}", moved ? " *" : "  ", text, widthOf((*names_)[i]));
        }
        printResult(line);
    }

private:
    /// A column is as wide as its heading and most numbers, so that rows can be printed at once.
    static size_t widthOf(const ValueName& name) {
        constexpr size_t kValueWidth = 12;
        return std::max(kValueWidth, headingOf(name).size());
    }

    const bool several_;
    const std::vector<ValueName>* names_ = nullptr;
};

class CsvTrack : public TrackReport {
public:
    explicit CsvTrack(bool several) : several_(several) {}

    void begin(const TrackedTree& tree) override {
        path_ = several_ ? csvCell(tree.named) + "," : "";
        std::string heading = several_ ? "path," : "";
        heading += "pipe,task,frame,request,sof";
        for (const ValueName& name : tree.names) heading += "," + csvCell(name.name);
        if (heading == heading_) return;
        if (!heading_.empty()) {
            throw Failure(tyktree::escaped(tree.named) +
                          ": expected the fields of the tree before, found others; --rows takes "
                          "trees with different tag tables");
        }
        heading_ = heading;
        printResult(heading);
    }

    void addRow(const FrameRef& frame, const FrameRow& row, const FrameRow* /*before*/) override {
        std::string line = fmt::format("{}{}", path_, fmt::join(placeOf(frame), ","));
        for (const FrameValue& value : row) line += "," + csvCell(value);
        printResult(line);
    }

private:
    const bool several_;
    std::string heading_;
    std::string path_;
};

class DocumentTrack : public TrackReport {
public:
    void begin(const TrackedTree& tree) override {
        tree_ = &tree;
        Json members = Json::object();
        addText(members, "path", tree.path);
        members["units"] = unitsOf(tree.names);
        tree.json->members(members);
        tree.json->beginList("rows");
    }

    void addRow(const FrameRef& frame, const FrameRow& row, const FrameRow* /*before*/) override {
        Json item = identityOf(frame);
        Json members = Json::object();
        for (size_t i = 0; i < row.size(); ++i) {
            addValue(members, keyOf(tree_->names[i].name), row[i]);
        }
        item["values"] = std::move(members);
        tree_->json->item(item);
    }

    void end() override { tree_->json->endList(); }

private:
    const TrackedTree* tree_ = nullptr;
};

/// One flat object per line, for databases and data frames.
class RowsTrack : public TrackReport {
public:
    void begin(const TrackedTree& tree) override {
        tree_ = &tree;
        head_ = Json::object();
        addText(head_, "path", tree.named);
        for (const ValueName& name : tree.names) refuseIdentity(name.name);
    }

    void addRow(const FrameRef& frame, const FrameRow& row, const FrameRow* /*before*/) override {
        Json line = head_;
        line.update(identityOf(frame));
        line["time"] = timeOf(frame);
        for (size_t i = 0; i < row.size(); ++i) addFlat(line, tree_->names[i].name, row[i]);
        printResult(line.dump(-1, ' ', false, Json::error_handler_t::replace));
    }

private:
    /// A value must not replace a member that identifies the frame.
    static void refuseIdentity(const std::string& name) {
        if (!identifiesFrame(name)) return;
        throw WrongUsage(fmt::format(
            "--rows: \"{}\" is a member of every row; name a field of the tag instead", name));
    }

    static Json timeOf(const FrameRef& frame) {
        const auto stamp = stampOf(*frame.task, *frame.frame);
        const bool isTime = stamp && tyktree::impossiblePart(*stamp).empty();
        return isTime ? Json(tyktree::isoTime(*stamp)) : Json();
    }

    /// A tag without fields and the numbers of an enum, which may lack a name, are texts, as in
    /// CSV, so that all rows have the same type.
    static void addFlat(Json& line, const std::string& name, const FrameValue& value) {
        if (value.isBlob) {
            line[keyOf(name)] = tyktree::toText(value);
            return;
        }
        FrameValue flat = value;
        for (tyktags::Value& element : flat.values) {
            const bool isNamed = std::holds_alternative<tyktags::NamedNumber>(element);
            if (isNamed) element = tyktags::toText(element);
        }
        addValue(line, keyOf(name), flat);
    }

    const TrackedTree* tree_ = nullptr;
    Json head_;
};

}  // namespace

std::unique_ptr<TrackReport> makeTrackReport(TrackForm form, bool several) {
    switch (form) {
        case TrackForm::kCsv:
            return std::make_unique<CsvTrack>(several);
        case TrackForm::kDocument:
            return std::make_unique<DocumentTrack>();
        case TrackForm::kRows:
            return std::make_unique<RowsTrack>();
        case TrackForm::kText:
            break;
    }
    return std::make_unique<TextTrack>(several);
}

}  // namespace tyksim
