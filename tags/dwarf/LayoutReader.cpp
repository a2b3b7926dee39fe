#include "tags/dwarf/LayoutReader.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace tyktags {

namespace {

constexpr uint64_t kMostElements = uint64_t{1} << 31;
constexpr uint64_t kMostBits = 64;  // of a number

std::string joined(const std::string& scope, std::string_view name) {
    return scope.empty() ? std::string(name) : scope + "." + std::string(name);
}

// Whether a member can have this name.
bool isIdentifier(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               c == '_' || c == '$' || static_cast<unsigned char>(c) >= 0x80;
    });
}

// Turns "roi[12].x" into "roi[].x", which means every element.
std::string withoutIndices(std::string_view name) {
    std::string result;
    bool index = false;
    for (const char c : name) {
        if (c == ']') index = false;
        if (!index) result += c;
        if (c == '[') index = true;
    }
    return result;
}

// The indices of an element: "[1][2]" for element 5 of three rows of three.
std::string indicesOf(uint64_t element, const std::vector<uint32_t>& dimensions) {
    std::string text;
    for (size_t i = dimensions.size(); i-- > 0;) {
        text.insert(0, "[" + std::to_string(element % dimensions[i]) + "]");
        element /= dimensions[i];
    }
    return text;
}

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

std::optional<FieldType> wholeType(uint64_t bytes, bool isNegative) {
    switch (bytes) {
        case 1:
            return isNegative ? FieldType::i8 : FieldType::u8;
        case 2:
            return isNegative ? FieldType::i16 : FieldType::u16;
        case 4:
            return isNegative ? FieldType::i32 : FieldType::u32;
        case 8:
            return isNegative ? FieldType::i64 : FieldType::u64;
        default:
            return std::nullopt;
    }
}

std::optional<FieldType> typeOfEncoding(uint64_t encoding, uint64_t bytes) {
    switch (encoding) {
        case DW_ATE_boolean:
        case DW_ATE_unsigned:
        case DW_ATE_unsigned_char:
        case DW_ATE_UTF:
            return wholeType(bytes, false);
        case DW_ATE_signed:
        case DW_ATE_signed_char:
            return wholeType(bytes, true);
        case DW_ATE_float:
            if (bytes == 4) return FieldType::f32;
            if (bytes == 8) return FieldType::f64;
            return std::nullopt;
        default:
            return std::nullopt;
    }
}

// The number of an enumerator, by its form.
std::optional<WholeNumber> enumerator(const Die& die) {
    Die copy = die;
    Dwarf_Attribute value{};
    if (!dwarf_attr(&copy, DW_AT_const_value, &value)) return std::nullopt;
    const unsigned form = dwarf_whatform(&value);
    // The other forms are for numbers that are not negative, whatever their highest bit is.
    if (form == DW_FORM_sdata || form == DW_FORM_implicit_const) {
        Dwarf_Sword number = 0;
        if (dwarf_formsdata(&value, &number) != 0) return std::nullopt;
        return WholeNumber::of(int64_t{number});
    }
    Dwarf_Word number = 0;
    if (dwarf_formudata(&value, &number) != 0) return std::nullopt;
    return WholeNumber::of(uint64_t{number});
}

// The number in a field of the type: its lowest bits.
WholeNumber asElement(const WholeNumber& number, FieldType type) {
    const uint64_t bits = number.negative ? 0 - number.magnitude : number.magnitude;
    return visitType(type, [bits](auto zero) {
        using Element = decltype(zero);
        if constexpr (std::is_floating_point_v<Element>) {
            return WholeNumber::of(bits);
        } else if constexpr (std::is_signed_v<Element>) {
            return WholeNumber::of(int64_t{static_cast<Element>(bits)});
        } else {
            return WholeNumber::of(uint64_t{static_cast<Element>(bits)});
        }
    });
}

std::vector<Die> enumeratorsOf(const Die& enumeration) {
    std::vector<Die> all;
    forEachIn(enumeration, [&all](const Die& child) {
        if (tagOf(child) == DW_TAG_enumerator) all.push_back(child);
        return true;
    });
    return all;
}

bool hasNegative(const Die& enumeration) {
    const std::vector<Die> all = enumeratorsOf(enumeration);
    return std::any_of(all.begin(), all.end(), [](const Die& one) {
        const std::optional<WholeNumber> number = enumerator(one);
        return number && number->negative;
    });
}

// The type of an enum's numbers, which compilers describe in different ways.
std::optional<FieldType> typeOfEnum(const Die& enumeration) {
    const std::optional<Die> declared = typeOf(enumeration);
    const std::optional<Die> number = declared ? strippedOf(*declared) : std::nullopt;
    const std::optional<uint64_t> bytes = sizeOf(number ? *number : enumeration);
    if (!bytes) return std::nullopt;
    std::optional<uint64_t> encoding = naturalOf(number ? *number : enumeration, DW_AT_encoding);
    if (!encoding) encoding = hasNegative(enumeration) ? DW_ATE_signed : DW_ATE_unsigned;
    return typeOfEncoding(*encoding, *bytes);
}

