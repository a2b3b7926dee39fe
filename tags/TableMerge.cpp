#include "tags/TableMerge.h"

#include "tags/NearestNames.h"
#include "tags/TableXml.h"
#include "tags/Words.h"
#include "tags/XmlText.h"

#include <pugixml.hpp>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace tyktags {

namespace {

using Kind = TableChange::Kind;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Whether a field of the table agrees with that of a layout. A layout has no units, and it may lack
// the names that people gave to numbers.
bool agrees(const TagField& ours, const TagField& theirs) {
    const bool sameEnum =
        !theirs.enumeration ||
        (ours.enumeration && ours.enumeration->name() == theirs.enumeration->name());
    return haveSameLayout(ours, theirs) && sameEnum;
}

// The values of an enum in one line.
std::string valuesOf(const TagEnum& names) {
    constexpr size_t kShown = 8;
    std::string text;
    for (size_t i = 0; i < names.values().size() && i < kShown; ++i) {
        const EnumValue& one = names.values()[i];
        text += (text.empty() ? "" : ", ") + one.name + "=" + toText(one.number);
    }
    return names.values().size() > kShown ? text + ", ..." : text;
}

// The table's text while layouts are merged into it.
class Merge {
public:
    Merge(const TagTable& table, bool replace)
        : table_(table), text_(table.text), replace_(replace) {
        if (text_.find("\r\n") != std::string::npos) newline_ = "\r\n";
    }

    Result<MergedTable> run(const std::vector<TagLayout>& layouts);

private:
    Status read();
    Result<const TagEntry*> entryOf(const TagLayout& layout) const;
    Status collectEnums(const TagLayout& layout);
    void mergeTag(const TagEntry& tag, const TagLayout& layout);
    void mergeField(const TagField& ours, const TagField& theirs, const std::string& name,
                    pugi::xml_node node);
    void removeField(pugi::xml_node node);
    void addFields(pugi::xml_node tag, const std::vector<const TagField*>& fields);
    void mergeEnums();
    void addEnum(const TagEnum& names);
    void raiseVersion();
    void use(const TagField& field);

    ElementText placeOf(pugi::xml_node node) const {
        return elementAt(text_, static_cast<size_t>(node.offset_debug()));
    }
    std::string indentAt(size_t at) const;
    size_t withoutBlanks(size_t begin, size_t end) const;

