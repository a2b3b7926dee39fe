// Reads and writes tag tables as XML files.
#include "tags/TagTable.h"

#include "tags/Digits.h"
#include "tags/NearestNames.h"
#include "tags/TableRules.h"
#include "tags/TableText.h"
#include "tags/TableXml.h"
#include "tags/Words.h"

#include <pugixml.hpp>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace tyktags {
namespace {

constexpr FieldType kTypes[] = {FieldType::u8,  FieldType::i8,  FieldType::u16, FieldType::i16,
                                FieldType::u32, FieldType::i32, FieldType::u64, FieldType::i64,
                                FieldType::f32, FieldType::f64, FieldType::text};

// Adds the place in the file to the problem.
Problem atPlace(const std::string& where, Problem problem) {
    problem.where = where;
    return problem;
}

// Adds the path to the problem.
Problem inFile(const std::string& path, Problem problem) {
    problem.path = path;
    return problem;
}

// Parses all of the text as an integer and stores it.
template <typename Number>
bool parseNumber(std::string_view text, Number& number, int base = 10) {
    const std::optional<Number> parsed = parseDigits<Number>(text, base);
    if (parsed) number = *parsed;
    return parsed.has_value();
}

bool parseId(std::string_view text, uint32_t& id) {
    const bool hexadecimal = text.substr(0, 2) == "0x";
    return hexadecimal ? parseNumber(text.substr(2), id, 16) : parseNumber(text, id);
}

bool parseKind(std::string_view text, TagKind& kind) {
    kind = text == nameOf(TagKind::block) ? TagKind::block : TagKind::fixed;
    return text == nameOf(kind);
}

bool parseType(std::string_view text, FieldType& type) {
    const auto* const found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                           [text](FieldType one) { return nameOf(one) == text; });
    if (found == std::end(kTypes)) return false;
    type = *found;
    return true;
}

// Parses "3x4".
bool parseDimensions(std::string_view text, std::vector<uint32_t>& dimensions) {
    while (true) {
        const size_t end = std::min(text.find('x'), text.size());
        if (!parseNumber(text.substr(0, end), dimensions.emplace_back())) return false;
        if (end == text.size()) return true;
        text.remove_prefix(end + 1);
    }
}

// A count of 1 means a single number, as tables of version 1 write it.
bool parseCount(std::string_view text, std::vector<uint32_t>& dimensions) {
    uint32_t count = 0;
    if (!parseNumber(text, count)) return false;
    dimensions.clear();
    if (count != 1) dimensions.push_back(count);
    return true;
}

// Parses "4:3", the lowest bit and the number of bits.
bool parseBits(std::string_view text, BitRange& bits) {
    const size_t colon = std::min(text.find(':'), text.size());
    return colon < text.size() && parseNumber(text.substr(0, colon), bits.offset) &&
           parseNumber(text.substr(colon + 1), bits.width) && bits.width > 0;
}

std::string allTypes() {
    std::string names;
    for (const FieldType type : kTypes)
        names.append(names.empty() ? "" : ", ").append(nameOf(type));
    return names;
}

// One attribute of an element, and the function that parses its value.
template <typename Part>
struct Attribute {
    std::string_view name;
    bool required;
    bool (*take)(std::string_view value, Part& part);
    const char* expected;  // of its value
};

// A field from its attributes.
struct FieldPart {
    TagField field;
    std::string enumName;
};

constexpr Attribute<TagEntry> kTagAttributes[] = {
    {"id", true, [](std::string_view value, TagEntry& tag) { return parseId(value, tag.id); },
     "an id from 1 to 4294967295, decimal or 0x and hexadecimal"},
    {"name", true,
     [](std::string_view value, TagEntry& tag) {
         tag.name = value;
         return true;
     },
     "a name"},
    {"size", true,
     [](std::string_view value, TagEntry& tag) { return parseNumber(value, tag.size); },
     "a size from 0 to 2147483647"},
    {"kind", true, [](std::string_view value, TagEntry& tag) { return parseKind(value, tag.kind); },
     R"(the kind "fixed" or "block")"}};

