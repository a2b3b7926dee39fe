#include "tree/read/Values.h"

#include "core/Unaligned.h"
#include "tags/NearestNames.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <zlib.h>

namespace tyktree {

namespace {

using tyktags::TagField;

template <typename Number>
std::string shortest(Number number) {
    std::array<char, 64> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return {digits.data(), result.ptr};
}

/// A 32-bit float as the number that its shortest decimal form says: 0.1, not
/// 0.100000001490116. It narrows to the same float.
double asPeopleReadIt(float number) {
    if (!std::isfinite(number)) return static_cast<double>(number);
    return std::strtod(shortest(number).c_str(), nullptr);
}

Value decodeOne(FieldType type, const uint8_t* from) {
    switch (type) {
        case FieldType::u8:
            return uint64_t{*from};
        case FieldType::i8:
            return int64_t{loadNumber<int8_t>(from)};
        case FieldType::u16:
            return uint64_t{loadNumber<uint16_t>(from)};
        case FieldType::i16:
            return int64_t{loadNumber<int16_t>(from)};
        case FieldType::u32:
            return uint64_t{loadNumber<uint32_t>(from)};
        case FieldType::i32:
            return int64_t{loadNumber<int32_t>(from)};
        case FieldType::u64:
            return loadNumber<uint64_t>(from);
        case FieldType::i64:
            return loadNumber<int64_t>(from);
        case FieldType::f32:
            return asPeopleReadIt(loadNumber<float>(from));
        case FieldType::f64:
            return loadNumber<double>(from);
        case FieldType::text:
            break;
    }
    return std::monostate{};
}

template <typename Integer>
std::string encodeInteger(std::string_view text, uint8_t* to) {
    Integer number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc() && stop == end) {
        storeNumber(to, number);
        return "";
    }
    using Limits = std::numeric_limits<Integer>;
    return "expected a whole number from " + std::to_string(Limits::min()) + " to " +
           std::to_string(Limits::max()) + ", found \"" + std::string(text) + "\"";
}

template <typename Real>
std::string encodeReal(std::string_view text, uint8_t* to) {
    const std::string copy(text);
    char* end = nullptr;
    const double wide = std::strtod(copy.c_str(), &end);
    const auto number = static_cast<Real>(wide);
    // What is finite must stay so; inf and nan may be written out.
    const bool overflows = std::isinf(number) && copy.find_first_of("iI") == std::string::npos;
    if (!copy.empty() && end == copy.c_str() + copy.size() && !overflows) {
        storeNumber(to, number);
        return "";
    }
    return "expected a number of at most " + shortest(std::numeric_limits<Real>::max()) +
           ", found \"" + copy + "\"";
}

std::string encodeOne(FieldType type, std::string_view text, uint8_t* to) {
    switch (type) {
        case FieldType::u8:
            return encodeInteger<uint8_t>(text, to);
        case FieldType::i8:
            return encodeInteger<int8_t>(text, to);
        case FieldType::u16:
            return encodeInteger<uint16_t>(text, to);
        case FieldType::i16:
            return encodeInteger<int16_t>(text, to);
        case FieldType::u32:
            return encodeInteger<uint32_t>(text, to);
        case FieldType::i32:
            return encodeInteger<int32_t>(text, to);
        case FieldType::u64:
            return encodeInteger<uint64_t>(text, to);
        case FieldType::i64:
            return encodeInteger<int64_t>(text, to);
        case FieldType::f32:
            return encodeReal<float>(text, to);
        case FieldType::f64:
            return encodeReal<double>(text, to);
        case FieldType::text:
            break;
    }
    return "expected a number";
}

std::string encodeText(const TagField& field, std::string_view text, uint8_t* to) {
    if (text.size() > field.count) {
        return "expected a text of at most " + std::to_string(field.count) + " bytes, found " +
               std::to_string(text.size());
    }
    std::memset(to, 0, field.count);
    std::memcpy(to, text.data(), text.size());
    return "";
}

std::vector<std::string_view> splitAtCommas(std::string_view text) {
    std::vector<std::string_view> pieces;
    while (true) {
        const size_t comma = std::min(text.find(','), text.size());
        pieces.push_back(text.substr(0, comma));
        if (comma == text.size()) return pieces;
        text.remove_prefix(comma + 1);
    }
}

/// Takes "[2]" off the end of `name`.
std::optional<uint32_t> takeElement(std::string_view& name) {
    const size_t open = name.rfind('[');
    if (open == std::string_view::npos || name.back() != ']') return std::nullopt;
    const std::string_view digits = name.substr(open + 1, name.size() - open - 2);
    uint32_t element = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, element);
    if (error != std::errc() || stop != end) return std::nullopt;
    name = name.substr(0, open);
    return element;
}

