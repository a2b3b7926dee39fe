#include "tree/check/TableCheck.h"

#include "records/SceneLayout.h"
#include "tags/FieldCodec.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

namespace tyktree {

namespace {

using tyktags::TableProblem;
using tyktags::TagEntry;
using tyktags::TagField;

constexpr size_t kListed = 8;         ///< items in one finding
constexpr uint32_t kEnumVersion = 2;  ///< of tag tables, the first with enums

/// A list of words in one line. A long list ends with the number of further words.
class List {
public:
    void add(const std::string& word) {
        if (count_++ < kListed) words_ += (words_.empty() ? "" : ", ") + word;
    }
    bool empty() const { return count_ == 0; }
    std::string text() const {
        if (count_ <= kListed) return words_;
        return words_ + " and " + std::to_string(count_ - kListed) + " more";
    }

private:
    std::string words_;
    size_t count_ = 0;
};

RuleId ruleOf(TableProblem::Kind kind) {
    switch (kind) {
        case TableProblem::Kind::beyond:
            return RuleId::kTableFieldBeyond;
        case TableProblem::Kind::repeated:
            return RuleId::kTableRepeated;
        case TableProblem::Kind::form:
            break;
    }
    return RuleId::kTableForm;
}

/// The place of a field, in bits of its tag's value.
struct Extent {
    uint64_t begin;
    uint64_t end;
    const TagField* field;

    bool operator<(const Extent& other) const {
        return begin != other.begin ? begin < other.begin : end > other.end;
    }
};

std::vector<Extent> extentsOf(const TagEntry& tag) {
    std::vector<Extent> extents;
    for (const TagField& field : tag.fields) {
        const uint64_t first = uint64_t{field.offset} * 8 + field.bits.offset;
        const uint64_t width = field.bits.width > 0 ? field.bits.width : field.bytes() * 8;
        extents.push_back({first, first + width, &field});
    }
    std::sort(extents.begin(), extents.end());
    return extents;
}

/// A range of bytes: "4 to 7".
std::string rangeText(uint64_t first, uint64_t end) {
    if (end == first + 1) return std::to_string(first);
    return std::to_string(first) + " to " + std::to_string(end - 1);
}

class TableChecker {
public:
    TableChecker(const std::string& path, FindingSink& sink) : path_(path), sink_(sink) {}

    void give(RuleId rule, std::string expected, std::string found) {
        sink_.add(makeFinding(rule, {}, {path_, std::move(expected), std::move(found)}));
    }
    void giveProblem(RuleId rule, const tyktags::Problem& problem);
    void checkTag(const TagEntry& tag);
    void checkEnums(const tyktags::TagTable& table);
    void checkVersion(const tyktags::TagTable& table);

private:
    void checkOverlaps(const TagEntry& tag, const std::vector<Extent>& extents);
    void checkGaps(const TagEntry& tag);
    void checkNames(const TagEntry& tag);
    void checkNumbers(const TagEntry& tag, const TagField& field);