// The name of a base's type without its namespaces and template arguments.
std::string baseName(const Die& inheritance) {
    const std::optional<Die> declared = typeOf(inheritance);
    const std::optional<Die> type = declared ? strippedOf(*declared) : std::nullopt;
    const std::string_view whole = type ? nameOf(*type) : "";
    return std::string(whole.substr(0, whole.find('<')));
}

// What gives an enum its name: itself, or the typedef of an unnamed one.
Die namedOf(const Die& declared, const Die& enumeration) {
    Die named = enumeration;
    if (!nameOf(enumeration).empty()) return named;
    std::optional<Die> type = declared;
    for (int i = 0; i < kDeepest && type && isWrapper(tagOf(*type)); ++i) {
        if (tagOf(*type) == DW_TAG_typedef) named = *type;
        type = typeOf(*type);
    }
    return named;
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
    if (tag == DW_TAG_base_type || tag == DW_TAG_enumeration_type) {
        return number({type, {}, 1}, place);
    }
    leaveOut(place.name, kindOf(tag));
}

// Whether the place is in too many parts; the field is left out then.
bool LayoutReader::isTooDeep(const Place& place) {
    if (place.depth <= kDeepest) return false;
    leaveOut(place.name, "nested deeper than " + std::to_string(kDeepest) + " levels");
    return true;
}

void LayoutReader::members(const Die& type, Scope scope) {
    std::map<std::string, BaseCount> counts;
    visit(type, [&](const Die& child) {
        if (tagOf(child) == DW_TAG_inheritance) ++counts[baseName(child)].all;
    });
    Scope bases = scope;
    if (!counts.empty()) collectNames(type, Bases::kWithout, 0, bases.hidden);
    visit(type, [&](const Die& child) {
        switch (tagOf(child)) {
            case DW_TAG_inheritance:
                return base(child, numbered(baseName(child), counts), bases);
            case DW_TAG_member:
                return member(child, scope);
            case DW_TAG_variant_part:
                return leaveOut(joined(scope.place.name, "variants"), "a choice of variants");
            default:
                return;
        }
    });
}

// The next base's name, with its number if others have that name, as two of one template have.
std::string LayoutReader::numbered(const std::string& name,
                                   std::map<std::string, BaseCount>& counts) {
    BaseCount& count = counts[name];
    const uint32_t number = count.seen++;
    return count.all > 1 ? name + "[" + std::to_string(number) + "]" : name;
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
    const std::string place = joined(scope.place.name, name);
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
    const std::string name = joined(
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
        return leaveOut(joined(scope.place.name, "_vptr"), "a pointer to a virtual table");
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
    if (tag == DW_TAG_base_type || tag == DW_TAG_enumeration_type) return number(elements, place);
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
    const int tag = stripped ? tagOf(*stripped) : 0;
    const uint64_t bytes = stripped ? sizeOf(*stripped).value_or(0) : 0;
    std::optional<FieldType> number;
    if (tag == DW_TAG_enumeration_type) {
        number = typeOfEnum(*stripped);
    } else if (tag == DW_TAG_base_type) {
        number = typeOfEncoding(naturalOf(*stripped, DW_AT_encoding).value_or(0), bytes);
    }
    if (!number) {
        leaveOut(name, "a number of " + std::to_string(bytes) + " bytes that no field has (" +
                           std::string(stripped ? nameOf(*stripped) : "") + ")");
        return false;
    }
    field.type = *number;
    if (tag == DW_TAG_enumeration_type) field.enumeration = enumOf(type, *number, name);
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

std::shared_ptr<const TagEnum> LayoutReader::enumOf(const Die& type, FieldType number,
                                                    const std::string& member) {
    const std::optional<Die> enumeration = strippedOf(type);
    const auto known = enums_.find(enumeration->addr);
    if (known != enums_.end()) return known->second;
    std::vector<EnumValue> values;
    Names names;
    for (const Die& die : enumeratorsOf(*enumeration)) {
        const std::optional<WholeNumber> value = enumerator(die);
        const std::string name(nameOf(die));
        if (!value || !isIdentifier(name) || !isEnumValueName(name) || !names.insert(name).second)
            continue;
        values.push_back({name, asElement(*value, number)});
    }
    std::shared_ptr<const TagEnum> result;
    if (!values.empty()) {
        result = std::make_shared<TagEnum>(enumName(type, *enumeration, member), std::move(values));
    }
    enums_.emplace(enumeration->addr, result);
    return result;
}

std::string LayoutReader::enumName(const Die& declared, const Die& enumeration,
                                   const std::string& member) const {
    std::string name = nameEnum_(namedOf(declared, enumeration));
    // An unnamed enum without a typedef has the name of the first member of that type.
    if (name.empty()) name = layout_->type.name + "::" + withoutIndices(member);
    return name;
}

}  // namespace tyktags