    const TagTable& table_;
    const std::string& text_;
    const bool replace_;
    std::string newline_ = "\n";
    pugi::xml_document document_;
    TextEdits edits_;
    std::vector<TableChange> changes_;
    // The enums of the layouts, and the names of those to which fields refer after merging.
    std::map<std::string, std::shared_ptr<const TagEnum>> enums_;
    std::set<std::string> usedEnums_;
    uint32_t version_ = 1;
};

Result<MergedTable> Merge::run(const std::vector<TagLayout>& layouts) {
    if (Status status = read(); !status.ok()) return status.problem();
    std::vector<const TagEntry*> entries;
    for (const TagLayout& layout : layouts) {
        const Result<const TagEntry*> entry = entryOf(layout);
        if (!entry.ok()) return entry.problem();
        entries.push_back(entry.value());
        if (Status status = collectEnums(layout); !status.ok()) return status.problem();
    }
    for (size_t i = 0; i < layouts.size(); ++i) mergeTag(*entries[i], layouts[i]);
    mergeEnums();
    raiseVersion();
    return MergedTable{edits_.apply(text_), std::move(changes_)};
}

Status Merge::read() {
    if (!table_.problems.empty()) return Problem(table_.problems.front());
    if (!table_.missed.empty()) return table_.missed.front();
    document_.load_buffer(text_.data(), text_.size(), pugi::parse_default, pugi::encoding_utf8);
    return {};
}

Result<const TagEntry*> Merge::entryOf(const TagLayout& layout) const {
    std::vector<std::string> names;
    for (const TagEntry& tag : table_.tags) {
        names.push_back(tag.name);
        if (tag.name != layout.tag) continue;
        if (static_cast<uint64_t>(tag.size) == layout.size) return &tag;
        return flaw(std::to_string(tag.size) + " bytes, the size of " + tag.name,
                    std::to_string(layout.size) + " bytes of " + layout.type,
                    "the type is another one, or of another build");
    }
    const std::vector<std::string> nearest = nearestNames(layout.tag, names);
    return flaw("a tag of the table", quoted(layout.tag),
                nearest.empty() ? "" : "nearest: " + joinedByOr(nearest));
}

Status Merge::collectEnums(const TagLayout& layout) {
    for (const TagField& field : layout.fields) {
        if (!field.enumeration) continue;
        const auto [known, isNew] = enums_.emplace(field.enumeration->name(), field.enumeration);
        if (isNew || known->second->values() == field.enumeration->values()) continue;
        return flaw("one enum " + known->first,
                    "two: " + valuesOf(*known->second) + " and " + valuesOf(*field.enumeration),
                    "import one of the types alone");
    }
    return {};
}

void Merge::use(const TagField& field) {
    version_ = std::max(version_, versionOf(field));
    if (field.enumeration) usedEnums_.insert(field.enumeration->name());
}

void Merge::mergeTag(const TagEntry& tag, const TagLayout& layout) {
    const pugi::xml_node node =
        document_.document_element().find_child_by_attribute("tag", "name", tag.name.c_str());
    std::map<std::string, pugi::xml_node> nodes;
    for (const pugi::xml_node field : node.children("field")) {
        nodes.emplace(field.attribute("name").value(), field);
    }
    std::map<std::string, const TagField*> ours;
    for (const TagField& field : tag.fields) ours.emplace(field.name, &field);

    std::vector<const TagField*> added;
    for (const TagField& theirs : layout.fields) {
        const std::string name = tag.name + "." + theirs.name;
        const auto found = ours.find(theirs.name);
        if (found == ours.end()) {
            added.push_back(&theirs);
            changes_.push_back({Kind::added, name, "", toXml(theirs)});
            use(theirs);
        } else {
            mergeField(*found->second, theirs, name, nodes[theirs.name]);
            ours.erase(found);
        }
    }
    for (const TagField& field : tag.fields) {
        if (ours.count(field.name) == 0) continue;
        changes_.push_back(
            {replace_ ? Kind::removed : Kind::kept, tag.name + "." + field.name, toXml(field), ""});
        if (replace_) removeField(nodes[field.name]);
    }
    if (!added.empty()) addFields(node, added);
}

void Merge::mergeField(const TagField& ours, const TagField& theirs, const std::string& name,
                       pugi::xml_node node) {
    if (agrees(ours, theirs)) return use(theirs);
    TagField merged = theirs;
    merged.unit = ours.unit;
    if (!merged.enumeration && isWhole(merged.type)) merged.enumeration = ours.enumeration;
    changes_.push_back({replace_ ? Kind::replaced : Kind::kept, name, toXml(ours), toXml(merged)});
    if (!replace_) return;
    const ElementText place = placeOf(node);
    edits_.replace(place.begin, place.end, toXml(merged));
    use(merged);
}

void Merge::removeField(pugi::xml_node node) {
    const ElementText place = placeOf(node);
    edits_.replace(withoutBlanks(0, place.begin), place.end, "");
}

void Merge::addFields(pugi::xml_node tag, const std::vector<const TagField*>& fields) {
    const ElementText place = placeOf(tag);
    const std::string outer = indentAt(place.begin);
    const pugi::xml_node first = tag.child("field");
    const size_t firstAt = first ? placeOf(first).begin : 0;
    const size_t line = text_.rfind('\n', firstAt);
    const bool ownLine = first && line != std::string::npos && withoutBlanks(line, firstAt) == line;
    const std::string inner = ownLine ? indentAt(firstAt) : outer + "  ";
    std::string added;
    for (const TagField* field : fields) added += newline_ + inner + toXml(*field);
    if (place.isEmpty) {
        const size_t end = withoutBlanks(place.begin, place.end - 2);
        edits_.replace(end, place.end, ">" + added + newline_ + outer + "</tag>");
        return;
    }
    const size_t at = withoutBlanks(place.contentBegin, place.contentEnd);
    const bool closes = text_.find('\n', at) < place.contentEnd;
    edits_.insert(at, added + (closes ? "" : newline_ + outer));
}

// The blanks before `at` if only blanks precede it on its line; else "".
std::string Merge::indentAt(size_t at) const {
    const size_t line = at == 0 ? 0 : text_.rfind('\n', at - 1) + 1;
    const std::string before = text_.substr(line, at - line);
    return std::all_of(before.begin(), before.end(), isBlank) ? before : "";
}

// Moves `end` back over the blanks before it.
size_t Merge::withoutBlanks(size_t begin, size_t end) const {
    while (end > begin && isBlank(text_[end - 1])) --end;
    return end;
}

void Merge::mergeEnums() {
    for (const std::string& name : usedEnums_) {
        const auto theirs = enums_.find(name);
        if (theirs == enums_.end()) continue;  // only the table has it
        const auto ours = std::find_if(table_.enums.begin(), table_.enums.end(),
                                       [&name](const auto& one) { return one->name() == name; });
        if (ours == table_.enums.end()) {
            addEnum(*theirs->second);
            changes_.push_back({Kind::added, "enum " + name, "", valuesOf(*theirs->second)});
        } else if ((*ours)->values() != theirs->second->values()) {
            changes_.push_back({replace_ ? Kind::replaced : Kind::kept, "enum " + name,
                                valuesOf(**ours), valuesOf(*theirs->second)});
            if (!replace_) continue;
            const ElementText place = placeOf(
                document_.document_element().find_child_by_attribute("enum", "name", name.c_str()));
            edits_.replace(place.begin, place.end,
                           toXml(*theirs->second, newline_ + indentAt(place.begin)));
        }
    }
}

// Adds an enum after the existing ones.
void Merge::addEnum(const TagEnum& names) {
    const pugi::xml_node root = document_.document_element();
    pugi::xml_node last;
    for (const pugi::xml_node one : root.children("enum")) last = one;
    const size_t at = last ? placeOf(last).end : placeOf(root).contentBegin;
    const std::string line = newline_ + indentAt(placeOf(root.first_child()).begin);
    edits_.insert(at, line + toXml(names, line));
}

// Raises the table's version to the one that has all of its contents.
void Merge::raiseVersion() {
    if (table_.version >= version_) return;
    const pugi::xml_node root = document_.document_element();
    const auto nameEnd = static_cast<size_t>(root.offset_debug()) + std::string_view("tags").size();
    const std::string version = "version=\"" + std::to_string(version_) + "\"";
    if (!root.attribute("version")) return edits_.insert(nameEnd, " " + version);
    const size_t at = attributeAt(text_, nameEnd, "version");
    const size_t quote = text_.find_first_of("\"'", at);
    edits_.replace(at, text_.find(text_[quote], quote + 1) + 1, version);
}

}  // namespace

Result<MergedTable> mergeLayouts(const TagTable& table, const std::vector<TagLayout>& layouts,
                                 bool replace) {
    return Merge(table, replace).run(layouts);
}

}  // namespace tyktags
