#include "tree/read/ValueName.h"

#include "tags/NearestNames.h"
#include "tags/Words.h"
#include "tree/read/SceneRecord.h"

#include <algorithm>

namespace tyktree {

namespace {

using tyktags::TagField;

/// All valid names, to find similar ones among them.
std::vector<std::string> allNames(const TagCatalog& catalog,
                                  const std::vector<std::string>& tagNames) {
    std::vector<std::string> names = tagNames;
    for (const tyktags::TagEntry& tag : catalog.tags()) {
        names.push_back(tag.name);
        for (const TagField& field : tag.fields) names.push_back(tag.name + "." + field.name);
    }
    for (const ::SceneField& field : kSceneFields) {
        names.emplace_back(shortestName(field));
    }
    return names;
}

/// Why a name is unknown or ambiguous.
std::string refusal(std::string_view name, const TagCatalog& catalog,
                    const std::vector<std::string>& tagNames) {
    std::vector<std::string> candidates;
    for (const ::SceneField* field : sceneFieldsNamed(name)) candidates.emplace_back(field->path);
    if (!candidates.empty())
        return "several fields have this name: " + tyktags::commaSeparated(candidates);
    const tyktags::TagEntry* const tag = catalog.byName(name.substr(0, name.find('.')));
    if (tag) {
        return findField(tag->fields, name.substr(name.find('.') + 1), tag->name).problem().reason;
    }
    const std::vector<std::string> nearest =
        tyktags::nearestNames(name, allNames(catalog, tagNames));
    return "no tag, field or scene field of this name" +
           (nearest.empty() ? "; `tyksim show` lists what a frame has"
                            : "; nearest: " + tyktags::commaSeparated(nearest));
}

}  // namespace

tyktags::Result<ValueName> resolveName(std::string_view name, const TagCatalog& catalog,
                                       const std::vector<std::string>& tagNames) {
    ValueName result;
    result.name = name;
    const size_t dot = std::min(name.find('.'), name.size());
    result.tagName = name.substr(0, dot);
    const tyktags::TagEntry* const tag = catalog.byName(result.tagName);
    if (tag) result.tag = tag->id;
    if (dot == name.size()) {
        const bool inTree =
            std::find(tagNames.begin(), tagNames.end(), result.tagName) != tagNames.end();
        if (tag || inTree) return result;
        result.scene = findSceneField(name);
        if (result.scene) return result;
    } else if (tag) {
        const auto field = findField(tag->fields, name.substr(dot + 1), tag->name);
        if (field.ok()) {
            result.field = field.value();
            return result;
        }
    }
    return tyktags::Problem{"", "", "", refusal(name, catalog, tagNames),
                            "\"" + std::string(name) + "\""};
}

}  // namespace tyktree