std::string bytesText(uint64_t count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
    return text;
}

/// Every name that there is, to find the nearest among.
std::vector<std::string> allNames(const TagCatalog& catalog,
                                  const std::vector<std::string>& tagNames) {
    std::vector<std::string> names = tagNames;
    for (const tyktags::TagEntry& tag : catalog.tags()) {
        names.push_back(tag.name);
        for (const TagField& field : tag.fields) names.push_back(tag.name + "." + field.name);
    }
    for (const ::SceneField& field : kSceneFields) {
        names.emplace_back(findSceneField(field.leafName()) ? field.leafName() : field.path);
    }
    return names;
}

/// What is wrong with a field's name of a tag that is known.
std::string refusalOfField(std::string_view name, const tyktags::TagEntry& tag) {
    std::string_view fieldName = name.substr(name.find('.') + 1);
    const std::optional<uint32_t> element = takeElement(fieldName);
    std::vector<std::string> fields;
    for (const TagField& field : tag.fields) {
        fields.push_back(field.name);
        if (!element || field.name != fieldName) continue;
        if (field.type == FieldType::text) return tag.name + "." + field.name + " is a text";
        return tag.name + "." + field.name + " has the elements 0 to " +
               std::to_string(field.count - 1);
    }
    if (fields.empty()) return "the tag table gives " + tag.name + " no fields";
    return tag.name + " has no such field; it has " + joined(fields);
}

[[noreturn]] void refuseName(std::string_view name, const TagCatalog& catalog,
                             const std::vector<std::string>& tagNames) {
    std::vector<std::string> candidates;
    for (const ::SceneField& field : kSceneFields) {
        if (field.leafName() == name) candidates.emplace_back(field.path);
    }
    const std::string given = "\"" + std::string(name) + "\"";
    if (!candidates.empty()) {
        throw UnknownName(given + ": several fields have this name: " + joined(candidates));
    }
    const tyktags::TagEntry* const tag = catalog.byName(name.substr(0, name.find('.')));
    if (tag) throw UnknownName(given + ": " + refusalOfField(name, *tag));
    const std::vector<std::string> nearest =
        tyktags::nearestNames(name, allNames(catalog, tagNames));
    throw UnknownName(given + ": no tag, field or scene field of this name" +
                      (nearest.empty() ? "; `tyksim show` lists what a frame has"
                                       : "; nearest: " + joined(nearest)));
}

}  // namespace

std::string toText(const Value& value) {
    if (const auto* number = std::get_if<int64_t>(&value)) return std::to_string(*number);
    if (const auto* number = std::get_if<uint64_t>(&value)) return std::to_string(*number);
    if (const auto* number = std::get_if<double>(&value)) return shortest(*number);
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    return "";
}

std::optional<double> toNumber(const Value& value) {
    if (const auto* number = std::get_if<int64_t>(&value)) return static_cast<double>(*number);
    if (const auto* number = std::get_if<uint64_t>(&value)) return static_cast<double>(*number);
    const auto* const number = std::get_if<double>(&value);
    if (number && std::isfinite(*number)) return *number;
    return std::nullopt;
}

