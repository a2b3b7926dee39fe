#include "tree/read/TagCatalog.h"

#include "core/TreeNames.h"
#include "tags/NearestNames.h"
#include "tree/read/TreeIndex.h"

#include <algorithm>
#include <sys/stat.h>
#include <utility>

namespace tyktree {

namespace {

using tyktags::TagEntry;

}  // namespace

int dumpTypeOf(const TagEntry& tag) {
    return tag.kind == tyktags::TagKind::block ? kBlockDump : kFixedSizeDump;
}

tyktags::TagKind kindOf(int dumpType) {
    return dumpType == kFixedSizeDump ? tyktags::TagKind::fixed : tyktags::TagKind::block;
}

TagCatalog::TagCatalog(std::vector<TagEntry> tags, Source source, std::string path)
    : tags_(std::move(tags)), source_(source), path_(std::move(path)) {
    std::sort(tags_.begin(), tags_.end(),
              [](const TagEntry& a, const TagEntry& b) { return a.id < b.id; });
    for (size_t i = 0; i < tags_.size(); ++i) {
        byId_[tags_[i].id] = i;
        byName_[tags_[i].name] = i;
    }
}

Result<TagCatalog> TagCatalog::read(const std::string& path, tyktags::TableSource allowed,
                                    Source source) {
    tyktags::TagTable table = tyktags::examineTagTable(path, allowed, 1);
    if (!table.problems.empty()) return Problem(table.problems.front());
    TagCatalog catalog(std::move(table.tags), source, path);
    catalog.text_ = std::move(table.text);
    catalog.enums_ = std::move(table.enums);
    catalog.missed_ = std::move(table.missed);
    return catalog;
}

Result<TagCatalog> TagCatalog::readGiven(const std::string& path) {
    return read(path, tyktags::TableSource::fileOrPipe, Source::kGiven);
}

Result<TagCatalog> TagCatalog::find(const TreeIndex& index, const std::string& given) {
    if (!given.empty()) return readGiven(given);
    const std::string& root = index.path().deviceRoot;
    const std::string beside = root.empty() ? "" : tagTablePath(root);
    struct stat status {};
    if (beside.empty() || ::lstat(beside.c_str(), &status) != 0) return TagCatalog();
    return read(beside, tyktags::TableSource::file, Source::kBeside);
}

const TagEntry* TagCatalog::byId(uint32_t id) const {
    const auto found = byId_.find(id);
    return found != byId_.end() ? &tags_[found->second] : nullptr;
}

const TagEntry* TagCatalog::byName(std::string_view name) const {
    const auto found = byName_.find(name);
    return found != byName_.end() ? &tags_[found->second] : nullptr;
}

std::vector<std::string> TagCatalog::nearest(std::string_view name) const {
    std::vector<std::string> names;
    names.reserve(tags_.size());
    for (const TagEntry& tag : tags_) names.push_back(tag.name);
    return tyktags::nearestNames(name, names);
}

}  // namespace tyktree