    const std::string& path_;
    FindingSink& sink_;
};

/// Reports a problem of the file. Its place in the file precedes the found text.
void TableChecker::giveProblem(RuleId rule, const tyktags::Problem& problem) {
    tyktags::Problem placed = problem;
    if (!problem.where.empty()) placed.found = problem.where + ": " + problem.found;
    placed.where.clear();
    placed.path = path_;
    sink_.add(makeFinding(rule, {}, std::move(placed)));
}

/// Reports fields that begin inside an earlier field.
void TableChecker::checkOverlaps(const TagEntry& tag, const std::vector<Extent>& extents) {
    List overlaps;
    const Extent* widest = nullptr;
    for (const Extent& extent : extents) {
        if (widest && extent.begin < widest->end) {
            overlaps.add(extent.field->name + " with " + widest->field->name);
        }
        if (!widest || extent.end > widest->end) widest = &extent;
    }
    if (overlaps.empty()) return;
    give(RuleId::kTableOverlap, "fields of " + tag.name + " that share no bytes", overlaps.text());
}

void TableChecker::checkGaps(const TagEntry& tag) {
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    for (const TagField& field : fieldsOf(tag)) {
        ranges.emplace_back(field.offset, field.offset + field.bytes());
    }
    const auto size = static_cast<uint64_t>(tag.size);
    ranges.emplace_back(size, size);
    std::sort(ranges.begin(), ranges.end());
    List gaps;
    uint64_t reached = 0;
    uint64_t bytes = 0;
    for (const auto& [begin, end] : ranges) {
        if (begin > reached) {
            gaps.add(rangeText(reached, begin));
            bytes += begin - reached;
        }
        reached = std::max(reached, end);
    }
    if (gaps.empty()) return;
    give(RuleId::kTableGap, "fields for all " + std::to_string(size) + " bytes of " + tag.name,
         "none for " + std::to_string(bytes) + " of them: " + gaps.text());
}

/// Reports names that another field's element has too.
void TableChecker::checkNames(const TagEntry& tag) {
    for (size_t i = 0; i < tag.fields.size(); ++i) {
        const std::string& name = tag.fields[i].name;
        const size_t bracket = name.rfind('[');
        if (bracket == std::string::npos || name.back() != ']') continue;
        std::vector<TagField> others = tag.fields;
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
        if (!findField(others, name, tag.name).ok()) continue;
        give(RuleId::kTableShadowed, "a unique name for the field " + name + " of " + tag.name,
             "that of an element of another field");
    }
}

void TableChecker::checkNumbers(const TagEntry& tag, const TagField& field) {
    if (!field.enumeration || !tyktags::isWhole(field.type)) return;
    List beyond;
    for (const tyktags::EnumValue& value : field.enumeration->values()) {
        if (!tyktags::holds(field, value.number)) {
            beyond.add(value.name + " (" + toText(value.number) + ")");
        }
    }
    if (beyond.empty()) return;
    give(RuleId::kTableEnumRange,
         "numbers of " + field.enumeration->name() + " that " + tag.name + "." + field.name +
             " can hold",
         beyond.text());
}

void TableChecker::checkTag(const TagEntry& tag) {
    if (tag.size < 0) return;
    if (fieldsOf(tag).empty() && tag.size > 0) {
        give(RuleId::kTagOpaque, "fields of " + tag.name,
             "none for its " + std::to_string(tag.size) + " bytes");
        return;
    }
    checkOverlaps(tag, extentsOf(tag));
    checkGaps(tag);
    checkNames(tag);
    for (const TagField& field : tag.fields) checkNumbers(tag, field);
}

void TableChecker::checkEnums(const tyktags::TagTable& table) {
    std::set<const tyktags::TagEnum*> used;
    for (const TagEntry& tag : table.tags) {
        for (const TagField& field : tag.fields) used.insert(field.enumeration.get());
    }
    for (const auto& names : table.enums) {
        if (used.count(names.get()) > 0) continue;
        give(RuleId::kTableEnumUnused, "a field of the enum " + names->name(), "none");
    }
}

/// Names the parts that readers of the table's version refuse.
void TableChecker::checkVersion(const tyktags::TagTable& table) {
    List later;
    uint32_t version = table.version;
    for (const auto& names : table.enums) {
        if (table.version >= kEnumVersion) break;
        later.add("enum " + names->name());
        version = kEnumVersion;
    }
    for (const TagEntry& tag : table.tags) {
        for (const TagField& field : tag.fields) {
            const uint32_t needed = versionOf(field);
            if (needed <= table.version) continue;
            later.add(tag.name + "." + field.name);
            version = std::max(version, needed);
        }
    }
    if (later.empty()) return;
    give(RuleId::kTableVersionLow, "version=\"" + std::to_string(version) + "\" in <tags>",
         "version " + std::to_string(table.version) + " with " + later.text());
}

}  // namespace

void checkTable(const tyktags::TagTable& table, const std::string& path, FindingSink& sink) {
    TableChecker checker(path, sink);
    for (const TableProblem& problem : table.problems) {
        checker.giveProblem(ruleOf(problem.kind), problem);
    }
    for (const tyktags::Problem& missed : table.missed) {
        checker.giveProblem(RuleId::kTableVersion, missed);
    }
    checker.checkVersion(table);
    for (const TagEntry& tag : table.tags) checker.checkTag(tag);
    checker.checkEnums(table);
}

std::vector<TagField> fieldsOf(const TagEntry& tag) {
    if (tag.id != kSceneTag || !tag.fields.empty()) return tag.fields;
    std::vector<TagField> fields;
    for (const ::SceneField& field : kSceneFields) {
        fields.push_back({field.path, static_cast<uint32_t>(field.offset), field.type});
    }
    return fields;
}

}  // namespace tyktree
