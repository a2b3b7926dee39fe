// Tags by id and name: kind, size, field layout, and their source.
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

/// The dump type in the names of the tag's files, and in configurations.
int dumpTypeOf(const tyktags::TagEntry& tag);

/// The kind of a parameter file with that dump type. A replay takes every dump type but that of
/// fixed-size values for a block's.
tyktags::TagKind kindOf(int dumpType);

/// The tags with which a tree's parameter files are read. Threads: several may read one object at
/// once. Ownership: tags and fields belong to the catalog. Errors: std::bad_alloc.
class TagCatalog {
public:
    enum class Source {
        kGiven,    ///< --tags
        kBeside,   ///< tags.xml in the device root
        kDerived,  ///< from the names and sizes in the tree; only ids of known names are real
        kNone,     ///< no source: only the tags that the library itself reads and writes
    };

    TagCatalog() = default;
    TagCatalog(std::vector<tyktags::TagEntry> tags, Source source, std::string path);

    /// Reads the table that the user named: a file, or a pipe, which is read once. Errors are those
    /// of readTagTable().
    static Result<TagCatalog> readGiven(const std::string& path);

    /// Reads the table at `given` unless it is "", else the table beside the tree, else returns an
    /// empty catalog with source kNone. Errors are those of readTagTable().
    static Result<TagCatalog> find(const TreeIndex& index, const std::string& given);

    const tyktags::TagEntry* byId(uint32_t id) const;
    const tyktags::TagEntry* byName(std::string_view name) const;
    const std::vector<tyktags::TagEntry>& tags() const { return tags_; }
    Source source() const { return source_; }
    const std::string& path() const { return path_; }  ///< of the table; "" if there is none

    /// The file as it was read, comments and all; "" if the tags came from no file.
    const std::string& text() const { return text_; }
    const std::vector<std::shared_ptr<const tyktags::TagEnum>>& enums() const { return enums_; }

    /// The parts of the table that only later versions of this program know.
    const std::vector<tyktags::Problem>& missed() const { return missed_; }

    /// The names of tags that are most similar to `name`; see tyktags::nearestNames().
    std::vector<std::string> nearest(std::string_view name) const;

private:
    static Result<TagCatalog> read(const std::string& path, tyktags::TableSource allowed,
                                   Source source);

    std::vector<tyktags::TagEntry> tags_;  ///< in ascending order of id
    std::map<uint32_t, size_t> byId_;
    std::map<std::string, size_t, std::less<>> byName_;
    Source source_ = Source::kNone;
    std::string path_;
    std::string text_;
    std::vector<std::shared_ptr<const tyktags::TagEnum>> enums_;
    std::vector<tyktags::Problem> missed_;
};

}  // namespace tyktree
