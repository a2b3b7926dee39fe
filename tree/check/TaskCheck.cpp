#include "tree/check/TaskCheck.h"

#include "core/Limits.h"
#include "tags/KnownTags.h"
#include "tags/Words.h"
#include "tree/check/IdentityCheck.h"
#include "tree/check/TaskFindings.h"
#include "tree/read/FolderReader.h"

#include <algorithm>
#include <optional>
#include <set>

namespace tyktree {

namespace {

using tyktags::TagEntry;
using tyktags::TagKind;

bool sameParameter(const ParameterColumn& a, const ParameterColumn& b) {
    return a.tagName == b.tagName && a.pipe == b.pipe && a.dumpType == b.dumpType;
}

/// Whether the catalog comes from a tag table.
bool isTable(const TagCatalog& catalog) {
    return catalog.source() == TagCatalog::Source::kGiven ||
           catalog.source() == TagCatalog::Source::kBeside;
}

/// A fixed-size tag's size in the table, or in the library if there is no table.
std::optional<uint64_t> sizeOf(const std::string& tagName, const TagCatalog& catalog) {
    if (isTable(catalog)) {
        const TagEntry* const tag = catalog.byName(tagName);
        if (!tag || tag->kind != TagKind::fixed) return std::nullopt;
        return static_cast<uint64_t>(tag->size);
    }
    for (const tyktags::KnownTag& known : tyktags::kKnownTags) {
        if (tagName == known.name) return static_cast<uint64_t>(known.size);
    }
    return std::nullopt;
}

class TaskChecker {
public:
    TaskChecker(const TaskSummary& summary, FindingSink& sink)
        : summary_(summary),
          sink_(sink),
          statistics_(summary.statistics),
          findings_(summary, frames_, sink) {}

    void check();

private:
    using Missing = std::vector<std::pair<const ParameterColumn*, Positions>>;

    std::string fileOf(const ParameterColumn& column, uint32_t position) const;
    void spread(RuleId rule, const ParameterColumn& column, const Positions& positions,
                const std::string& expected, const std::string& found,
                const std::string& hint = "");

    // Missing files.
    Positions seenFrames() const;
    bool isExpected(const ParameterColumn& column, uint32_t position) const;
    bool isConfigured(const ParameterColumn& column) const;
    Positions framesWithout(const ParameterColumn& column) const;
    Positions framesWithout(const std::vector<bool>& bits) const;
    std::vector<const ConfigEntry*> neverWritten() const;

    // The last frame.
    size_t orderOf(const ParameterColumn& column) const;
    bool lastLacks(const ParameterColumn& column) const;
    bool lastIsTorn() const;
    bool lastIsCut() const;
    void giveLast();
    bool belongsToTear(const Finding& finding) const;
    std::string lastContents() const;

    void checkColumn(const ParameterColumn& column);
    void checkTag(const ParameterColumn& column, const Positions& where);
    void checkSizes(const ParameterColumn& column);
    void checkOddSizes(const ParameterColumn& column, uint64_t expected, bool byTable);
    bool isStray(const ParameterColumn& column);
    void checkMissing();
    void checkImages();
    void checkScenes();

