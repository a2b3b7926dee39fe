#include "tools/sheet/SheetWriter.h"

#include "records/SceneLayout.h"
#include "tools/console/Console.h"
#include "tools/sheet/Page.h"
#include "tree/read/Escape.h"
#include "tree/read/Timeline.h"

#include <array>
#include <cerrno>

namespace tyksim {

namespace {

/// A plot with a name and unit of its own.
struct KnownPlot {
    std::string_view path;
    const char* label;
    const char* unit;
};
constexpr KnownPlot kKnownPlots[] = {
    {"threeA_info/ae_info/exp_time", "exposure", "ns"},
    {"threeA_info/ae_info/total_gain", "gain", "1/1024"},
    {"threeA_info/ae_info/cur_ev", "EV", "EV"},
};

Json plotJson(const tyktree::ValueName& name) {
    for (const KnownPlot& known : kKnownPlots) {
        if (name.scene && known.path == name.scene->path) {
            return {{"name", name.name},
                    {"label", known.label},
                    {"unit", known.unit},
                    {"names", nullptr}};
        }
    }
    const std::string shown = tyktree::escaped(name.name);
    return {{"name", shown},
            {"label", shown},
            {"unit", name.field ? tyktree::escaped(name.field->unit) : ""},
            {"names", name.field ? namesOf(*name.field) : Json()}};
}

std::string recordedAt(const tyktree::TaskEntry& task) {
    if (!task.parsed) return "";
    std::string time = tyktree::isoTime(task.parsed->stamp);
    if (const size_t at = time.find('T'); at != std::string::npos) time[at] = ' ';
    return time;
}

/// The making of pictures, and the options with which other verbs read images in the same way.
Json pictureJson(const PicturePlan& plan) {
    const ColourRule& rule = plan.assumed.rule;
    return {{"every", plan.sizes.every},
            {"sampled", plan.effort == Effort::kQuick},
            {"bt709", rule.matrix == ColourMatrix::kBt709},
            {"limited", rule.range == SampleRange::kLimited},
            {"nv12", plan.assumed.order == ChromaOrder::kNv12},
            {"stride", plan.assumed.stride}};
}

[[noreturn]] void refuseValues() {
    throw Failure("temporary file: " + systemReason(errno));
}

}  // namespace

SheetWriter::SheetWriter(const OutputRequest& output, SheetHead head,
                         const tyktree::TagCatalog& catalog)
    : head_(std::move(head)),
      catalog_(catalog),
      file_(output, Ending::kSeal),
      values_(std::tmpfile()) {
    if (!values_) refuseValues();
    write(kPageStart);
}

void SheetWriter::addFrame(const PlacedPair& place, const SheetPair& pair) {
    const bool first = place.task != task_;
    if (first) beginTask(place);
    const FramePair& refs = place.frames;
    if (refs.a) tasks_.emplace(keyOf(*refs.a), place.task);
    if (refs.b) otherTasks_.emplace(keyOf(*refs.b), place.task);
    addLine(pair.mine);
    if (head_.against) addLine(pair.other);
    const auto row = [](const std::optional<SheetFrame>& frame, SheetRows& rows) {
        return frame ? rows.row(*frame) : Json();
    };
    Json entry = row(pair.mine, *mine_);
    if (head_.against) {
        entry = Json::array({entry, row(pair.other, *other_), differencesOf(pair)});
    }
    addValues((first ? "" : ",\n") + elementText(entry));
}

void SheetWriter::beginTask(const PlacedPair& first) {
    if (task_) addValues("]},\n");
    task_ = first.task;
    mine_.emplace(tags_);
    other_.emplace(tags_);
    const tyktree::TaskEntry& task = *first.home.task;
    Json json = {{"pipe", first.home.pipe->id ? Json(*first.home.pipe->id) : Json()},
                 {"task", task.position},
                 {"path", tyktree::escaped(task.path)},
                 {"otherPath", first.other ? Json(tyktree::escaped(first.other->path)) : Json()},
                 {"recorded", recordedAt(task)},
                 {"frames", task.frames.size()}};
    std::string text = elementText(json);
    text.pop_back();
    addValues(text + ",\"rows\":[\n");
}

void SheetWriter::addLine(const std::optional<SheetFrame>& frame) {
    const std::string line = frame ? frame->image.picture.line() : FramePicture().line();
    write(firstLine_ ? line : "\n" + line);
    firstLine_ = false;
}

void SheetWriter::write(std::string_view text) {
    file_.write(text);
    bytes_ += text.size();
}

void SheetWriter::addValues(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), values_.get()) != text.size()) refuseValues();
}

Json SheetWriter::headJson() const {
    Json scene = Json::array();
    for (const ::SceneField& field : kSceneFields) scene.push_back(field.path);
    Json plots = Json::array();
    for (const tyktree::ValueName& name : head_.plots) plots.push_back(plotJson(name));
    return {{"tree", tyktree::escaped(head_.tree)},
            {"against", head_.against ? Json(tyktree::escaped(*head_.against)) : Json()},
            {"onlyOther", head_.onlyOther},
            {"every", head_.every},
            {"pictures", pictureJson(head_.pictures)},
            {"scene", std::move(scene)},
            {"plots", std::move(plots)},
            {"tags", tags_.table(catalog_)}};
}

void SheetWriter::endFrames() {
    if (task_) addValues("]}");
    write(kPageMiddle);
    std::string text = elementText(headJson());
    text.pop_back();
    write(text + ",\n\"tasks\":[");
    copyValues();
    write("],\n\"findings\":[");
}

void SheetWriter::copyValues() {
    if (std::fflush(values_.get()) != 0) refuseValues();
    std::rewind(values_.get());
    std::array<char, 65536> piece{};
    while (const size_t count = std::fread(piece.data(), 1, piece.size(), values_.get())) {
        write({piece.data(), count});
    }
    if (std::ferror(values_.get()) != 0) refuseValues();
}

SheetWriter::TaskKey SheetWriter::keyOf(const tyktree::FrameRef& frame) {
    return {frame.pipe->id, frame.task->position};
}

void SheetWriter::addFinding(const tyktree::Finding& finding, Side side, const std::string& root) {
    const tyktree::Rule& rule = tyktree::ruleOf(finding.rule);
    const auto& tasks = side == Side::kMine ? tasks_ : otherTasks_;
    const auto task = tasks.find(TaskKey(finding.place.pipe, finding.place.task));
    std::string path = finding.path;
    const std::string below = root + "/";
    if (path.compare(0, below.size(), below) == 0) path.erase(0, below.size());
    const Json json = {
        {"other", side == Side::kOther},
        {"at", task == tasks.end() ? Json() : Json(task->second)},
        {"frame", finding.place.frame == 0 ? Json() : Json(finding.place.frame)},
        {"rule", std::string(rule.name)},
        {"severity", std::string(nameOf(rule.severity))},
        {"path", tyktree::escaped(path)},
        {"expected", tyktree::escaped(finding.expected)},
        {"found", tyktree::escaped(finding.found)},
        {"reason", tyktree::escaped(finding.reason)},
        {"hint", finding.hint.empty() ? std::string(rule.hint) : tyktree::escaped(finding.hint)}};
    write((firstFinding_ ? "\n" : ",\n") + elementText(json));
    firstFinding_ = false;
}

void SheetWriter::commit() {
    write("]}");
    write(kPageEnd);
    file_.commit();
}

}  // namespace tyksim
