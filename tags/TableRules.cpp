#include "tags/TableRules.h"

#include "records/MfnrTuning.h"
#include "records/SceneLayout.h"
#include "replay/FixedOverrides.h"
#include "tags/Words.h"

#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace tyktags {

namespace {

bool hasOneOf(std::string_view text, std::string_view characters) {
    return text.find_first_of(characters) != std::string_view::npos;
}

using Kind = TableProblem::Kind;

// Collects the problems of one part of the table, with its place.
class Complaints {
public:
    Complaints(const std::string& place, std::vector<TableProblem>& problems)
        : place_(place), problems_(problems) {}

    // Adds a problem unless `fits`; returns `fits`.
    bool require(bool fits, const std::string& expected, const std::string& found,
                 Kind kind = Kind::form) {
        if (!fits) problems_.push_back({{"", expected, found, "", place_}, kind});
        return fits;
    }

    // Adds a problem if an earlier part has the same key.
    template <typename Key>
    void requireUnique(std::map<Key, std::string>& places, const Key& key, const char* expected,
                       const std::string& shown) {
        const auto [found, isNew] = places.emplace(key, place_);
        require(isNew, expected, shown + ", which " + found->second + " has", Kind::repeated);
    }

private:
    const std::string& place_;
    std::vector<TableProblem>& problems_;
};

// The size of a tag that the library itself writes; none for other tags.
std::optional<int32_t> ownSize(uint32_t id) {
    static const std::map<uint32_t, int32_t> kSizes{
        {kSceneTag, kSceneRecordBytes},
        {kMfnrTag, static_cast<int32_t>(kMfnrTableBytes)},
        {kOverrideSizeTag, static_cast<int32_t>(sizeof(kOverrideSize))},
        {kOverrideByteTag, static_cast<int32_t>(sizeof(kOverrideByte))}};
    const auto known = kSizes.find(id);
    if (known == kSizes.end()) return std::nullopt;
    return known->second;
}

bool checkDimensions(const TagField& field, Complaints& complaints) {
    const std::string of = " of the field " + quoted(field.name);
    if (!complaints.require(field.count() > 0, "a count from 1" + of, "0")) return false;
    return complaints.require(field.dimensions.size() <= kMostDimensions,
                              "at most " + std::to_string(kMostDimensions) + " dimensions" + of,
                              std::to_string(field.dimensions.size()));
}

bool checkBits(const TagField& field, Complaints& complaints) {
    if (field.bits.width == 0) return true;
    const uint32_t most = 8 * bytesOf(field.type);
    const bool fits = isWhole(field.type) && field.dimensions.empty() && field.bits.width <= most;
    return complaints.require(
        fits,
        isWhole(field.type)
            ? "bits of a single number, at most " + std::to_string(most) + " of them"
            : std::string("bits of a whole number"),
        std::to_string(field.bits.width) + " bits of the field " + quoted(field.name) +
            " of the type " + std::string(nameOf(field.type)));
}

void checkField(const TagEntry& tag, const TagField& field, Complaints& complaints) {
    const bool named = complaints.require(
        isFieldName(field.name),
        R"(a field's name such as "gain" or "roi[1].x", of words without '.', '[', ']' and NUL)",
        quoted(field.name));
    if (!named || !checkDimensions(field, complaints) || !checkBits(field, complaints)) return;
    complaints.require(!field.enumeration || isWhole(field.type),
                       "an enum of a field of whole numbers",
                       "one of the field " + quoted(field.name) + " of the type " +
                           std::string(nameOf(field.type)));
    const uint64_t end = field.offset + field.bytes();
    const std::string within = "the field " + quoted(field.name) + " within the tag's " +
                               std::to_string(tag.size) + " bytes";
    complaints.require(end <= static_cast<uint64_t>(tag.size), within,
                       std::to_string(field.offset) + " to " + std::to_string(end) +
                           (field.count() < kVeryMany ? "" : " or more"),
                       Kind::beyond);
}

void checkFields(const TagEntry& tag, Complaints& complaints) {
    std::set<std::string_view> names;
    for (const TagField& field : tag.fields) {
        checkField(tag, field, complaints);
        complaints.require(names.insert(field.name).second, "fields with unique names",
                           quoted(field.name) + " twice", Kind::repeated);
    }
}

void checkSize(const TagEntry& tag, Complaints& complaints) {
    const std::optional<int32_t> own = ownSize(tag.id);
    const bool fits = !own || (tag.kind == TagKind::fixed && tag.size == *own);
    complaints.require(
        fits,
        "the kind fixed and the size " + std::to_string(own.value_or(0)) + " of tag " +
            std::to_string(tag.id),
        (tag.kind == TagKind::fixed ? "fixed and " : "block and ") + std::to_string(tag.size));
}

}  // namespace

void TableRules::check(const TagEntry& tag, const std::string& place,
                       std::vector<TableProblem>& problems) {
    Complaints complaints(place, problems);
    complaints.require(tag.id != 0, "an id from 1 to 4294967295", "0");
    complaints.require(!tag.name.empty() && !hasOneOf(tag.name, std::string_view("/.\0", 3)),
                       "a name without '/', '.' and NUL", quoted(tag.name));
    if (complaints.require(tag.size >= 0, "a size from 0 to 2147483647",
                           std::to_string(tag.size))) {
        checkSize(tag, complaints);
        checkFields(tag, complaints);
    }
    complaints.requireUnique(idPlaces_, tag.id, "a unique id", std::to_string(tag.id));
    complaints.requireUnique(namePlaces_, tag.name, "a unique name", quoted(tag.name));
}

void TableRules::check(const TagEnum& names, const std::string& place,
                       std::vector<TableProblem>& problems) {
    Complaints complaints(place, problems);
    complaints.require(!names.name().empty(), "an enum's name", "\"\"");
    complaints.requireUnique(enumPlaces_, names.name(), "an enum with a unique name",
                             quoted(names.name()));
    std::set<std::string_view> taken;
    for (const EnumValue& value : names.values()) {
        complaints.require(isEnumValueName(value.name),
                           "a name without ',', '=' and NUL that does not begin as a number does",
                           quoted(value.name));
        complaints.require(taken.insert(value.name).second, "values with unique names",
                           quoted(value.name) + " twice in the enum " + quoted(names.name()),
                           Kind::repeated);
    }
}

}  // namespace tyktags
