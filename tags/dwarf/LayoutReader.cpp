#include "tags/dwarf/LayoutReader.h"

#include "tags/dwarf/MemberNames.h"

#include <algorithm>
#include <utility>

namespace tyktags {

namespace {

constexpr uint64_t kMostElements = uint64_t{1} << 31;
constexpr uint64_t kMostBits = 64;  // of a number

const char* kindOf(int tag) {
    switch (tag) {
        case DW_TAG_pointer_type:
        case DW_TAG_unspecified_type:
            return "a pointer";
        case DW_TAG_reference_type:
        case DW_TAG_rvalue_reference_type:
            return "a reference";
        case DW_TAG_ptr_to_member_type:
            return "a pointer to a member";
        case DW_TAG_subroutine_type:
            return "a function";
        default:
            return "of a kind that no field has";
    }
}

// The offset in bytes of a member or base in its parent; none if it is computed.
std::optional<uint64_t> memberOffset(const Die& die) {
    if (!has(die, DW_AT_data_member_location)) {
        return naturalOf(die, DW_AT_data_bit_offset).value_or(0) / 8;
    }
    if (const auto offset = naturalOf(die, DW_AT_data_member_location)) return offset;
    Die copy = die;
    Dwarf_Attribute value{};
    Dwarf_Op* steps = nullptr;
    size_t count = 0;
    if (!dwarf_attr(&copy, DW_AT_data_member_location, &value) ||
        dwarf_getlocation(&value, &steps, &count) != 0 || count != 1 ||
        steps[0].atom != DW_OP_plus_uconst) {
        return std::nullopt;
    }
    return steps[0].number;
}

// The first bit of a bit-field, from the start of its parent.
std::optional<uint64_t> firstBit(const Die& die, const Die& type, uint64_t width) {
    if (const auto bit = naturalOf(die, DW_AT_data_bit_offset)) return bit;
    const std::optional<uint64_t> offset = memberOffset(die);
    if (!offset || *offset > kMostElements) return std::nullopt;
    const std::optional<int64_t> fromTop = integerOf(die, DW_AT_bit_offset);
    if (!fromTop) return *offset * 8;
    // Before version 4, bits count from the most significant bit of a storage unit.
    std::optional<uint64_t> unit = naturalOf(die, DW_AT_byte_size);
    if (!unit) unit = sizeOf(type);
    const int64_t top =
        static_cast<int64_t>((*offset + std::min<uint64_t>(unit.value_or(0), 8)) * 8);
    const int64_t bit = top - std::clamp<int64_t>(*fromTop, -64, 64) - static_cast<int64_t>(width);
    return bit < 0 ? std::nullopt : std::optional<uint64_t>(bit);
}

// Adds the lengths of an array; returns the reason if it has none, else null.
const char* addLengths(const Die& array, std::vector<uint32_t>& dimensions) {
    if (has(array, DW_AT_byte_stride) || has(array, DW_AT_bit_stride)) return "an array with gaps";
    const char* why = nullptr;
    forEachIn(array, [&](const Die& child) {
        if (tagOf(child) != DW_TAG_subrange_type) return true;
        const std::optional<uint64_t> length = lengthOf(child);
        if (!length || *length == 0) why = "an array without a fixed length";
        if (length && *length > kMostElements) why = "an array that is larger than its type";
        if (!why) dimensions.push_back(static_cast<uint32_t>(*length));
        return why == nullptr;
    });
    if (!why && dimensions.empty()) why = "an array without a fixed length";
    return why;
}

}  // namespace

template <typename Visit>
void LayoutReader::visit(const Die& parent, Visit visitOne) {
    const bool sound = forEachIn(parent, [&](const Die& child) {
        if (!budget_.take()) exhausted_ = true;
        if (!exhausted_) visitOne(child);
        return !exhausted_;
    });
    if (!sound) damaged_ = true;
}

Status LayoutReader::read(const Die& die, TypeLayout& layout) {
    layout_ = &layout;
    const std::optional<Die> type = strippedOf(die);
    const bool parts = type && hasMembers(tagOf(*type));
    value(die, {parts ? "" : "value", 0, 0});
    if (damaged_) return dwarfDamage("");
    if (exhausted_) {
        return Problem{"",
                       layout.type.name + " with at most " + std::to_string(kMostSteps) +
                           " members and fields in all its parts and " +
                           std::to_string(kMostFields) + " of them without a field",
                       "more"};
    }
    return {};
}

void LayoutReader::value(const Die& type, const Place& place) {
    if (!budget_.take()) exhausted_ = true;
    if (exhausted_ || isTooDeep(place)) return;
    const std::optional<Die> stripped = strippedOf(type);
    if (!stripped) return leaveOut(place.name, "of no type");
    const int tag = tagOf(*stripped);
    if (hasMembers(tag)) {
        const std::optional<Die> whole = definitionOf_(*stripped);
        if (!whole) return leaveOut(place.name, "of a type that is only declared");
        return members(*whole, {place, "", {}});
    }
    if (tag == DW_TAG_array_type) return array(type, place);
    if (isNumber(tag)) return number({type, {}, 1}, place);
    leaveOut(place.name, kindOf(tag));
}

// Whether the place is in too many parts; the field is left out then.
bool LayoutReader::isTooDeep(const Place& place) {
    if (place.depth <= kDeepest) return false;
    leaveOut(place.name, "nested deeper than " + std::to_string(kDeepest) + " levels");
    return true;
}

void LayoutReader::members(const Die& type, Scope scope) {
    BaseNames names;
    visit(type, [&](const Die& child) {
        if (tagOf(child) == DW_TAG_inheritance) names.count(child);
    });
    Scope bases = scope;
    if (!names.empty()) collectNames(type, Bases::kWithout, 0, bases.hidden);
    visit(type, [&](const Die& child) {
        switch (tagOf(child)) {
            case DW_TAG_inheritance:
                return base(child, names.next(child), bases);
            case DW_TAG_member:
                return member(child, scope);
            case DW_TAG_variant_part:
                return leaveOut(memberPath(scope.place.name, "variants"), "a choice of variants");
            default:
                return;
        }
    });
}

// Collects the names of members, including those in unnamed unions and structures.
void LayoutReader::collectNames(const Die& type, Bases bases, int depth, Names& names) {
    if (depth > kDeepest) return;  // These members are left out.
    visit(type, [&](const Die& child) {
        const int tag = tagOf(child);
        const bool isBase = tag == DW_TAG_inheritance && bases == Bases::kWith;
        if (tag != DW_TAG_member && !isBase) return;
        const std::string_view name = tag == DW_TAG_member ? nameOf(child) : "";
        if (!name.empty()) {
            names.emplace(name);
            return;
        }
        const std::optional<Die> declared = typeOf(child);
        const std::optional<Die> inner = declared ? strippedOf(*declared) : std::nullopt;
        if (inner && hasMembers(tagOf(*inner))) collectNames(*inner, bases, depth + 1, names);
    });
}

void LayoutReader::base(const Die& die, const std::string& name, Scope& scope) {
    const std::optional<Die> declared = typeOf(die);
    const std::optional<Die> type = declared ? strippedOf(*declared) : std::nullopt;
    const std::string place = memberPath(scope.place.name, name);
    if (naturalOf(die, DW_AT_virtuality).value_or(0) != 0) return leaveOut(place, "a virtual base");
    const std::optional<uint64_t> offset = memberOffset(die);
    if (!offset) return leaveOut(place, "at a place that is computed");
    const std::optional<Die> definition = type ? definitionOf_(*type) : std::nullopt;
    if (!definition) return leaveOut(place, "of a type that is only declared");
    if (isTooDeep({place, 0, scope.place.depth + 1})) return;
    Scope inner = scope;
    inner.place.offset += *offset;
    ++inner.place.depth;
    inner.bases += name + ".";
    members(*definition, inner);
    collectNames(*definition, Bases::kWith, 0, scope.hidden);
}

void LayoutReader::member(const Die& die, const Scope& scope) {
    // Static members are not part of the value.
    if (isSet(die, DW_AT_external) || isSet(die, DW_AT_declaration)) return;
    const std::string_view own = nameOf(die);
    const std::string name = memberPath(
        scope.place.name, (scope.hidden.count(own) > 0 ? scope.bases : "") + std::string(own));
    const std::optional<Die> type = typeOf(die);
    if (!type) return leaveOut(name, "of no type");
    const std::optional<uint64_t> offset = memberOffset(die);
    if (!offset) return leaveOut(name, "at a place that is computed");
    const Place place{name, scope.place.offset + *offset, scope.place.depth + 1};
    if (own.empty()) {
        const std::optional<Die> inner = strippedOf(*type);
        if (!inner || !hasMembers(tagOf(*inner)) || isTooDeep(place)) return;
        Scope same = scope;
        same.place.offset = place.offset;
        same.place.depth = place.depth;
        return members(*inner, same);
    }
    if (own.substr(0, 5) == "_vptr") {
        return leaveOut(memberPath(scope.place.name, "_vptr"), "a pointer to a virtual table");
    }
    if (!isIdentifier(own)) return leaveOut(name, "of a name that no field has");
    if (has(die, DW_AT_bit_size)) return bitField(die, *type, scope.place, name);
    value(*type, place);
}

void LayoutReader::array(const Die& type, const Place& place) {
    Elements elements{type, {}, 1};
    std::optional<Die> inner = strippedOf(type);
    for (int i = 0; inner && tagOf(*inner) == DW_TAG_array_type; ++i) {
        const char* const why =
            i < kDeepest ? addLengths(*inner, elements.dimensions) : "an array of arrays";
        if (why) return leaveOut(place.name, why);
        // Compilers pad a vector to a power of two, so the vectors of an array may lie apart.
        const uint32_t last = elements.dimensions.back();
        if (i > 0 && has(*inner, DW_AT_GNU_vector) && (last & (last - 1)) != 0) {
            return leaveOut(place.name, "an array of vectors with gaps");
        }
        const std::optional<Die> next = typeOf(*inner);
        if (!next) return leaveOut(place.name, "of no type");
        elements.type = *next;
        inner = strippedOf(*next);
    }
    for (const uint32_t length : elements.dimensions) {
        elements.count = std::min(elements.count * length, kMostElements);
    }
    if (inner && hasMembers(tagOf(*inner))) return structures(elements, place);
    const int tag = inner ? tagOf(*inner) : 0;
    if (isNumber(tag)) return number(elements, place);
    leaveOut(place.name + "[]", inner ? kindOf(tag) : "of no type");
}

void LayoutReader::structures(const Elements& elements, const Place& place) {
    const std::optional<Die> stripped = strippedOf(elements.type);
    const std::optional<Die> whole = stripped ? definitionOf_(*stripped) : std::nullopt;
    const std::optional<uint64_t> size = whole ? sizeOf(*whole) : std::nullopt;
    if (!size) return leaveOut(place.name + "[]", "of a type that is only declared");
    if (*size > 0 && elements.count > layout_->type.size / *size) {
        return leaveOut(place.name, "an array that is larger than its type");
    }
    const std::string firstName = place.name + indicesOf(0, elements.dimensions);
    const size_t first = layout_->fields.size();
    value(*whole, {firstName, place.offset, place.depth + 1});
    const size_t each = layout_->fields.size() - first;
    if (each == 0) return;
    if (elements.count > (kMostFields - first) / each) {
        dropFields(first);
        return leaveOut(place.name, "an array of " + std::to_string(elements.count) +
                                        " structures, too many for the " +
                                        std::to_string(kMostFields) + " fields of a type");
    }
    for (uint64_t i = 1; i < elements.count; ++i) {
        const std::string name = place.name + indicesOf(i, elements.dimensions);
        for (size_t one = first; one < first + each; ++one) {
            TagField field = layout_->fields[one];
            field.name.replace(0, firstName.size(), name);
            const uint64_t offset = field.offset + i * *size;
            add(std::move(field), offset);
        }
    }
}

// Drops the fields from number `first` on.
void LayoutReader::dropFields(size_t first) {
    std::vector<TagField>& fields = layout_->fields;
    for (size_t i = first; i < fields.size(); ++i) names_.erase(fields[i].name);
    fields.resize(first);
}

void LayoutReader::number(const Elements& elements, const Place& place) {
    TagField field;
    field.name = place.name;
    field.dimensions = elements.dimensions;
    if (!typeOfNumber(elements.type, place.name, field)) return;
    const std::optional<Die> type = strippedOf(elements.type);
    // The name "char" distinguishes text from numbers.
    if (!elements.dimensions.empty() && nameOf(*type) == "char") field.type = FieldType::text;
    add(std::move(field), place.offset);
}

bool LayoutReader::typeOfNumber(const Die& type, const std::string& name, TagField& field) {
    const std::optional<Die> stripped = strippedOf(type);
    const std::optional<FieldType> number = stripped ? numberType(*stripped) : std::nullopt;
    if (!number) {
        const uint64_t bytes = stripped ? sizeOf(*stripped).value_or(0) : 0;
        leaveOut(name, "a number of " + std::to_string(bytes) + " bytes that no field has (" +
                           std::string(stripped ? nameOf(*stripped) : "") + ")");
        return false;
    }
    field.type = *number;
    if (tagOf(*stripped) == DW_TAG_enumeration_type) {
        // An unnamed enum without a typedef has the name of the first member of that type.
        const std::string otherwise = layout_->type.name + "::" + withoutIndices(name);
        field.enumeration = enums_.read(type, *number, otherwise);
    }
    return true;
}

void LayoutReader::bitField(const Die& die, const Die& type, const Place& scope,
                            const std::string& name) {
    const uint64_t width = naturalOf(die, DW_AT_bit_size).value_or(0);
    if (width == 0) return;
    TagField field;
    field.name = name;
    if (!typeOfNumber(type, name, field)) return;
    const std::optional<uint64_t> first = firstBit(die, type, width);
    const uint64_t typeBits = uint64_t{bytesOf(field.type)} * 8;
    if (!first || !isWhole(field.type) || width > typeBits) {
        return leaveOut(name, "a bit-field of a kind that no field has");
    }
    // Uses the storage unit of its type if it lies in one.
    uint64_t start = *first / typeBits * typeBits;
    if (*first - start + width > typeBits) start = *first / 8 * 8;
    const uint64_t bit = *first - start;
    if (bit + width > kMostBits) return leaveOut(name, "a bit-field across nine bytes");
    const bool whole = bit == 0 && width == typeBits;
    if (!whole) field.bits = {static_cast<uint32_t>(bit), static_cast<uint32_t>(width)};
    add(std::move(field), scope.offset + start / 8);
}

void LayoutReader::add(TagField field, uint64_t offset) {
    if (!budget_.take()) exhausted_ = true;
    if (exhausted_) return;
    if (layout_->fields.size() >= kMostFields) {
        return leaveOut(field.name,
                        "beyond the " + std::to_string(kMostFields) + " fields of a type");
    }
    if (field.dimensions.size() > kMostDimensions) {
        return leaveOut(field.name, "an array of " + std::to_string(field.dimensions.size()) +
                                        " dimensions; a field has at most " +
                                        std::to_string(kMostDimensions));
    }
    const uint64_t size = layout_->type.size;
    if (offset > size || field.bytes() > size - offset) {
        return leaveOut(field.name,
                        "beyond the " + std::to_string(size) + " bytes of " + layout_->type.name);
    }
    // Damage may take the name of a base, which is a part of the field's.
    if (!isFieldName(field.name)) return leaveOut(field.name, "of a name that no field has");
    if (!names_.insert(field.name).second) return leaveOut(field.name, "of a name that is taken");
    field.offset = static_cast<uint32_t>(offset);
    layout_->fields.push_back(std::move(field));
}

void LayoutReader::leaveOut(const std::string& name, const std::string& what) {
    const std::string everywhere = withoutIndices(name);
    if (!leftOut_.insert(everywhere).second) return;
    if (leftOut_.size() > kMostFields) exhausted_ = true;
    layout_->leftOut.push_back({everywhere, what});
}

}  // namespace tyktags
