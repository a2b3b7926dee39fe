#include "tree/check/TaskStatistics.h"

#include "tags/KnownTags.h"
#include "tree/read/TagCatalog.h"

#include <algorithm>
#include <limits>
#include <tuple>

namespace tyktree {

namespace {

using Kind = FileEntry::Kind;

/// The first id for derived tags, above the known ids.
constexpr uint32_t kFirstFreeId = 1048576;

bool matches(const ParameterColumn& column, const ParamFileName& name) {
    return column.camId == name.camId && column.pipe == name.pipe &&
           column.dumpType == name.dumpType && column.tagName == name.tagName;
}

void set(std::vector<bool>& bits, size_t index) {
    if (index >= bits.size()) bits.resize(index + 1);
    bits[index] = true;
}

void noteSize(ParameterColumn& column, const FileEntry& file, size_t index) {
    const bool known = column.sizes.count(file.bytes) > 0;
    if (known || column.sizes.size() < ParameterColumn::kMaxSizes) ++column.sizes[file.bytes];
    if (column.count == 1) column.firstSize = file.bytes;
    if (column.dumpType == kFixedSizeDump && file.bytes != column.firstSize &&
        column.oddSizes.size() < ParameterColumn::kMaxOddSizes) {
        column.oddSizes.push_back({static_cast<uint32_t>(index + 1), file.bytes});
    }
}

}  // namespace

uint64_t ParameterColumn::usualSize() const {
    uint64_t usual = 0;
    uint32_t most = 0;
    for (const auto& [size, files] : sizes) {
        if (files >= most) usual = size;
        most = std::max(most, files);
    }
    return usual;
}

uint64_t ParameterColumn::frameCount() const {
    return static_cast<uint64_t>(std::count(frames.begin(), frames.end(), true));
}

bool Geometry::operator<(const Geometry& other) const {
    return std::tie(width, height) < std::tie(other.width, other.height);
}

bool Geometry::operator==(const Geometry& other) const {
    return width == other.width && height == other.height;
}

TaskStatistics::TaskStatistics(size_t frames) : images_(frames), sceneParts_(frames) {}

void TaskStatistics::add(uint32_t position, const FrameListing& listing) {
    const size_t index = position - 1;
    size_t expected = 0;
    for (const FileEntry& file : listing.files()) {
        if (file.type == EntryType::kFolder && file.kind == Kind::kForeign) continue;
        ++files_;
        bytes_ += file.bytes;
        if (file.kind == Kind::kParameter) {
            addParameter(index, file, expected++);
        } else if (file.kind == Kind::kImage) {
            set(images_, index);
            setCamera(file.image.camId, index);
            set(imageCameras_[file.image.camId], index);
            ++geometries_[{file.image.width, file.image.height}];
        }
        const bool scene = file.kind == Kind::kSceneXml || file.kind == Kind::kSceneBlock;
        if (scene) set(sceneParts_, index);
    }
}

/// Finds or adds the column of a file. Frames usually have the same files: `expected` is the
/// column's index in earlier frames.
ParameterColumn& TaskStatistics::columnOf(const ParamFileName& name, size_t expected) {
    if (expected < columns_.size() && matches(columns_[expected], name)) return columns_[expected];
    auto known = byName_.find(name.tagName);
    if (known == byName_.end()) known = byName_.emplace(name.tagName, std::vector<size_t>()).first;
    for (const size_t at : known->second) {
        if (matches(columns_[at], name)) return columns_[at];
    }
    known->second.push_back(columns_.size());
    ParameterColumn& column = columns_.emplace_back();
    column.tagName = name.tagName;
    column.camId = name.camId;
    column.pipe = name.pipe;
    column.dumpType = name.dumpType;
    column.frames.resize(images_.size());
    return column;
}

void TaskStatistics::addParameter(size_t index, const FileEntry& file, size_t expected) {
    const ParamFileName& name = file.parameter;
    ParameterColumn& column = columnOf(name, expected);
    ++column.count;
    column.bytes += file.bytes;
    set(column.frames, index);
    if (file.regular()) noteSize(column, file, index);
    setCamera(name.camId, index);
    if (name.tagName == kSceneTagName && name.pipe == kScenePipe) set(sceneParts_, index);
}

void TaskStatistics::setCamera(int camId, size_t index) {
    set(cameras_[camId], index);
}

TagCatalog deriveCatalog(const std::vector<const TaskStatistics*>& tasks) {
    std::map<std::string, ParameterColumn> seen;  // fixed-size if a tag is dumped both ways
    for (const TaskStatistics* task : tasks) {
        for (const ParameterColumn& column : task->columns()) {
            ParameterColumn& merged = seen[column.tagName];
            const bool fixed = column.dumpType == kFixedSizeDump;
            if (merged.count == 0 || (fixed && merged.dumpType != kFixedSizeDump)) {
                merged.dumpType = column.dumpType;
                merged.sizes.clear();
            }
            ++merged.count;
            if (fixed != (merged.dumpType == kFixedSizeDump)) continue;
            for (const auto& [size, files] : column.sizes) merged.sizes[size] += files;
        }
    }
    std::vector<tyktags::TagEntry> tags;
    for (const tyktags::KnownTag& known : tyktags::kKnownTags) {
        tags.push_back({known.id, known.name, known.size, tyktags::TagKind::fixed, {}});
        seen.erase(known.name);
    }
    uint32_t nextId = kFirstFreeId;
    for (const auto& [name, column] : seen) {
        if (name.empty() || name.find('/') != std::string::npos) continue;
        const uint64_t size =
            std::min<uint64_t>(column.usualSize(), std::numeric_limits<int32_t>::max());
        const bool fixed = column.dumpType == kFixedSizeDump;
        tags.push_back({nextId++,
                        name,
                        static_cast<int32_t>(size),
                        fixed ? tyktags::TagKind::fixed : tyktags::TagKind::block,
                        {}});
    }
    return {std::move(tags), TagCatalog::Source::kDerived, ""};
}

}  // namespace tyktree
