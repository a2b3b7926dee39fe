#include "tree/read/ValueName.h"

#include "tags/NearestNames.h"
#include "tree/read/SceneRecord.h"

#include <algorithm>
#include <charconv>

namespace tyktree {

namespace {

using tyktags::TagField;

/// Removes an index such as "[2]" from the end of `name` and returns it.
std::optional<uint32_t> takeElement(std::string_view& name) {
    const size_t open = name.rfind('[');
    if (open == std::string_view::npos || name.back() != ']') return std::nullopt;
    const std::string_view digits = name.substr(open + 1, name.size() - open - 2);
    uint32_t element = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, element);
    if (error != std::errc() || stop != end) return std::nullopt;
    name = name.substr(0, open);
    return element;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
    return text;
}

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

/// Why a known tag has no such field.
std::string refusalOfField(std::string_view name, const tyktags::TagEntry& tag) {
    std::string_view fieldName = name.substr(name.find('.') + 1);
    const std::optional<uint32_t> element = takeElement(fieldName);
    std::vector<std::string> fields;
    for (const TagField& field : tag.fields) {
        fields.push_back(field.name);
        if (!element || field.name != fieldName) continue;
        if (field.type == FieldType::text) return tag.name + "." + field.name + " is a text";
        return tag.name + "." + field.name + " has the elements 0 to " +
               std::to_string(field.count - 1);
    }
    if (fields.empty()) return "the tag table gives " + tag.name + " no fields";
    return tag.name + " has no such field; it has " + joined(fields);
}

/// Why a name is unknown or ambiguous.
std::string refusal(std::string_view name, const TagCatalog& catalog,
                    const std::vector<std::string>& tagNames) {
    std::vector<std::string> candidates;
    for (const ::SceneField* field : sceneFieldsNamed(name)) candidates.emplace_back(field->path);
    if (!candidates.empty()) return "several fields have this name: " + joined(candidates);
    const tyktags::TagEntry* const tag = catalog.byName(name.substr(0, name.find('.')));
    if (tag) return refusalOfField(name, *tag);
    const std::vector<std::string> nearest =
        tyktags::nearestNames(name, allNames(catalog, tagNames));
    return "no tag, field or scene field of this name" +
           (nearest.empty() ? "; `tyksim show` lists what a frame has"
                            : "; nearest: " + joined(nearest));
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
        std::string_view fieldName = name.substr(dot + 1);
        result.element = takeElement(fieldName);
        for (const TagField& field : tag->fields) {
            if (field.name != fieldName) continue;
            const bool there =
                !result.element || (field.type != FieldType::text && *result.element < field.count);
            if (!there) break;
            result.field = &field;
            return result;
        }
    }
    return tyktags::Problem{"", "", "", refusal(name, catalog, tagNames),
                            "\"" + std::string(name) + "\""};
}

}  // namespace tyktree