    const TaskSummary& summary_;
    FindingSink& sink_;
    const TaskStatistics& statistics_;
    Positions frames_;  ///< of the frames that could be listed
    TaskFindings findings_;
    uint32_t lastPosition_ = 0;
    bool torn_ = false;
    std::set<const ParameterColumn*> flagged_;  ///< columns whose tag or dump type is reported
    size_t lastWritten_ = 0;  ///< the configuration's entry for the last file of the last frame
};

/// The path of a parameter's file in a frame, whether it exists or not.
std::string TaskChecker::fileOf(const ParameterColumn& column, uint32_t position) const {
    int sof = findings_.frameAt(position).parsed.sofId;
    for (const ConfigEntry& entry : summary_.config) {
        if (writes(entry, column) && entry.sofId != kFramesOwn) sof = entry.sofId;
    }
    ParamFilePath path;
    makeParamFilePath(path, findings_.pathOf(position), sof, column.camId, column.pipe,
                      column.dumpType, column.tagName);
    return path.data();
}

void TaskChecker::spread(RuleId rule, const ParameterColumn& column, const Positions& positions,
                         const std::string& expected, const std::string& found,
                         const std::string& hint) {
    findings_.spread(
        rule, positions, {"", column.tagName + ": " + expected, found},
        [&](uint32_t position) {
            return Problem{fileOf(column, position), expected, found};
        },
        hint);
}

Positions TaskChecker::seenFrames() const {
    Positions positions;
    positions.reserve(summary_.frames.size());
    for (const FrameEntry* frame : summary_.frames) {
        if (!bitAt(summary_.unseen, frame->position)) positions.push_back(frame->position);
    }
    return positions;
}

/// Whether a frame should have a parameter. Cameras may take turns, and a configuration may dump a
/// tag of one camera with every frame. A missing parameter is reported once: for the frame's own
/// camera if other frames have the parameter of that camera.
bool TaskChecker::isExpected(const ParameterColumn& column, uint32_t position) const {
    const auto hasCamera = [&](const ParameterColumn& one) {
        const auto camera = statistics_.cameras().find(one.camId);
        return camera != statistics_.cameras().end() && bitAt(camera->second, position);
    };
    if (hasCamera(column)) return true;
    const auto& columns = statistics_.columns();
    return std::none_of(columns.begin(), columns.end(), [&](const ParameterColumn& other) {
        return sameParameter(other, column) && (other.in(position) || hasCamera(other));
    });
}

bool TaskChecker::isConfigured(const ParameterColumn& column) const {
    return std::any_of(summary_.config.begin(), summary_.config.end(),
                       [&](const ConfigEntry& entry) { return writes(entry, column); });
}

Positions TaskChecker::framesWithout(const ParameterColumn& column) const {
    Positions positions;
    for (const uint32_t position : frames_) {
        if (!column.in(position) && isExpected(column, position)) positions.push_back(position);
    }
    return positions;
}

Positions TaskChecker::framesWithout(const std::vector<bool>& bits) const {
    Positions positions;
    for (const uint32_t position : frames_) {
        if (!bitAt(bits, position)) positions.push_back(position);
    }
    return positions;
}

/// Entries that should have written a file in every frame and wrote none.
std::vector<const ConfigEntry*> TaskChecker::neverWritten() const {
    std::vector<const ConfigEntry*> entries;
    for (const ConfigEntry& entry : summary_.config) {
        if (!entry.writesFile() || entry.tagName.empty()) continue;
        const TagEntry* const tag = summary_.catalog.byName(entry.tagName);
        // The library dumps neither; the check of the configuration reports them.
        if (!tag && isTable(summary_.catalog)) continue;
        if (tag && entry.dumpType == kFixedSizeDump && tag->size > kMaxFixedBytes) continue;
        const auto& columns = statistics_.columns();
        const bool written =
            std::any_of(columns.begin(), columns.end(),
                        [&](const ParameterColumn& column) { return writes(entry, column); });
        if (!written) entries.push_back(&entry);
    }
    return entries;
}

/// A parameter's position in the order in which a frame's files are written. Without a
/// configuration the order is unknown, and every file counts as the last.
size_t TaskChecker::orderOf(const ParameterColumn& column) const {
    const auto found =
        std::find_if(summary_.config.begin(), summary_.config.end(),
                     [&](const ConfigEntry& entry) { return writes(entry, column); });
    return static_cast<size_t>(found - summary_.config.begin());
}

/// Whether the last frame should have a parameter but does not.
bool TaskChecker::lastLacks(const ParameterColumn& column) const {
    if (column.in(lastPosition_) || !isExpected(column, lastPosition_)) return false;
    return isConfigured(column) || column.frameCount() * 2 >= frames_.size() - 1;
}

/// Whether a file of the last frame is empty or shorter than in the other frames.
bool TaskChecker::lastIsCut() const {
    for (const FileEntry& file : summary_.last->listing.files()) {
        if (file.kind != FileEntry::Kind::kParameter || !file.regular()) continue;
        if (file.bytes == 0) return true;
        if (file.parameter.dumpType != kFixedSizeDump) continue;
        for (const ParameterColumn& column : statistics_.columns()) {
            if (column.tagName != file.parameter.tagName || column.pipe != file.parameter.pipe ||
                column.dumpType != kFixedSizeDump) {
                continue;
            }
            const uint64_t usual =
                sizeOf(column.tagName, summary_.catalog).value_or(column.usualSize());
            if (file.bytes < usual) return true;
        }
    }
    return false;
}

/// Whether the last frame is incomplete. A frame is written file by file, the image last, so an
/// incomplete frame has no complete image.
bool TaskChecker::lastIsTorn() const {
    const FrameListing& listing = summary_.last->listing;
    if (!listing.status().ok()) return false;
    const FileEntry* const image = listing.image();
    if (image && image->regular() && image->bytes >= namedImageBytes(image->image)) return false;
    const auto& columns = statistics_.columns();
    const bool lacking =
        std::any_of(columns.begin(), columns.end(),
                    [this](const ParameterColumn& column) { return lastLacks(column); });
    const bool partial = lacking || lastIsCut() || listing.files().empty();
    const size_t others = frames_.size() - (bitAt(summary_.unseen, lastPosition_) ? 0 : 1);
    if (others == 0) return partial || image || !neverWritten().empty();
    const auto images = std::count_if(frames_.begin(), frames_.end(), [this](uint32_t position) {
        return position != lastPosition_ && bitAt(statistics_.images(), position);
    });
    return static_cast<size_t>(images) * 2 > others || partial;
}

std::string TaskChecker::lastContents() const {
    const FrameListing& listing = summary_.last->listing;
    const FileEntry* const image = listing.image();
    const size_t files = listing.files().size();
    std::string text = std::to_string(files) + (files == 1 ? " file" : " files");
    if (!image) return text + ", no image";
    return text + ", " + std::to_string(image->bytes) + " of the image's " +
           tyktags::counted(namedImageBytes(image->image), "byte", "bytes");
}

/// Whether a finding of the last frame only shows that the frame is incomplete.
bool TaskChecker::belongsToTear(const Finding& finding) const {
    static const std::set<RuleId> kOfTear{RuleId::kFrameEmpty,        RuleId::kImageShort,
                                          RuleId::kSceneXml,          RuleId::kSceneXmlExtra,
                                          RuleId::kSceneFieldMissing, RuleId::kSceneFieldRange,
                                          RuleId::kSceneFileMissing,  RuleId::kSceneBlockSize,
                                          RuleId::kSceneDisagrees,    RuleId::kSceneEdited};
    if (kOfTear.count(finding.rule) > 0) return true;
    if (finding.rule != RuleId::kParameterEmpty) return false;
    ParamFileName name{};
    if (!readParamFileName(lastName(finding.path), name)) return true;
    const auto& columns = statistics_.columns();
    return std::none_of(columns.begin(), columns.end(), [&](const ParameterColumn& column) {
        return column.tagName == name.tagName && column.pipe == name.pipe &&
               orderOf(column) < lastWritten_;
    });
}

void TaskChecker::giveLast() {
    for (const ParameterColumn& column : statistics_.columns()) {
        if (column.in(lastPosition_)) lastWritten_ = std::max(lastWritten_, orderOf(column));
    }
    torn_ = lastIsTorn();
    for (const Finding& finding : summary_.last->findings.list) {
        if (!torn_ || !belongsToTear(finding)) sink_.add(finding);
    }
    if (!torn_) return;
    findings_.add(RuleId::kFrameTorn,
                  {summary_.last->listing.path(), "a whole frame", lastContents()}, lastPosition_);
}

void TaskChecker::checkColumn(const ParameterColumn& column) {
    Positions where;
    for (const uint32_t position : frames_) {
        if (column.in(position)) where.push_back(position);
    }
    checkTag(column, where);
    if (column.dumpType == kFixedSizeDump) checkSizes(column);
}

void TaskChecker::checkTag(const ParameterColumn& column, const Positions& where) {
    const TagEntry* const tag = summary_.catalog.byName(column.tagName);
    if (!tag && isTable(summary_.catalog)) {
        std::string nearest;
        for (const std::string& name : summary_.catalog.nearest(column.tagName)) {
            nearest += (nearest.empty() ? "The nearest are " : ", ") + name;
        }
        flagged_.insert(&column);
        spread(RuleId::kParameterUnknownTag, column, where, "a tag of " + summary_.catalog.path(),
               "none of that name", nearest.empty() ? "" : nearest + ".");
    }
    const bool known = column.dumpType == kFixedSizeDump || column.dumpType == kBlockDump;
    const bool table = tag && isTable(summary_.catalog);
    if (known && (!table || column.dumpType == dumpTypeOf(*tag))) return;
    flagged_.insert(&column);
    spread(RuleId::kParameterDumpType, column, where,
           table ? "dump type " + std::to_string(dumpTypeOf(*tag)) : "dump type 0 or 1",
           "dump type " + std::to_string(column.dumpType));
}

void TaskChecker::checkSizes(const ParameterColumn& column) {
    const std::optional<uint64_t> size = sizeOf(column.tagName, summary_.catalog);
    const uint64_t usual = column.usualSize();
    checkOddSizes(column, size.value_or(usual), size.has_value());
}

/// Reports unexpected sizes, each with the frames that have it.
void TaskChecker::checkOddSizes(const ParameterColumn& column, uint64_t expected, bool byTable) {
    std::map<uint64_t, Positions> bySize;
    std::set<uint32_t> odd;
    for (const SizeAt& at : column.oddSizes) {
        odd.insert(at.position);
        if (at.bytes != expected) bySize[at.bytes].push_back(at.position);
    }
    if (column.firstSize != expected) {
        for (const uint32_t position : frames_) {
            if (column.in(position) && odd.count(position) == 0) {
                bySize[column.firstSize].push_back(position);
            }
        }
    }
    for (auto& [bytes, positions] : bySize) {
        // The frame's own check reports empty files and impossible sizes.
        if (bytes == 0 || bytes > static_cast<uint64_t>(kMaxFixedBytes)) continue;
        if (torn_) {
            positions.erase(std::remove(positions.begin(), positions.end(), lastPosition_),
                            positions.end());
        }
        spread(byTable ? RuleId::kParameterSize : RuleId::kParameterSizeVaries, column, positions,
               tyktags::counted(expected, "byte", "bytes") + (byTable ? "" : " as in other frames"),
               std::to_string(bytes));
    }
}

/// Whether few frames have the parameter and no configuration names it; these few frames are then
/// reported. If the parameter's tag or dump type is reported already, nothing is added.
bool TaskChecker::isStray(const ParameterColumn& column) {
    const uint64_t count = column.frameCount();
    if (isConfigured(column) || frames_.size() < 2 || count * 2 >= frames_.size()) return false;
    if (flagged_.count(&column) > 0) return true;
    findings_.add(
        RuleId::kParameterMissing,
        {summary_.context.task.path, column.tagName + " in every frame or in none",
         "it in " + std::to_string(count) + " of " + std::to_string(frames_.size()) + " frames"},
        0);
    return true;
}

void TaskChecker::checkMissing() {
    for (const ParameterColumn& column : statistics_.columns()) {
        Positions without = framesWithout(column);
        if (!without.empty() && isStray(column)) continue;
        // In an incomplete frame, only files that should precede its last file are missing.
        if (torn_ && orderOf(column) >= lastWritten_) {
            without.erase(std::remove(without.begin(), without.end(), lastPosition_),
                          without.end());
        }
        spread(RuleId::kParameterMissing, column, without,
               isConfigured(column) ? "a file, as the dump configuration says"
                                    : "a file, as in other frames",
               "none");
    }
    for (const ConfigEntry* entry : neverWritten()) {
        ParameterColumn column;
        column.tagName = entry->tagName;
        column.pipe = entry->pipe;
        column.dumpType = entry->dumpType;
        column.camId = entry->camId != kFramesOwn      ? entry->camId
                       : statistics_.cameras().empty() ? 0
                                                       : statistics_.cameras().begin()->first;
        Positions without = frames_;
        if (torn_ && frames_.size() == 1) without.clear();
        spread(RuleId::kParameterMissing, column, without, "a file, as the dump configuration says",
               "none",
               "The device's tag table does not have the tag, the configuration was changed after "
               "the recording, or the files are lost.");
    }
}

void TaskChecker::checkImages() {
    if (!summary_.context.images) return;
    Positions without = framesWithout(statistics_.images());
    if (torn_) {
        without.erase(std::remove(without.begin(), without.end(), lastPosition_), without.end());
    }
    findings_.spread(RuleId::kImageMissing, without, {"", "an image in every frame", "none"},
                     [this](uint32_t position) {
                         return Problem{findings_.pathOf(position), "an image", "none"};
                     });
}

/// Reports frames without any file of the scene record if most frames have it. A frame's own check
/// reports an incomplete record.
void TaskChecker::checkScenes() {
    const Positions without = framesWithout(statistics_.sceneParts());
    if (without.size() * 2 > frames_.size()) return;
    for (const uint32_t position : without) {
        if (torn_ && position == lastPosition_) continue;
        findings_.add(
            RuleId::kSceneFileMissing,
            {findings_.pathOf(position), "the scene record's files, as in other frames", "none"},
            position);
    }
}

void TaskChecker::check() {
    frames_ = seenFrames();
    if (summary_.last) {
        lastPosition_ = summary_.frames.back()->position;
        giveLast();
    }
    if (frames_.empty()) return;
    for (const ParameterColumn& column : statistics_.columns()) checkColumn(column);
    checkMissing();
    checkImages();
    checkScenes();
    checkIdentities(summary_, frames_, findings_);
}

}  // namespace

void checkTask(const TaskSummary& summary, FindingSink& sink) {
    TaskChecker(summary, sink).check();
}

}  // namespace tyktree
