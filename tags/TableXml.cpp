#include "tags/TableXml.h"

#include "tags/TagTable.h"

#include <string_view>
#include <utility>

namespace tyktags {

namespace {

// Receives the document's text. It is not a standard stream, because pugixml may be built with
// another standard library.
struct TextWriter final : pugi::xml_writer {
    void write(const void* data, size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }
    std::string text;
};

// The attribute for a field's dimensions and its value; "" if it needs none.
std::pair<const char*, std::string> writtenDimensions(const TagField& field) {
    const std::vector<uint32_t>& dimensions = field.dimensions;
    if (dimensions.empty()) return {"", ""};
    if (dimensions.size() == 1 && dimensions[0] != 1) {
        return {"count", std::to_string(dimensions[0])};
    }
    std::string text;
    for (const uint32_t length : dimensions) {
        text += (text.empty() ? "" : "x") + std::to_string(length);
    }
    return {"dims", text};
}

std::string replaceLineEnds(const std::string& text, const std::string& newLine) {
    std::string result;
    for (const char c : text) {
        if (c == '\n') {
            result += newLine;
        } else {
            result += c;
        }
    }
    return result;
}

}  // namespace

void appendField(pugi::xml_node tag, const TagField& field) {
    pugi::xml_node node = tag.append_child("field");
    const auto add = [&node](const char* name, const std::string& value) {
        if (!value.empty()) node.append_attribute(name).set_value(value.c_str());
    };
    add("name", field.name);
    add("offset", std::to_string(field.offset));
    add("type", std::string(nameOf(field.type)));
    const auto [attribute, dimensions] = writtenDimensions(field);
    add(attribute, dimensions);
    if (field.bits.width > 0) {
        add("bits", std::to_string(field.bits.offset) + ":" + std::to_string(field.bits.width));
    }
    add("unit", field.unit);
    if (field.enumeration) add("enum", field.enumeration->name());
}

void appendEnum(pugi::xml_node root, const TagEnum& names) {
    pugi::xml_node node = root.append_child("enum");
    node.append_attribute("name").set_value(names.name().c_str());
    for (const EnumValue& one : names.values()) {
        pugi::xml_node value = node.append_child("value");
        value.append_attribute("name").set_value(one.name.c_str());
        value.append_attribute("number").set_value(toText(one.number).c_str());
    }
}

std::string savedText(const pugi::xml_document& document, unsigned format) {
    TextWriter writer;
    document.save(writer, "  ", format, pugi::encoding_utf8);
    return std::move(writer.text);
}

std::string toXml(const TagField& field) {
    pugi::xml_document document;
    appendField(document, field);
    return savedText(document, pugi::format_raw | pugi::format_no_declaration);
}

std::string toXml(const TagEnum& names, const std::string& newLine) {
    pugi::xml_document document;
    appendEnum(document, names);
    std::string text = savedText(document, pugi::format_indent | pugi::format_no_declaration);
    text.pop_back();  // the end of the last line
    return replaceLineEnds(text, newLine);
}

uint32_t versionOf(const TagField& field) {
    const bool first = field.bits.width == 0 && field.unit.empty() && !field.enumeration &&
                       std::string_view(writtenDimensions(field).first) != "dims" &&
                       field.name.find_first_of(".[") == std::string::npos;
    return first ? 1 : kTableVersion;
}

}  // namespace tyktags
