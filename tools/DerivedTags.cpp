#include "tools/DerivedTags.h"

#include "tools/DefaultSetup.h"
#include "tools/WellKnownTags.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace tyksim {

namespace {

namespace fs = std::filesystem;
using tykhost::TagEntry;
using tykhost::TagKind;

constexpr uint32_t kFirstFreeId = 1048576;  ///< beyond the ids that are taken

/// What the files of one tag name show.
struct Seen {
    bool fixed = false;
    uint64_t largestFixed = 0;
    uint64_t largestBlock = 0;
};
using SeenTags = std::map<std::string, Seen>;

/// Notes FCPDT_<sof>_<cam>_<pipe>_<dump type>_<tag name>.bin.
void noteFile(const fs::directory_entry& entry, SeenTags& seen) {
    const std::string name = entry.path().filename().string();
    if (name.compare(0, 5, "FCPDT") != 0) return;
    size_t at = 0;
    size_t dumpType = 0;
    for (int i = 0; i < 5; ++i) {
        dumpType = at;
        at = name.find('_', at);
        if (at == std::string::npos) return;
        ++at;
    }
    const size_t dot = name.find('.', at);
    if (dot == std::string::npos || dot == at) return;
    std::error_code error;
    const uint64_t size = entry.file_size(error);
    if (error) return;
    Seen& tag = seen[name.substr(at, dot - at)];
    const bool fixed = std::strtol(name.c_str() + dumpType, nullptr, 10) == 0;
    tag.fixed = tag.fixed || fixed;
    uint64_t& largest = fixed ? tag.largestFixed : tag.largestBlock;
    largest = std::max(largest, size);
}

void noteTask(const std::string& task, SeenTags& seen) {
    for (const std::string& frame : subfolders(task)) {
        if (!isFrameName(frame)) continue;
        std::error_code error;
        for (fs::directory_iterator entry(fs::path(task) / frame, error), end;
             !error && entry != end; entry.increment(error)) {
            noteFile(*entry, seen);
        }
    }
}

/// The tags that a replay needs by their ids.
bool isNeeded(const TagEntry& tag) {
    return tag.id == kSceneTag || tag.id == kMfnrTag || tag.id == kStreamSizeTag ||
           tag.id == kStreamQualityTag;
}

}  // namespace

std::vector<TagEntry> deriveTags(const Tree& tree) {
    SeenTags seen;
    for (const std::string& task : tree.tasks) noteTask(task, seen);
    std::vector<TagEntry> tags;
    std::map<std::string, uint32_t> knownIds;
    for (const TagEntry& tag : defaultTags()) {
        knownIds[tag.name] = tag.id;
        if (!isNeeded(tag)) continue;
        tags.push_back(tag);
        seen.erase(tag.name);
    }
    uint32_t nextId = kFirstFreeId;
    for (const auto& [name, tag] : seen) {
        const auto known = knownIds.find(name);
        const uint32_t id = known != knownIds.end() ? known->second : nextId++;
        const uint64_t largest = tag.fixed ? tag.largestFixed : tag.largestBlock;
        const uint64_t limit = std::numeric_limits<int32_t>::max();
        tags.push_back({id, name, static_cast<int32_t>(std::min(largest, limit)),
                        tag.fixed ? TagKind::fixed : TagKind::block});
    }
    return tags;
}

}  // namespace tyksim
