#include "tree/read/TagNames.h"

#include "tree/read/FrameListing.h"

#include <algorithm>
#include <set>

namespace tyktree {

std::vector<std::string> tagNamesIn(const std::vector<FrameRef>& frames) {
    constexpr size_t kLooked = 64;
    std::set<std::string> names;
    FrameListing listing;
    for (size_t i = 0; i < std::min(kLooked, frames.size()); ++i) {
        static_cast<void>(listing.read(frames[i].path()));
        for (const FileEntry& file : listing.files()) {
            if (file.kind == FileEntry::Kind::kParameter) names.emplace(file.parameter.tagName);
        }
    }
    return {names.begin(), names.end()};
}

}  // namespace tyktree