constexpr Attribute<FieldPart> kFieldAttributes[] = {
    {"name", true,
     [](std::string_view value, FieldPart& part) {
         part.field.name = value;
         return true;
     },
     "a name"},
    {"offset", true,
     [](std::string_view value, FieldPart& part) { return parseNumber(value, part.field.offset); },
     "an offset from 0 to 4294967295"},
    {"type", true,
     [](std::string_view value, FieldPart& part) { return parseType(value, part.field.type); },
     nullptr},  // allTypes() gives the text
    {"count", false,
     [](std::string_view value, FieldPart& part) {
         return parseCount(value, part.field.dimensions);
     },
     "a count from 1 to 4294967295"},
    {"dims", false,
     [](std::string_view value, FieldPart& part) {
         part.field.dimensions.clear();
         return parseDimensions(value, part.field.dimensions);
     },
     R"(dimensions such as "3x4")"},
    {"bits", false,
     [](std::string_view value, FieldPart& part) { return parseBits(value, part.field.bits); },
     R"(the lowest bit and the number of bits, such as "4:3")"},
    {"unit", false,
     [](std::string_view value, FieldPart& part) {
         part.field.unit = value;
         return true;
     },
     "a unit"},
    {"enum", false,
     [](std::string_view value, FieldPart& part) {
         part.enumName = value;
         return !value.empty();
     },
     "the name of an enum"}};

constexpr Attribute<EnumValue> kValueAttributes[] = {
    {"name", true,
     [](std::string_view value, EnumValue& one) {
         one.name = value;
         return true;
     },
     "a name"},
    {"number", true,
     [](std::string_view value, EnumValue& one) {
         const std::optional<WholeNumber> number = WholeNumber::parse(value);
         if (number) one.number = *number;
         return number.has_value();
     },
     "a whole number from -9223372036854775808 to 18446744073709551615"}};

constexpr Attribute<std::string> kEnumAttributes[] = {
    {"name", true,
     [](std::string_view value, std::string& name) {
         name = value;
         return true;
     },
     "a name"}};

template <typename Part, size_t count>
std::string namesOf(const Attribute<Part> (&attributes)[count]) {
    std::string names;
    for (size_t i = 0; i < count; ++i) {
        names.append(i == 0 ? "" : i + 1 < count ? ", " : " and ").append(attributes[i].name);
    }
    return (count == 1 ? "the attribute " : "the attributes ") + names +
           (count == 1 ? ", once" : ", each once");
}

// The document, and the lines of its parts.
class TableFile {
public:
    TableFile(TagTable& table, size_t most) : table_(table), most_(most) {}

    // Parses the file's text.
    void parse(const std::string& text);

private:
    std::string lineAt(std::ptrdiff_t offset) const;
    std::string lineOf(const pugi::xml_node& node) const { return lineAt(node.offset_debug()); }
    bool full() const { return table_.problems.size() >= most_; }
    bool isLater() const { return table_.version > kTableVersion; }
    void complain(const pugi::xml_node& node, Problem problem);
    void pass(const pugi::xml_node& node, const std::string& what);
    bool isElement(const pugi::xml_node& node, std::string_view name, const char* others = "");
    template <typename Part, size_t count>
    bool take(const pugi::xml_node& node, const Attribute<Part> (&attributes)[count], Part& part);
    template <typename Part>
    bool takeValue(const pugi::xml_node& node, const Attribute<Part>& attribute,
                   std::string_view value, Part& part);
    void parseVersion(const pugi::xml_node& root);
    void parseEnum(const pugi::xml_node& node);
    void parseTag(const pugi::xml_node& node);
    void parseField(const pugi::xml_node& node, std::vector<TagField>& fields);
    bool findEnum(const pugi::xml_node& node, FieldPart& part);

    TagTable& table_;
    size_t most_;
    TableRules rules_;
    std::map<std::string, std::shared_ptr<const TagEnum>, std::less<>> enums_;
    std::set<std::string> passed_;
    std::vector<std::ptrdiff_t> lineEnds_;
};

std::string TableFile::lineAt(std::ptrdiff_t offset) const {
    const auto line = std::lower_bound(lineEnds_.begin(), lineEnds_.end(), offset);
    return "line " + std::to_string(line - lineEnds_.begin() + 1);
}

void TableFile::complain(const pugi::xml_node& node, Problem problem) {
    table_.problems.push_back({atPlace(lineOf(node), std::move(problem))});
}

// Reports each ignored part of a later version once.
void TableFile::pass(const pugi::xml_node& node, const std::string& what) {
    constexpr size_t kMost = 100;
    if (passed_.size() >= kMost || !passed_.insert(what).second) return;
    table_.missed.push_back(
        {"", "nothing beyond version " + std::to_string(kTableVersion) + " of tag tables", what,
         "ignored", lineOf(node)});
}