ValueName resolveName(std::string_view name, const TagCatalog& catalog,
                      const std::vector<std::string>& tagNames) {
    ValueName result;
    result.name = name;
    const size_t dot = std::min(name.find('.'), name.size());
    result.tagName = name.substr(0, dot);
    const tyktags::TagEntry* const tag = catalog.byName(result.tagName);
    if (tag) result.tag = tag->id;
    if (dot == name.size()) {
        const bool inTree =
            std::find(tagNames.begin(), tagNames.end(), result.tagName) != tagNames.end();
        if (tag || inTree) return result;
        result.scene = findSceneField(name);
        if (result.scene) return result;
    } else if (tag) {
        std::string_view fieldName = name.substr(dot + 1);
        result.element = takeElement(fieldName);
        for (const TagField& field : tag->fields) {
            if (field.name != fieldName) continue;
            const bool there =
                !result.element || (field.type != FieldType::text && *result.element < field.count);
            if (!there) break;
            result.field = &field;
            return result;
        }
    }
    refuseName(name, catalog, tagNames);
}

bool isSingle(const TagField& field) {
    return field.count == 1 || field.type == FieldType::text;
}

std::vector<Value> decodeField(const TagField& field, const uint8_t* bytes, size_t size) {
    std::vector<Value> values;
    if (field.offset >= size) return values;
    const size_t room = size - field.offset;
    const uint8_t* const from = bytes + field.offset;
    if (field.type == FieldType::text) {
        const size_t length = std::min<size_t>(field.count, room);
        const auto* const text = reinterpret_cast<const char*>(from);
        values.emplace_back(std::string(text, strnlen(text, length)));
        return values;
    }
    const size_t width = bytesOf(field.type);
    const size_t count = std::min<size_t>(field.count, room / width);
    for (size_t i = 0; i < count; ++i) values.push_back(decodeOne(field.type, from + i * width));
    return values;
}

std::string shortfall(const TagField& field, std::optional<uint32_t> element, uint64_t size) {
    const uint64_t width = bytesOf(field.type);
    const uint64_t room = size - std::min<uint64_t>(size, field.offset);
    const uint64_t wanted = width * (element ? uint64_t{*element} + 1 : field.count);
    if (room >= wanted) return "";
    const bool isWhole = element || field.count == 1;
    if (isWhole || room < width) return "the value ends before it, after " + bytesText(size);
    const char* const parts = field.type == FieldType::text ? " bytes" : " elements";
    return "the value ends after " + std::to_string(room / width) + " of its " +
           std::to_string(field.count) + parts;
}

std::string encodeField(const TagField& field, std::optional<uint32_t> element,
                        std::string_view text, uint8_t* bytes, size_t size) {
    const size_t width = bytesOf(field.type);
    if (field.offset + width * field.count > size) {
        return "expected a value of at least " +
               std::to_string(field.offset + width * field.count) + " bytes, found " +
               std::to_string(size);
    }
    uint8_t* const to = bytes + field.offset;
    if (field.type == FieldType::text) return encodeText(field, text, to);
    if (element) return encodeOne(field.type, text, to + *element * width);
    const std::vector<std::string_view> pieces = splitAtCommas(text);
    if (pieces.size() != field.count) {
        return "expected " + std::to_string(field.count) + " numbers, found " +
               std::to_string(pieces.size());
    }
    for (size_t i = 0; i < pieces.size(); ++i) {
        std::string wrong = encodeOne(field.type, pieces[i], to + i * width);
        if (!wrong.empty()) return wrong;
    }
    return "";
}

Value sceneValue(const ::SceneField& field, const SceneRecord& record) {
    const TagField layout{"", static_cast<uint32_t>(field.offset), field.type, 1};
    return decodeField(layout, record.bytes.data(), record.bytes.size()).front();
}

uint32_t checksum(const uint8_t* bytes, size_t size, uint32_t before) {
    return static_cast<uint32_t>(::crc32_z(before, bytes, size));
}

}  // namespace tyktree
