#include "tools/tyksim/TagsReport.h"

#include "tools/console/Console.h"
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

using tyktags::DebugType;
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

Json typeItem(const DebugType& type) {
    Json item = Json::object();
    addText(item, "name", type.name);
    item["kind"] = type.keyword;
    item["size"] = type.size;
    if (type.file.empty()) {
        item["file"] = nullptr;
    } else {
        addText(item, "file", type.file);
    }
    item["line"] = type.line > 0 ? Json(type.line) : Json();
    return item;
}

class TextTags : public TagsReport {
public:
    void addTable(const TagCatalog& catalog) override {
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

    void addTag(const TagCatalog& /*catalog*/, const TagEntry& tag) override {
        printResult(fmt::format("{}: id {}, {}, {} bytes in fields", tyktree::escaped(tag.name),
                                tag.id, nameOf(tag.kind), coveredText(tag)));
        printFields(tag);
        for (const auto& names : tyktags::enumsOf({tag})) printEnum(*names);
    }

    void addTypes(const std::string& /*library*/, const std::vector<DebugType>& types) override {
        Table table{{"bytes", Align::kRight}, {"kind"}, {"type"}, {"file"}};
        for (const DebugType& type : types) {
            table.addRow({fmt::to_string(type.size), type.keyword, tyktree::escaped(type.name),
                          declarationOf(type)});
        }
        table.print();
    }

private:
    static void printFields(const TagEntry& tag) {
        Table fields{{"field"}, {"offset", Align::kRight}, {"type"}, {"unit"}, {"enum"}};
        for (const TagField& field : fieldsOf(tag)) {
            fields.addRow({tyktree::escaped(field.name), fmt::to_string(field.offset),
                           typeText(field), tyktree::escaped(field.unit),
                           field.enumeration ? tyktree::escaped(field.enumeration->name()) : ""});
        }
        if (!fields.empty()) fields.print();
    }

    static void printEnum(const TagEnum& names) {
        Table values{{tyktree::escaped(names.name())}, {"number", Align::kRight}};
        for (const tyktags::EnumValue& value : names.values()) {
            values.addRow({tyktree::escaped(value.name), toText(value.number)});
        }
        values.print();
    }
};

class JsonTags : public TagsReport {
public:
    explicit JsonTags(JsonDocument& json) : json_(json) {}

    void addTable(const TagCatalog& catalog) override {
        addPath(catalog.path());
        json_.beginList("tags");
        for (const TagEntry& tag : catalog.tags()) json_.item(tagItem(tag));
        json_.endList();
        addEnums(catalog.enums());
    }

    void addTag(const TagCatalog& catalog, const TagEntry& tag) override {
        addPath(catalog.path());
        json_.beginList("tags");
        json_.item(tagItem(tag));
        json_.endList();
        addEnums(tyktags::enumsOf({tag}));
    }

    void addTypes(const std::string& library, const std::vector<DebugType>& types) override {
        addPath(library);
        json_.beginList("types");
        for (const DebugType& type : types) json_.item(typeItem(type));
        json_.endList();
    }

private:
    void addPath(const std::string& path) {
        Json members = Json::object();
        addText(members, "path", path);
        json_.members(members);
    }

    void addEnums(const Enums& enums) {
        json_.beginList("enums");
        for (const auto& names : enums) json_.item(enumItem(*names));
        json_.endList();
    }

    JsonDocument& json_;
};

}  // namespace

std::unique_ptr<TagsReport> makeTagsReport(JsonDocument* json) {
    if (json) return std::make_unique<JsonTags>(*json);
    return std::make_unique<TextTags>();
}

std::string declarationOf(const DebugType& type) {
    if (type.file.empty()) return tyktree::escaped(type.unit);
    return fmt::format("{}:{}", tyktree::escaped(type.file), type.line);
}

}  // namespace tyksim