// Whether the node is the element with the name. Adds a problem if it is not.
bool TableFile::isElement(const pugi::xml_node& node, std::string_view name, const char* others) {
    const bool element = node.type() == pugi::node_element;
    if (element && node.name() == name) return true;
    if (element && isLater()) {
        pass(node, "the element <" + std::string(node.name()) + ">");
    } else {
        complain(node, flaw("<" + std::string(name) + ">" + others,
                            quoted(*node.name() != '\0' ? node.name() : node.value())));
    }
    return false;
}

template <typename Part>
bool TableFile::takeValue(const pugi::xml_node& node, const Attribute<Part>& attribute,
                          std::string_view value, Part& part) {
    if (attribute.take(value, part)) return true;
    if (attribute.expected) {
        complain(node, flaw(attribute.expected, quoted(value)));
    } else if (isLater()) {
        pass(node, "fields of the type " + quoted(value));
    } else {
        complain(node, flaw("a type of " + allTypes(), quoted(value)));
    }
    return false;
}

// Parses a node's attributes. Returns false if one is missing or invalid, or has a value of a later
// version.
template <typename Part, size_t count>
bool TableFile::take(const pugi::xml_node& node, const Attribute<Part> (&attributes)[count],
                     Part& part) {
    bool taken = true;
    std::set<std::string_view> seen;
    for (const pugi::xml_attribute given : node.attributes()) {
        const auto* const known =
            std::find_if(std::begin(attributes), std::end(attributes),
                         [&given](const auto& one) { return one.name == given.name(); });
        const bool isKnown = known != std::end(attributes);
        if (!isKnown && isLater()) {
            pass(node, "the attribute " + quoted(given.name()) + " of <" + node.name() + ">");
        } else if (!isKnown || !seen.insert(known->name).second) {
            complain(node, flaw(namesOf(attributes), quoted(given.name())));
            taken = false;
        } else if (!takeValue(node, *known, given.value(), part)) {
            taken = false;
        }
    }
    for (const Attribute<Part>& one : attributes) {
        if (!one.required || seen.count(one.name) > 0) continue;
        complain(node, flaw("the attribute " + std::string(one.name), "none"));
        taken = false;
    }
    return taken;
}

void TableFile::parseVersion(const pugi::xml_node& root) {
    const pugi::xml_attribute version = root.attribute("version");
    if (!version) return;
    const std::string_view value = version.value();
    if (!parseNumber(value, table_.version) || table_.version == 0) {
        complain(root, flaw("a version from 1 to 4294967295", quoted(value)));
    }
}

void TableFile::parseEnum(const pugi::xml_node& node) {
    std::string name;
    if (!take(node, kEnumAttributes, name)) return;
    std::vector<EnumValue> values;
    for (const pugi::xml_node child : node.children()) {
        if (full()) return;
        EnumValue value;
        if (isElement(child, "value") && take(child, kValueAttributes, value)) {
            values.push_back(std::move(value));
        }
    }
    const auto names = std::make_shared<const TagEnum>(name, std::move(values));
    rules_.check(*names, lineOf(node), table_.problems);
    if (enums_.emplace(name, names).second) table_.enums.push_back(names);
}

bool TableFile::findEnum(const pugi::xml_node& node, FieldPart& part) {
    if (part.enumName.empty()) return true;
    const auto found = enums_.find(part.enumName);
    if (found != enums_.end()) {
        part.field.enumeration = found->second;
        return true;
    }
    std::vector<std::string> names;
    for (const auto& [name, one] : enums_) names.push_back(name);
    const std::vector<std::string> nearest = nearestNames(part.enumName, names);
    complain(node, flaw("the name of an enum in the table", quoted(part.enumName),
                        nearest.empty() ? "" : "nearest: " + joinedByOr(nearest)));
    return false;
}

// Reads one <field> and checks only its form.
void TableFile::parseField(const pugi::xml_node& node, std::vector<TagField>& fields) {
    FieldPart part;
    if (!isElement(node, "field") || !take(node, kFieldAttributes, part)) return;
    if (node.attribute("count") && node.attribute("dims")) {
        complain(node, flaw("count or dims", "both"));
    } else if (findEnum(node, part)) {
        fields.push_back(std::move(part.field));
    }
}

