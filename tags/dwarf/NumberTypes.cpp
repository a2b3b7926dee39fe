#include "tags/dwarf/NumberTypes.h"

#include "tags/dwarf/MemberNames.h"

#include <algorithm>
#include <set>
#include <type_traits>
#include <utility>

namespace tyktags {

namespace {

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
    const unsigned form = dwarf_whatform(dwarf_attr(&copy, DW_AT_const_value, &value));
    const auto whole = [](const auto& number) {
        return number ? std::optional(WholeNumber::of(*number)) : std::nullopt;
    };
    // The other forms are for numbers that are not negative, whatever their highest bit is.
    const bool isSigned = form == DW_FORM_sdata || form == DW_FORM_implicit_const;
    return isSigned ? whole(integerOf(die, DW_AT_const_value))
                    : whole(naturalOf(die, DW_AT_const_value));
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

std::vector<EnumValue> valuesOf(const Die& enumeration, FieldType number) {
    std::vector<EnumValue> values;
    std::set<std::string> names;
    for (const Die& die : enumeratorsOf(enumeration)) {
        const std::optional<WholeNumber> value = enumerator(die);
        const std::string name(nameOf(die));
        if (!value || !isIdentifier(name) || !isEnumValueName(name) || !names.insert(name).second)
            continue;
        values.push_back({name, asElement(*value, number)});
    }
    return values;
}

}  // namespace

bool isNumber(int tag) {
    return tag == DW_TAG_base_type || tag == DW_TAG_enumeration_type;
}

std::optional<FieldType> numberType(const Die& number) {
    if (tagOf(number) == DW_TAG_enumeration_type) return typeOfEnum(number);
    if (tagOf(number) != DW_TAG_base_type) return std::nullopt;
    return typeOfEncoding(naturalOf(number, DW_AT_encoding).value_or(0),
                          sizeOf(number).value_or(0));
}

std::shared_ptr<const TagEnum> EnumReader::read(const Die& declared, FieldType number,
                                                const std::string& otherwise) {
    const std::optional<Die> enumeration = strippedOf(declared);
    const auto known = enums_.find(enumeration->addr);
    if (known != enums_.end()) return known->second;
    std::vector<EnumValue> values = valuesOf(*enumeration, number);
    std::shared_ptr<const TagEnum> result;
    if (!values.empty()) {
        const std::string name = nameEnum_(namedOf(declared, *enumeration));
        result = std::make_shared<TagEnum>(name.empty() ? otherwise : name, std::move(values));
    }
    enums_.emplace(enumeration->addr, result);
    return result;
}

}  // namespace tyktags
