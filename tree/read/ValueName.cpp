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
                                  const std::vector<std::string>& tagNames,
                                  const ValueSource* source) {
    std::vector<std::string> names = tagNames;
    const auto add = [&names](const std::vector<std::string>& more) {
        names.insert(names.end(), more.begin(), more.end());
    };
    for (const tyktags::TagEntry& tag : catalog.tags()) names.push_back(tag.name);
    add(fieldNames(catalog));
    if (source) add(source->names());
    return names;
}

/// Why a name is unknown or ambiguous.
std::string refusal(std::string_view name, const TagCatalog& catalog,
                    const std::vector<std::string>& tagNames, const ValueSource* source) {
    std::vector<std::string> candidates;
    for (const ::SceneField* field : sceneFieldsNamed(name)) candidates.emplace_back(field->path);
    if (!candidates.empty())
        return "several fields have this name: " + tyktags::commaSeparated(candidates);
    const tyktags::TagEntry* const tag = catalog.byName(name.substr(0, name.find('.')));
    if (tag) {
        return findField(tag->fields, name.substr(name.find('.') + 1), tag->name).problem().reason;
    }
    const std::vector<std::string> nearest =
        tyktags::nearestNames(name, allNames(catalog, tagNames, source));
    return "no tag, field or scene field of this name" +
           (nearest.empty() ? "; `tyksim show` lists what a frame has"
                            : "; nearest: " + tyktags::commaSeparated(nearest));
}

}  // namespace

tyktags::Result<ValueName> resolveName(std::string_view name, const TagCatalog& catalog,
                                       const std::vector<std::string>& tagNames,
                                       const ValueSource* source) {
    ValueName result;
    result.name = name;
    const size_t dot = std::min(name.find('.'), name.size());
    result.tagName = name.substr(0, dot);
    const tyktags::TagEntry* const tag = catalog.byName(result.tagName);
    if (tag) result.tag = tag->id;
    if (!tag && source && source->claims(name)) {
        const tyktags::Status status = source->check(name);
        if (!status.ok()) return status.problem();
        result.source = source;
        return result;
    }
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
    return tyktags::Problem{"", "", "", refusal(name, catalog, tagNames, source),
                            tyktags::quoted(name)};
}

std::vector<std::string> fieldNames(const TagCatalog& catalog) {
    std::vector<std::string> names;
    for (const ::SceneField& field : kSceneFields) names.emplace_back(shortestName(field));
    for (const tyktags::TagEntry& tag : catalog.tags()) {
        for (const TagField& field : tag.fields) names.push_back(tag.name + "." + field.name);
    }
    return names;
}

}  // namespace tyktree