void TableFile::parseTag(const pugi::xml_node& node) {
    TagEntry tag{};
    const bool whole = take(node, kTagAttributes, tag);
    for (const pugi::xml_node child : node.children()) {
        if (full()) return;
        parseField(child, tag.fields);
    }
    if (!whole || full()) return;
    rules_.check(tag, lineOf(node), table_.problems);
    table_.tags.push_back(std::move(tag));
}

void TableFile::parse(const std::string& text) {
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', end + 1)) {
        lineEnds_.push_back(static_cast<std::ptrdiff_t>(end));
    }
    pugi::xml_document document;
    const pugi::xml_parse_result result =
        document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!result) {
        table_.problems.push_back(
            {atPlace(lineAt(result.offset), flaw("XML", "damage", result.description()))});
        return;
    }
    const pugi::xml_node root = document.document_element();
    if (root.name() != std::string_view("tags")) {
        complain(root, flaw("<tags>", quoted(root.name())));
        return;
    }
    parseVersion(root);
    // Enums come first, because a field may refer to one that follows in the file.
    for (const pugi::xml_node node : root.children("enum")) {
        if (!full()) parseEnum(node);
    }
    for (const pugi::xml_node node : root.children()) {
        if (full()) return;
        const bool isEnum = node.name() == std::string_view("enum");
        if (!isEnum && isElement(node, "tag", " or <enum>")) parseTag(node);
    }
}

uint32_t versionOf(const std::vector<TagEntry>& tags) {
    uint32_t version = 1;
    for (const TagEntry& tag : tags) {
        for (const TagField& field : tag.fields) version = std::max(version, versionOf(field));
    }
    return version;
}

std::string toXml(const std::vector<TagEntry>& tags,
                  const std::vector<std::shared_ptr<const TagEnum>>& enums) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("tags");
    const uint32_t version = versionOf(tags);
    if (version > 1) root.append_attribute("version").set_value(version);
    for (const auto& names : enums) appendEnum(root, *names);
    for (const TagEntry& tag : tags) {
        pugi::xml_node node = root.append_child("tag");
        node.append_attribute("id").set_value(tag.id);
        node.append_attribute("name").set_value(tag.name.c_str());
        node.append_attribute("size").set_value(tag.size);
        node.append_attribute("kind").set_value(nameOf(tag.kind));
        for (const TagField& field : tag.fields) appendField(node, field);
    }
    return savedText(document, pugi::format_default);
}

}  // namespace

const char* nameOf(TagKind kind) {
    return kind == TagKind::fixed ? "fixed" : "block";
}

std::vector<std::shared_ptr<const TagEnum>> enumsOf(const std::vector<TagEntry>& tags) {
    std::vector<std::shared_ptr<const TagEnum>> enums;
    std::set<const TagEnum*> seen;
    for (const TagEntry& tag : tags) {
        for (const TagField& field : tag.fields) {
            const auto& names = field.enumeration;
            if (names && seen.insert(names.get()).second) enums.push_back(names);
        }
    }
    return enums;
}

TagTable examineTagTable(const std::string& path, TableSource source, size_t most) {
    TagTable table;
    const Status status = readTableText(path, source, table.text);
    table.isRead = status.ok();
    if (status.ok()) {
        TableFile(table, most).parse(table.text);
    } else {
        table.problems.push_back({status.problem()});
    }
    if (table.problems.size() > most) table.problems.resize(most);
    for (Problem& problem : table.problems) problem.path = path;
    for (Problem& problem : table.missed) problem.path = path;
    return table;
}

Result<std::vector<TagEntry>> readTagTable(const std::string& path, TableSource source) {
    TagTable table = examineTagTable(path, source, 1);
    if (!table.problems.empty()) return Problem(table.problems.front());
    return std::move(table.tags);
}

Status writeTagTable(const std::string& path, const std::vector<TagEntry>& tags) {
    TableRules rules;
    std::vector<TableProblem> problems;
    const auto enums = enumsOf(tags);
    for (const auto& names : enums) {
        rules.check(*names, "enum " + quoted(names->name()), problems);
    }
    size_t number = 0;
    for (const TagEntry& tag : tags) {
        rules.check(tag, "entry " + std::to_string(++number), problems);
    }
    if (!problems.empty()) return inFile(path, problems.front());
    const Status status = writeTableText(path, toXml(tags, enums));
    return status.ok() ? status : inFile(path, status.problem());
}

}  // namespace tyktags
