// Resolves names of values with a tag catalog: TAG, TAG.field, TAG.field[2], TAG.roi[1].x, or a
// scene field.
//
// Threads: any. Errors: std::bad_alloc.
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

/// A resolved NAME. It points into the catalog, which must outlive it.
struct ValueName {
    std::string name;                     ///< as given
    const ::SceneField* scene = nullptr;  ///< a scene field
    std::optional<uint32_t> tag;          ///< else a tag (by id) ...
    std::string tagName;
    std::optional<tyktags::TagField> field;  ///< ... or a field of it, an element or a row of one
};

/// Resolves a NAME. A tag that the catalog does not have is valid too if `tagNames`, the names that
/// occur in the tree, contains it. If the NAME is unknown, the problem suggests similar names.
tyktags::Result<ValueName> resolveName(std::string_view name, const TagCatalog& catalog,
                                       const std::vector<std::string>& tagNames = {});

}  // namespace tyktree
