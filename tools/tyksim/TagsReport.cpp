#include "tools/tyksim/TagsReport.h"

#include "tags/NearestNames.h"
#include "tools/console/Console.h"
#include "tools/console/Failures.h"
#include "tools/console/Table.h"
#include "tools/console/Units.h"
#include "tools/json/TreeJson.h"
#include "tree/check/TableCheck.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <vector>

namespace tyksim {

namespace {

using tyktags::TagEntry;
using tyktags::TagEnum;
using tyktags::TagField;
using tyktree::fieldsOf;
using tyktree::TagCatalog;

using Enums = std::vector<std::shared_ptr<const TagEnum>>;

/// "f32[3][4]", "u32, bits 4 to 6".
std::string typeText(const TagField& field) {
    std::string text(tyktags::nameOf(field.type));
    for (const uint32_t length : field.dimensions) text += fmt::format("[{}]", length);
    const tyktags::BitRange& bits = field.bits;
    if (bits.width == 1) text += fmt::format(", bit {}", bits.offset);
    if (bits.width > 1) {
        text += fmt::format(", bits {} to {}", bits.offset, uint64_t{bits.offset} + bits.width - 1);
    }
    return text;
}

std::string coveredText(const TagEntry& tag) {
    const auto size = static_cast<uint64_t>(std::max(0, tag.size));
    return fmt::format("{} of {}", tyktags::coveredBytes(fieldsOf(tag), size), size);
}

void printTags(const TagCatalog& catalog) {
    Table table{{"tag"},
                {"id", Align::kRight},
                {"kind"},
                {"fields", Align::kRight},
                {"bytes in fields", Align::kRight}};
    for (const TagEntry& tag : catalog.tags()) {
        table.addRow({tyktree::escaped(tag.name), fmt::to_string(tag.id), nameOf(tag.kind),
                      fmt::to_string(fieldsOf(tag).size()), coveredText(tag)});
    }
    table.print();
    printResult(fmt::format("{}: {}, {}", tyktree::escaped(catalog.path()),
                            counted(catalog.tags().size(), "tag", "tags"),
                            counted(catalog.enums().size(), "enum", "enums")));
}

void printTag(const TagEntry& tag, const Enums& enums) {
    printResult(fmt::format("{}: id {}, {}, {} bytes in fields", tyktree::escaped(tag.name), tag.id,
                            nameOf(tag.kind), coveredText(tag)));
    Table fields{{"field"}, {"offset", Align::kRight}, {"type"}, {"unit"}, {"enum"}};
    for (const TagField& field : fieldsOf(tag)) {
        fields.addRow({tyktree::escaped(field.name), fmt::to_string(field.offset), typeText(field),
                       tyktree::escaped(field.unit),
                       field.enumeration ? tyktree::escaped(field.enumeration->name()) : ""});
    }
    if (!fields.empty()) fields.print();
    for (const auto& names : enums) {
        Table values{{tyktree::escaped(names->name())}, {"number", Align::kRight}};
        for (const tyktags::EnumValue& value : names->values()) {
            values.addRow({tyktree::escaped(value.name), toText(value.number)});
        }
        values.print();
    }
}

Json fieldItem(const TagField& field) {
    Json item = Json::object();
    addText(item, "name", field.name);
    item["offset"] = field.offset;
    item["type"] = tyktags::nameOf(field.type);
    item["dims"] = field.dimensions;
    const tyktags::BitRange& bits = field.bits;
    item["bits"] = bits.width == 0 ? Json() : Json{{"offset", bits.offset}, {"width", bits.width}};
    item["unit"] = field.unit.empty() ? Json() : Json(tyktree::toUtf8(field.unit));
    item["enum"] = field.enumeration ? Json(tyktree::toUtf8(field.enumeration->name())) : Json();
    return item;
}

Json tagItem(const TagEntry& tag) {
    Json item = Json::object();
    addText(item, "name", tag.name);
    item["id"] = tag.id;
    item["kind"] = nameOf(tag.kind);
    item["size"] = tag.size;
    const std::vector<TagField> fields = fieldsOf(tag);
    item["field_bytes"] =
        tyktags::coveredBytes(fields, static_cast<uint64_t>(std::max(0, tag.size)));
    item["fields"] = Json::array();
    for (const TagField& field : fields) item["fields"].push_back(fieldItem(field));
    return item;
}

Json enumItem(const TagEnum& names) {
    Json item = Json::object();
    addText(item, "name", names.name());
    item["values"] = Json::array();
    for (const tyktags::EnumValue& value : names.values()) {
        item["values"].push_back(toJson(tyktags::NamedNumber{value.number, value.name}));
    }
    return item;
}

const TagEntry& tagOf(const TagCatalog& catalog, const std::string& name) {
    if (const TagEntry* const tag = catalog.byName(name)) return *tag;
    const std::vector<std::string> nearest = catalog.nearest(name);
    const std::string advice =
        nearest.empty() ? "" : "; did you mean " + tyktags::joinedByOr(nearest) + "?";
    throw WrongUsage(fmt::format("{}: expected the tag {}, found none{}",
                                 tyktree::escaped(catalog.path()), tyktree::escaped(name),
                                 tyktree::escaped(advice)));
}

}  // namespace

void showTags(const TagCatalog& catalog, const std::optional<std::string>& tagName,
              JsonDocument* json) {
    const TagEntry* const one = tagName ? &tagOf(catalog, *tagName) : nullptr;
    const Enums enums = one ? tyktags::enumsOf({*one}) : catalog.enums();
    if (!json) {
        if (one) {
            printTag(*one, enums);
        } else {
            printTags(catalog);
        }
        return;
    }
    Json members = Json::object();
    addText(members, "path", catalog.path());
    json->members(members);
    json->beginList("tags");
    for (const TagEntry& tag : catalog.tags()) {
        if (!one || one == &tag) json->item(tagItem(tag));
    }
    json->endList();
    json->beginList("enums");
    for (const auto& names : enums) json->item(enumItem(*names));
    json->endList();
}

}  // namespace tyksim
