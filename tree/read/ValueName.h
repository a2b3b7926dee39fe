// Resolves names of values with a tag catalog: TAG, TAG.field, TAG.field[2], TAG.roi[1].x, a scene
// field, or a name that a source of further values has.
//
// Threads: any. Errors: std::bad_alloc.
#pragma once

#include "records/SceneLayout.h"
#include "tags/Problem.h"
#include "tree/read/TagCatalog.h"
#include "tree/read/ValueSource.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

/// A resolved NAME. It points into the catalog or to the source, which must outlive it.
struct ValueName {
    std::string name;                     ///< as given
    const ValueSource* source = nullptr;  ///< the source that has the name
    const ::SceneField* scene = nullptr;  ///< else a scene field
    std::optional<uint32_t> tag;          ///< else a tag (by id) ...
    std::string tagName;
    std::optional<tyktags::TagField> field;  ///< ... or a field of it, an element or a row of one
};

/// Resolves a NAME. A tag that the catalog does not have is valid too if `tagNames`, the names that
/// occur in the tree, contains it. `source` may be null; a name that it claims is the source's,
/// unless the catalog has a tag of that name. If the NAME is unknown, the problem suggests similar
/// names.
tyktags::Result<ValueName> resolveName(std::string_view name, const TagCatalog& catalog,
                                       const std::vector<std::string>& tagNames = {},
                                       const ValueSource* source = nullptr);

/// The names of all scene fields and of all fields of the catalog's tags.
std::vector<std::string> fieldNames(const TagCatalog& catalog);

}  // namespace tyktree
