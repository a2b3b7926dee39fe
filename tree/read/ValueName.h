// Names of values: TAG, TAG.field, TAG.field[2], or a scene field; resolved with a tag catalog.
//
// Threads: any.
#pragma once

#include "records/SceneLayout.h"
#include "tags/Problem.h"
#include "tree/read/TagCatalog.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

/// What a NAME stands for.
struct ValueName {
    std::string name;                     ///< as given
    const ::SceneField* scene = nullptr;  ///< a scene field
    std::optional<uint32_t> tag;          ///< else a tag (by id) ...
    std::string tagName;
    const tyktags::TagField* field = nullptr;  ///< ... or a field of it; points into the catalog
    std::optional<uint32_t> element;           ///< ... or one element of that field
};

/// Resolves a NAME. A tag that the catalog does not have may still be named where `tagNames` (the
/// names that occur in the tree) has it. The problem of
/// a name that stands for nothing says what is nearest.
tyktags::Result<ValueName> resolveName(std::string_view name, const TagCatalog& catalog,
                                       const std::vector<std::string>& tagNames = {});

}  // namespace tyktree
