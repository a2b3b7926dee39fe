#include "tags/dwarf/Die.h"

#include <limits>

namespace tyktags {

namespace {

bool attributeOf(const Die& die, unsigned attribute, Dwarf_Attribute& value) {
    Die copy = die;
    return dwarf_attr_integrate(&copy, attribute, &value) != nullptr;
}

std::optional<uint64_t> productOf(uint64_t a, uint64_t b) {
    if (b != 0 && a > std::numeric_limits<uint64_t>::max() / b) return std::nullopt;
    return a * b;
}

std::optional<uint64_t> arraySize(const Die& array, int depth) {
    const std::optional<Die> element = typeOf(array);
    if (!element) return std::nullopt;
    std::optional<uint64_t> size = sizeOf(*element, depth + 1);
    const bool whole = forEachIn(array, [&size](const Die& child) {
        if (tagOf(child) != DW_TAG_subrange_type) return true;
        const std::optional<uint64_t> length = lengthOf(child);
        size = size && length ? productOf(*size, *length) : std::nullopt;
        return size.has_value();
    });
    return whole ? size : std::nullopt;
}

}  // namespace

Problem dwarfDamage(const std::string& path) {
    return {path, "debug information", "damage", dwarf_errmsg(-1)};
}

int tagOf(const Die& die) {
    Die copy = die;
    return dwarf_tag(&copy);
}

std::string_view nameOf(const Die& die) {
    Die copy = die;
    const char* const name = dwarf_diename(&copy);
    return name ? name : "";
}

bool has(const Die& die, unsigned attribute) {
    Die copy = die;
    return dwarf_hasattr(&copy, attribute) != 0;
}

bool isSet(const Die& die, unsigned attribute) {
    Die copy = die;
    Dwarf_Attribute value{};
    bool set = false;
    return dwarf_attr(&copy, attribute, &value) && dwarf_formflag(&value, &set) == 0 && set;
}

std::optional<uint64_t> naturalOf(const Die& die, unsigned attribute) {
    Dwarf_Attribute value{};
    Dwarf_Word number = 0;
    if (!attributeOf(die, attribute, value) || dwarf_formudata(&value, &number) != 0) {
        return std::nullopt;
    }
    return number;
}

std::optional<int64_t> integerOf(const Die& die, unsigned attribute) {
    Dwarf_Attribute value{};
    Dwarf_Sword number = 0;
    if (!attributeOf(die, attribute, value) || dwarf_formsdata(&value, &number) != 0) {
        return std::nullopt;
    }
    return number;
}

std::optional<Die> referred(const Die& die, unsigned attribute) {
    Dwarf_Attribute value{};
    Die result{};
    if (!attributeOf(die, attribute, value) || !dwarf_formref_die(&value, &result)) {
        return std::nullopt;
    }
    return result;
}

std::optional<Die> typeOf(const Die& die) {
    std::optional<Die> type = referred(die, DW_AT_type);
    // The type is in another unit, under its signature.
    if (type && has(*type, DW_AT_signature)) {
        if (std::optional<Die> whole = referred(*type, DW_AT_signature)) return whole;
    }
    return type;
}

bool isWrapper(int tag) {
    switch (tag) {
        case DW_TAG_typedef:
        case DW_TAG_template_alias:
        case DW_TAG_const_type:
        case DW_TAG_volatile_type:
        case DW_TAG_restrict_type:
        case DW_TAG_atomic_type:
        case DW_TAG_packed_type:
        case DW_TAG_immutable_type:
        case DW_TAG_shared_type:
            return true;
        default:
            return false;
    }
}

bool hasMembers(int tag) {
    return tag == DW_TAG_structure_type || tag == DW_TAG_class_type || tag == DW_TAG_union_type;
}

std::optional<Die> strippedOf(Die type) {
    for (int i = 0; i < kDeepest; ++i) {
        if (!isWrapper(tagOf(type))) return type;
        const std::optional<Die> next = typeOf(type);
        if (!next) return std::nullopt;
        type = *next;
    }
    return std::nullopt;
}

std::optional<uint64_t> lengthOf(const Die& subrange) {
    if (const std::optional<uint64_t> count = naturalOf(subrange, DW_AT_count)) return count;
    const std::optional<uint64_t> last = naturalOf(subrange, DW_AT_upper_bound);
    if (!last) return std::nullopt;
    // For an empty array the last element is the one before the first.
    return *last + 1 - naturalOf(subrange, DW_AT_lower_bound).value_or(0);
}

std::optional<uint64_t> sizeOf(const Die& type, int depth) {
    const std::optional<Die> stripped = strippedOf(type);
    if (!stripped || depth > kDeepest) return std::nullopt;
    if (const auto bytes = naturalOf(*stripped, DW_AT_byte_size)) return bytes;
    if (const auto bits = naturalOf(*stripped, DW_AT_bit_size)) return *bits / 8 + (*bits % 8 != 0);
    if (tagOf(*stripped) == DW_TAG_array_type) return arraySize(*stripped, depth);
    return std::nullopt;
}

}  // namespace tyktags
