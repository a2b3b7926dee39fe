#include "tree/TagCatalog.h"

#include "tree/TreeIndex.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <sys/stat.h>
#include <utility>

namespace tyktree {

namespace {

using tykhost::TagEntry;

/// How many letters have to be put in, taken out or replaced to make `b` of `a`.
size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i + 1;
        for (size_t j = 0; j < b.size(); ++j) {
            const size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, replaced});
        }
    }
    return row.back();
}

std::vector<TagEntry> readTable(const std::string& path, tykhost::TableSource source) {
    std::vector<TagEntry> tags;
    std::string error;
    if (!tykhost::readTagTable(path, tags, error, source)) throw std::runtime_error(error);
    return tags;
}

}  // namespace

TagCatalog::TagCatalog(std::vector<TagEntry> tags, Source source, std::string path)
    : tags_(std::move(tags)), source_(source), path_(std::move(path)) {
    std::sort(tags_.begin(), tags_.end(),
              [](const TagEntry& a, const TagEntry& b) { return a.id < b.id; });
    for (size_t i = 0; i < tags_.size(); ++i) {
        byId_[tags_[i].id] = i;
        byName_[tags_[i].name] = i;
    }
}

TagCatalog TagCatalog::find(const TreeIndex& index, const std::string& given) {
    if (!given.empty()) {
        return {readTable(given, tykhost::TableSource::fileOrPipe), Source::kGiven, given};
    }
    const std::string& root = index.path().deviceRoot;
    const std::string beside = root.empty() ? "" : tagTablePath(root);
    struct stat status {};
    if (beside.empty() || ::lstat(beside.c_str(), &status) != 0) return {};
    return {readTable(beside, tykhost::TableSource::file), Source::kBeside, beside};
}

const TagEntry* TagCatalog::byId(uint32_t id) const {
    const auto found = byId_.find(id);
    return found != byId_.end() ? &tags_[found->second] : nullptr;
}

const TagEntry* TagCatalog::byName(std::string_view name) const {
    const auto found = byName_.find(name);
    return found != byName_.end() ? &tags_[found->second] : nullptr;
}

std::vector<std::string> TagCatalog::nearest(std::string_view name, size_t count) const {
    std::vector<std::pair<size_t, std::string>> ranked;
    ranked.reserve(tags_.size());
    for (const TagEntry& tag : tags_) ranked.emplace_back(editDistance(name, tag.name), tag.name);
    std::sort(ranked.begin(), ranked.end());
    std::vector<std::string> names;
    for (const auto& [distance, candidate] : ranked) {
        // Tags share their beginnings: what is much further than the nearest helps nobody.
        const size_t most = std::max<size_t>(2, ranked.front().first * 3 / 2);
        if (names.size() == count || distance > most || distance * 2 > name.size() + 1) break;
        names.push_back(candidate);
    }
    return names;
}

}  // namespace tyktree
