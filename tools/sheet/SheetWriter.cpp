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

/// What is plotted under a name and in a unit of its own.
struct KnownPlot {
    std::string_view path;
    const char* label;
    const char* unit;
};
constexpr KnownPlot kKnownPlots[] = {
    {"threeA_info/ae_info/exp_time", "exposure", "ns"},
    {"threeA_info/ae_info/total_gain", "gain", "gain"},
    {"threeA_info/ae_info/cur_ev", "EV", "EV"},
};

Json plotJson(const tyktree::ValueName& name) {
    for (const KnownPlot& known : kKnownPlots) {
        if (name.scene && known.path == name.scene->path) {
            return {{"name", name.name}, {"label", known.label}, {"unit", known.unit}};
        }
    }
    const std::string shown = tyktree::escaped(name.name);
    return {{"name", shown}, {"label", shown}, {"unit", ""}};
}

std::string recordedAt(const tyktree::TaskEntry& task) {
    if (!task.parsed) return "";
    std::string time = tyktree::isoTime(task.parsed->stamp);
    if (const size_t at = time.find('T'); at != std::string::npos) time[at] = ' ';
    return time;
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
    file_.write(kPageStart);
}

void SheetWriter::addFrame(const FramePair& refs, const SheetPair& pair) {
    const bool first = refs.a->task != task_;
    if (first) beginTask(*refs.a);
    if (refs.b) otherTasks_.emplace(keyOf(*refs.b), tasks_.at(keyOf(*refs.a)));
    addLine(pair.mine.picture.line);
    Json row = mine_->row(pair.mine);
    if (head_.against) {
        row.push_back(otherOf(pair, *other_));
        addLine(pair.other ? pair.other->picture.line : FramePicture().line);
    }
    addValues((first ? "" : ",\n") + elementText(row));
}

void SheetWriter::beginTask(const tyktree::FrameRef& first) {
    if (task_) addValues("]},\n");
    task_ = first.task;
    mine_.emplace(tags_);
    other_.emplace(tags_);
    tasks_.emplace(keyOf(first), tasks_.size());
    Json task = {{"pipe", first.pipe->id ? Json(*first.pipe->id) : Json()},
                 {"task", task_->position},
                 {"path", tyktree::escaped(task_->path)},
                 {"recorded", recordedAt(*task_)},
                 {"frames", task_->frames.size()}};
    std::string text = elementText(task);
    text.pop_back();
    addValues(text + ",\"rows\":[\n");
}

void SheetWriter::addLine(const std::string& line) {
    file_.write((firstLine_ ? "" : "\n") + line);
    firstLine_ = false;
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
            {"scene", std::move(scene)},
            {"plots", std::move(plots)},
            {"tags", tags_.table(catalog_)}};
}

void SheetWriter::endFrames() {
    if (task_) addValues("]}");
    file_.write(kPageMiddle);
    std::string text = elementText(headJson());
    text.pop_back();
    file_.write(text + ",\n\"tasks\":[");
    copyValues();
    file_.write("],\n\"findings\":[");
}

void SheetWriter::copyValues() {
    if (std::fflush(values_.get()) != 0) refuseValues();
    std::rewind(values_.get());
    std::array<char, 65536> piece{};
    while (const size_t count = std::fread(piece.data(), 1, piece.size(), values_.get())) {
        file_.write({piece.data(), count});
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
    file_.write((firstFinding_ ? "\n" : ",\n") + elementText(json));
    firstFinding_ = false;
}

void SheetWriter::commit() {
    file_.write("]}");
    file_.write(kPageEnd);
    file_.commit();
}

}  // namespace tyksim
