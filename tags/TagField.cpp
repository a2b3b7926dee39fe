#include "tags/TagField.h"

#include "tags/Digits.h"
#include "tags/NearestNames.h"
#include "tags/Words.h"

#include <algorithm>
#include <limits>
#include <type_traits>
#include <utility>

namespace tyktags {

namespace {

// In the order of FieldType.
constexpr std::string_view kTypeNames[] = {"u8",  "i8",  "u16", "i16", "u32", "i32",
                                           "u64", "i64", "f32", "f64", "char"};

uint64_t product(const std::vector<uint32_t>& factors) {
    uint64_t result = 1;
    for (const uint32_t factor : factors) {
        if (factor == 0) return 0;
        result = result > kVeryMany / factor ? kVeryMany : result * factor;
    }
    return result;
}

// Removes an index such as "[2]" from the end of `name` and returns it; none if there is no index.
std::optional<uint32_t> takeIndex(std::string_view& name) {
    const size_t open = name.rfind('[');
    if (open == std::string_view::npos || name.back() != ']') return std::nullopt;
    const auto index = parseDigits<uint32_t>(name.substr(open + 1, name.size() - open - 2));
    if (index) name = name.substr(0, open);
    return index;
}

// Removes an index of decimal digits such as "[1]" from the front of `rest`.
bool skipIndex(std::string_view& rest) {
    const size_t digits = rest.find_first_not_of("0123456789", 1);
    if (digits == 1 || digits == std::string_view::npos || rest[digits] != ']') return false;
    rest.remove_prefix(digits + 1);
    return true;
}

struct Indexed {
    std::string_view name;
    std::vector<uint32_t> indices;
};

// Every way to split a name into a shorter one and indices, the longest name first.
std::vector<Indexed> readings(std::string_view name) {
    std::vector<Indexed> result{{name, {}}};
    std::vector<uint32_t> indices;
    while (const std::optional<uint32_t> index = takeIndex(name)) {
        indices.insert(indices.begin(), *index);
        result.push_back({name, indices});
    }
    return result;
}

// The part of a field that indices select; none if it has no such part.
std::optional<TagField> partOf(const TagField& field, const std::vector<uint32_t>& indices,
                               std::string_view name) {
    const std::vector<uint32_t> shape = field.shape();
    if (indices.size() > shape.size()) return std::nullopt;
    TagField part = field;
    part.name = name;
    for (const uint32_t index : indices) {
        if (index >= part.dimensions.front()) return std::nullopt;
        part.dimensions.erase(part.dimensions.begin());
        part.offset += static_cast<uint32_t>(index * part.bytes());
    }
    return part;
}

std::string elementsText(const TagField& field) {
    const std::vector<uint32_t> shape = field.shape();
    if (shape.empty()) {
        return field.type == FieldType::text ? " is a text" : " is a single number";
    }
    if (shape.size() == 1) return " has the elements 0 to " + std::to_string(shape[0] - 1);
    std::string lengths, last;
    for (const uint32_t length : shape) {
        lengths += (lengths.empty() ? "" : " x ") + std::to_string(length);
        last += "[" + std::to_string(length - 1) + "]";
    }
    return " has " + lengths + " elements, the last is " + last;
}

std::string noSuchField(const std::vector<TagField>& fields, std::string_view name,
                        const std::string& owner) {
    if (fields.empty()) return "the tag table gives " + owner + " no fields";
    constexpr size_t kFew = 24;
    std::vector<std::string> names;
    names.reserve(fields.size());
    for (const TagField& field : fields) names.push_back(field.name);
    if (names.size() <= kFew) return owner + " has no such field; it has " + commaSeparated(names);
    const std::vector<std::string> nearest = nearestNames(name, names);
    return owner + " has no such field among its " + std::to_string(names.size()) +
           (nearest.empty() ? "" : "; nearest: " + commaSeparated(nearest));
}

}  // namespace

std::string_view nameOf(FieldType type) {
    return kTypeNames[static_cast<size_t>(type)];
}

bool isWhole(FieldType type) {
    return visitType(type, [](auto zero) {
        using Element = decltype(zero);
        return std::is_integral_v<Element> && !std::is_same_v<Element, char>;
    });
}

WholeNumber WholeNumber::of(int64_t number) {
    // Negates an unsigned number: negating the smallest signed number would overflow.
    const auto bits = static_cast<uint64_t>(number);
    return number < 0 ? WholeNumber{0 - bits, true} : WholeNumber{bits, false};
}

std::optional<WholeNumber> WholeNumber::parse(std::string_view text) {
    if (const auto natural = parseDigits<uint64_t>(text)) return of(*natural);
    if (const auto negative = parseDigits<int64_t>(text)) return of(*negative);
    return std::nullopt;
}

bool WholeNumber::operator<(const WholeNumber& other) const {
    if (negative != other.negative) return negative;
    return negative ? magnitude > other.magnitude : magnitude < other.magnitude;
}

std::string toText(const WholeNumber& number) {
    return (number.negative ? "-" : "") + std::to_string(number.magnitude);
}

TagEnum::TagEnum(std::string name, std::vector<EnumValue> values)
    : name_(std::move(name)), values_(std::move(values)), byNumber_(values_.size()) {
    for (size_t i = 0; i < byNumber_.size(); ++i) byNumber_[i] = i;
    std::stable_sort(byNumber_.begin(), byNumber_.end(),
                     [this](size_t a, size_t b) { return values_[a].number < values_[b].number; });
}

std::string_view TagEnum::nameOf(const WholeNumber& number) const {
    const auto found = std::lower_bound(
        byNumber_.begin(), byNumber_.end(), number,
        [this](size_t at, const WholeNumber& wanted) { return values_[at].number < wanted; });
    if (found == byNumber_.end() || !(values_[*found].number == number)) return "";
    return values_[*found].name;
}

std::optional<WholeNumber> TagEnum::numberOf(std::string_view name) const {
    const auto found = std::find_if(values_.begin(), values_.end(),
                                    [name](const EnumValue& one) { return one.name == name; });
    if (found == values_.end()) return std::nullopt;
    return found->number;
}

uint64_t TagField::count() const {
    return product(dimensions);
}

uint64_t TagField::bytes() const {
    if (bits.width > 0) return (uint64_t{bits.offset} + bits.width + 7) / 8;
    return bytesOf(type) * count();
}

std::vector<uint32_t> TagField::shape() const {
    std::vector<uint32_t> shape = dimensions;
    if (type == FieldType::text && !shape.empty()) shape.pop_back();
    return shape;
}

uint64_t TagField::values() const {
    return product(shape());
}

bool haveSameLayout(const TagField& a, const TagField& b) {
    return a.offset == b.offset && a.type == b.type && a.dimensions == b.dimensions &&
           a.bits == b.bits;
}

bool isSingle(const TagField& field) {
    return field.dimensions.size() <= (field.type == FieldType::text ? 1U : 0U);
}

uint64_t coveredBytes(const std::vector<TagField>& fields, uint64_t size) {
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    ranges.reserve(fields.size());
    for (const TagField& field : fields) {
        ranges.emplace_back(field.offset, std::min(size, field.offset + field.bytes()));
    }
    std::sort(ranges.begin(), ranges.end());
    uint64_t covered = 0;
    uint64_t reached = 0;
    for (const auto& [begin, end] : ranges) {
        if (end <= reached) continue;
        covered += end - std::max(begin, reached);
        reached = end;
    }
    return covered;
}

std::string elementName(const std::string& name, const std::vector<uint32_t>& shape,
                        uint64_t index) {
    std::string indices;
    for (size_t i = shape.size(); i > 0; --i) {
        indices.insert(0, "[" + std::to_string(index % shape[i - 1]) + "]");
        index /= shape[i - 1];
    }
    return name + indices;
}

bool isFieldName(std::string_view name) {
    while (true) {
        const size_t word = std::min(name.find_first_of(std::string_view(".[]\0", 4)), name.size());
        if (word == 0) return false;
        name.remove_prefix(word);
        while (!name.empty() && name[0] == '[') {
            if (!skipIndex(name)) return false;
        }
        if (name.empty()) return true;
        if (name[0] != '.') return false;
        name.remove_prefix(1);
    }
}

bool isEnumValueName(std::string_view name) {
    if (name.empty() || name.find_first_of(std::string_view(",=\0", 3)) != std::string_view::npos) {
        return false;
    }
    return std::string_view("0123456789+-. ").find(name[0]) == std::string_view::npos;
}

Result<TagField> findField(const std::vector<TagField>& fields, std::string_view name,
                           const std::string& owner) {
    std::string refusal;
    for (const Indexed& reading : readings(name)) {
        for (const TagField& field : fields) {
            if (field.name != reading.name) continue;
            if (std::optional<TagField> part = partOf(field, reading.indices, name)) return *part;
            if (refusal.empty()) refusal = owner + "." + field.name + elementsText(field);
        }
    }
    if (refusal.empty()) refusal = noSuchField(fields, name, owner);
    return Problem{"", "", "", std::move(refusal)};
}

}  // namespace tyktags
