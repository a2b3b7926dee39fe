// Tags by id and name: kind, size, field layout, and where the knowledge comes from.
#pragma once

#include "tags/TagTable.h"
#include "tree/read/TreeProblem.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

class TreeIndex;

/// The tags that a tree's parameter files are read by.
class TagCatalog {
public:
    enum class Source {
        kGiven,    ///< --tags
        kBeside,   ///< tags.xml in the device root
        kDerived,  ///< from the names and sizes in the tree; ids are made up but for known names
        kNone,     ///< nothing is known but the tags that the library itself reads and writes
    };

    TagCatalog() = default;
    TagCatalog(std::vector<tyktags::TagEntry> tags, Source source, std::string path);

    /// The table that the user named: a file, or a pipe, which is read once. Errors are those of
    /// readTagTable().
    static Result<TagCatalog> readGiven(const std::string& path);

    /// The table at `given` where it is not "", else the one beside the tree where there is one,
    /// else an empty one with source kNone. Errors are those of readTagTable().
    static Result<TagCatalog> find(const TreeIndex& index, const std::string& given);

    const tyktags::TagEntry* byId(uint32_t id) const;
    const tyktags::TagEntry* byName(std::string_view name) const;
    const std::vector<tyktags::TagEntry>& tags() const { return tags_; }
    Source source() const { return source_; }
    const std::string& path() const { return path_; }  ///< of the table; "" where there is none

    /// The tags' names that are nearest to `name`; see tyktags::nearestNames().
    std::vector<std::string> nearest(std::string_view name) const;

private:
    static Result<TagCatalog> read(const std::string& path, tyktags::TableSource allowed,
                                   Source source);

    std::vector<tyktags::TagEntry> tags_;  ///< in ascending order of id
    std::map<uint32_t, size_t> byId_;
    std::map<std::string, size_t, std::less<>> byName_;
    Source source_ = Source::kNone;
    std::string path_;
};

}  // namespace tyktree
