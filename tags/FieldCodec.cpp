#include "tags/FieldCodec.h"

#include "core/Unaligned.h"
#include "tags/Digits.h"
#include "tags/NearestNames.h"
#include "tags/Words.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace tyktags {

namespace {

template <typename Number>
std::string shortest(Number number) {
    std::array<char, 64> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    return {digits.data(), result.ptr};
}

/// The number of a 32-bit float's shortest decimal form: 0.1, not 0.100000001490116. Its conversion
/// to float gives the same float.
double toShortestDouble(float number) {
    if (!std::isfinite(number)) return static_cast<double>(number);
    return std::strtod(shortest(number).c_str(), nullptr);
}

template <typename Number>
Value toValue(Number number) {
    if constexpr (std::is_same_v<Number, float>) {
        return toShortestDouble(number);
    } else if constexpr (std::is_same_v<Number, double>) {
        return number;
    } else if constexpr (std::is_signed_v<Number>) {
        return int64_t{number};
    } else {
        return uint64_t{number};
    }
}

void readReal(const char* text, char** end, float& number) {
    number = std::strtof(text, end);
}

void readReal(const char* text, char** end, double& number) {
    number = std::strtod(text, end);
}

// The exponent of a decimal, from its mark on: "e+16". 0 if there is none.
std::optional<int32_t> exponentIn(std::string_view text) {
    if (text.empty()) return 0;
    text.remove_prefix(text.substr(1, 1) == "+" ? 2 : 1);
    return parseDigits<int32_t>(text);
}

// The digits of a decimal that is whole, such as "4000.0" or "4e3"; else the text itself.
std::string wholeDigits(std::string_view text) {
    constexpr size_t kMostDigits = 20;  // of 64 bits
    const std::string_view sign = text.substr(0, text.substr(0, 1) == "-" ? 1 : 0);
    const std::string_view amount = text.substr(sign.size());
    const size_t mark = std::min(amount.find_first_of("eE"), amount.size());
    const size_t point = std::min(amount.find('.'), mark);
    const std::optional<int32_t> exponent = exponentIn(amount.substr(mark));
    std::string digits(amount.substr(0, point));
    if (point < mark) digits += amount.substr(point + 1, mark - point - 1);
    const bool isDecimal =
        exponent && !digits.empty() && digits.find_first_not_of("0123456789") == std::string::npos;
    if (!isDecimal) return std::string(text);
    const size_t first = digits.find_first_not_of('0');
    if (first == std::string::npos) return "0";
    const auto last = static_cast<int64_t>(digits.find_last_not_of('0'));
    const int64_t whole = static_cast<int64_t>(point) + *exponent;
    if (last >= whole || whole > static_cast<int64_t>(first + kMostDigits)) {
        return std::string(text);
    }
    digits.resize(static_cast<size_t>(whole), '0');
    return std::string(sign) + digits.substr(first);
}

template <typename Number>
std::optional<Number> parse(std::string_view text) {
    if constexpr (std::is_floating_point_v<Number>) {
        Number number{};
        const std::string copy(text);
        char* end = nullptr;
        errno = 0;
        readReal(copy.c_str(), &end, number);
        const bool overflows = errno == ERANGE && std::isinf(number);
        const bool isWhole = !copy.empty() && end == copy.c_str() + copy.size();
        if (!isWhole || overflows) return std::nullopt;
        return number;
    } else {
        const std::optional<Number> number = parseDigits<Number>(text);
        return number ? number : parseDigits<Number>(wholeDigits(text));
    }
}

// The range of whole numbers with this number of bits.
template <typename Number>
std::string wholeRange(uint32_t bits) {
    using Limits = std::numeric_limits<Number>;
    const uint32_t cut = 8 * sizeof(Number) - bits;
    return "a whole number from " + std::to_string(Limits::min() >> cut) + " to " +
           std::to_string(Limits::max() >> cut);
}

template <typename Number>
std::string numberRange(const TagField& field) {
    if constexpr (std::is_floating_point_v<Number>) {
        return "a number of at most " + shortest(std::numeric_limits<Number>::max());
    } else {
        const uint32_t width = field.bits.width;
        return wholeRange<Number>(width > 0 ? width : 8 * sizeof(Number));
    }
}

// Similar names, or else the enum's first names.
std::string adviceFor(const TagEnum& names, std::string_view text) {
    constexpr size_t kShown = 8;
    std::vector<std::string> all;
    for (const EnumValue& one : names.values()) all.push_back(one.name);
    const std::vector<std::string> nearest = nearestNames(text, all);
    if (!nearest.empty()) return "nearest: " + joinedByOr(nearest);
    const bool many = all.size() > kShown;
    if (many) all.resize(kShown);
    return names.name() + " has " + joinedByOr(all) + (many ? " and others" : "");
}

// The parts of "AUTO (1)"; any other text is a name.
struct NameAndNumber {
    std::string_view name;
    std::string_view number;  // "" if there is none
};

NameAndNumber partsOf(std::string_view text) {
    const size_t open = text.rfind(" (");
    if (open == std::string_view::npos || text.back() != ')') return {text, ""};
    return {text.substr(0, open), text.substr(open + 2, text.size() - open - 3)};
}

template <typename Number>
Problem refusal(const TagField& field, std::string_view text) {
    Problem problem{"", numberRange<Number>(field), quoted(text)};
    if (field.enumeration) {
        const std::string_view name = partsOf(text).name;
        const std::optional<WholeNumber> number = field.enumeration->numberOf(name);
        problem.expected += " or a name of " + field.enumeration->name();
        problem.reason = number ? "the number of " + quoted(name) + " is " + toText(*number)
                                : adviceFor(*field.enumeration, text);
    }
    return problem;
}

template <typename Number>
bool fitsBits(const TagField& field, Number number) {
    if constexpr (std::is_integral_v<Number>) {
        if (field.bits.width == 0) return true;
        const uint32_t cut = 8 * sizeof(Number) - field.bits.width;
        return number >= static_cast<Number>(std::numeric_limits<Number>::min() >> cut) &&
               number <= static_cast<Number>(std::numeric_limits<Number>::max() >> cut);
    } else {
        return true;
    }
}

// Parses a number or its name.
template <typename Number>
std::optional<Number> numberFrom(const TagField& field, std::string_view text) {
    std::optional<Number> number = parse<Number>(text);
    if (!number && field.enumeration) {
        const std::optional<WholeNumber> named = numberOf(*field.enumeration, text);
        if (named) number = parse<Number>(toText(*named));
    }
    if (number && !fitsBits(field, *number)) return std::nullopt;
    return number;
}

// Reads bits, the lowest first, beginning with bit `first` of the bytes.
uint64_t loadBits(const uint8_t* bytes, uint64_t first, uint32_t width) {
    uint64_t value = 0;
    for (uint32_t i = 0; i < width; ++i) {
        const uint64_t at = first + i;
        value |= uint64_t{(bytes[at / 8] >> (at % 8)) & 1U} << i;
    }
    return value;
}

void storeBits(uint8_t* bytes, uint64_t first, uint32_t width, uint64_t value) {
    for (uint32_t i = 0; i < width; ++i) {
        const uint64_t at = first + i;
        const auto bit = static_cast<uint8_t>(1U << (at % 8));
        const bool set = ((value >> i) & 1U) != 0;
        bytes[at / 8] = static_cast<uint8_t>(set ? bytes[at / 8] | bit : bytes[at / 8] & ~bit);
    }
}

// The number of a field of bits. Its type decides whether the highest bit is a sign.
template <typename Number>
Number loadBitField(const BitRange& bits, const uint8_t* bytes) {
    uint64_t value = loadBits(bytes, bits.offset, bits.width);
    const bool negative = std::is_signed_v<Number> && (value >> (bits.width - 1)) != 0;
    if (negative && bits.width < 64) value |= ~uint64_t{0} << bits.width;
    return static_cast<Number>(value);
}

template <typename Number>
Status encodeNumber(const TagField& field, std::string_view text, uint8_t* to) {
    const std::optional<Number> number = numberFrom<Number>(field, text);
    if (!number) return refusal<Number>(field, text);
    if (field.bits.width > 0) {
        storeBits(to, field.bits.offset, field.bits.width, static_cast<uint64_t>(*number));
    } else {
        storeNumber(to, *number);
    }
    return {};
}

// An element of a list, in quotation marks if a reader would misunderstand it without them.
std::string listed(const std::string& element) {
    const bool isPlain = element.find(',') == std::string::npos && element.substr(0, 1) != "\"";
    return isPlain ? element : marked(element);
}

// The elements of a list in the form of toText(); none if its quotation marks are wrong.
std::optional<std::vector<std::string>> elementsIn(std::string_view text) {
    std::vector<std::string> elements;
    while (true) {
        std::string& element = elements.emplace_back();
        size_t end = std::min(text.find(','), text.size());
        if (text.substr(0, 1) == "\"") {
            end = takeMarked(text, element);
        } else {
            element = text.substr(0, end);
        }
        if (end == text.size()) return elements;
        if (end == std::string_view::npos || text[end] != ',') return std::nullopt;
        text.remove_prefix(end + 1);
    }
}

Status encodeText(size_t most, std::string_view text, uint8_t* to) {
    if (text.size() > most) {
        return flaw("a text of at most " + std::to_string(most) + " bytes",
                    std::to_string(text.size()));
    }
    if (text.find('\0') != std::string_view::npos) return flaw("a text without NUL", "one with it");
    std::memset(to, 0, most);
    std::memcpy(to, text.data(), text.size());
    return {};
}

// The characters of one text.
uint32_t textLength(const TagField& field) {
    return field.dimensions.empty() ? 1 : field.dimensions.back();
}

// Bytes of one value.
size_t stride(const TagField& field) {
    return field.type == FieldType::text ? textLength(field) : bytesOf(field.type);
}

Status encodeValue(const TagField& field, std::string_view text, uint8_t* to) {
    return visitType(field.type, [&](auto zero) {
        using Element = decltype(zero);
        if constexpr (std::is_same_v<Element, char>) {
            return encodeText(textLength(field), text, to);
        } else {
            return encodeNumber<Element>(field, text, to);
        }
    });
}

// A number with its name in the field's enum.
Value named(const TagField& field, Value value) {
    if (!field.enumeration) return value;
    WholeNumber number;
    if (const auto* whole = std::get_if<int64_t>(&value)) number = WholeNumber::of(*whole);
    if (const auto* natural = std::get_if<uint64_t>(&value)) number = WholeNumber::of(*natural);
    return NamedNumber{number, std::string(field.enumeration->nameOf(number))};
}

// Decodes one value. `size` may be less than its bytes only for text.
Value decodeValue(const TagField& field, const uint8_t* from, size_t size) {
    return visitType(field.type, [&](auto zero) -> Value {
        using Element = decltype(zero);
        if constexpr (std::is_same_v<Element, char>) {
            const auto* const text = reinterpret_cast<const char*>(from);
            return std::string(text, strnlen(text, std::min<size_t>(size, textLength(field))));
        } else if constexpr (std::is_integral_v<Element>) {
            const bool isWhole = field.bits.width == 0;
            return named(field, toValue(isWhole ? loadNumber<Element>(from)
                                                : loadBitField<Element>(field.bits, from)));
        } else {
            return toValue(loadNumber<Element>(from));
        }
    });
}

}  // namespace

std::string toText(const Value& value) {
    if (const auto* number = std::get_if<int64_t>(&value)) return std::to_string(*number);
    if (const auto* number = std::get_if<uint64_t>(&value)) return std::to_string(*number);
    if (const auto* number = std::get_if<double>(&value)) return shortest(*number);
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    if (const auto* named = std::get_if<NamedNumber>(&value)) {
        const std::string number = toText(named->number);
        return named->name.empty() ? number : named->name + " (" + number + ")";
    }
    return "";
}

Value withoutName(const Value& value) {
    const auto* const named = std::get_if<NamedNumber>(&value);
    if (!named) return value;
    const WholeNumber& number = named->number;
    if (!number.negative) return number.magnitude;
    // Negates an unsigned number: negating the smallest signed number would overflow.
    return static_cast<int64_t>(0 - number.magnitude);
}

std::string toText(const std::vector<Value>& values) {
    if (values.size() == 1) return toText(values.front());
    std::string text;
    for (size_t i = 0; i < values.size(); ++i) {
        text.append(i > 0 ? "," : "").append(listed(toText(values[i])));
    }
    return text;
}

std::optional<double> toNumber(const Value& value) {
    if (const auto* number = std::get_if<int64_t>(&value)) return static_cast<double>(*number);
    if (const auto* number = std::get_if<uint64_t>(&value)) return static_cast<double>(*number);
    if (std::holds_alternative<NamedNumber>(value)) return toNumber(withoutName(value));
    const auto* const number = std::get_if<double>(&value);
    if (number && std::isfinite(*number)) return *number;
    return std::nullopt;
}

std::optional<int64_t> parseInteger(std::string_view text) {
    return parse<int64_t>(text);
}

std::optional<Value> parseNumber(std::string_view text) {
    if (const auto whole = parse<int64_t>(text)) return *whole;
    if (const auto natural = parse<uint64_t>(text)) return *natural;
    const bool isDecimal = text.find_first_not_of("+-.0123456789eE") == std::string_view::npos;
    const auto number = isDecimal ? parse<double>(text) : std::nullopt;
    return number ? std::optional<Value>(*number) : std::nullopt;
}

std::optional<float> parseFloat(std::string_view text) {
    return parse<float>(text);
}

std::optional<WholeNumber> numberOf(const TagEnum& names, std::string_view text) {
    const NameAndNumber parts = partsOf(text);
    const std::optional<WholeNumber> number = names.numberOf(parts.name);
    const bool agrees = number && toText(*number) == parts.number;
    return agrees ? number : names.numberOf(text);
}

bool holds(const TagField& field, const WholeNumber& number) {
    const std::string text = toText(number);
    return visitType(field.type, [&](auto zero) {
        using Element = decltype(zero);
        if constexpr (std::is_integral_v<Element> && !std::is_same_v<Element, char>) {
            const std::optional<Element> parsed = parse<Element>(text);
            return parsed && fitsBits(field, *parsed);
        } else {
            return false;
        }
    });
}

std::vector<Value> decodeField(const TagField& field, const uint8_t* bytes, size_t size) {
    std::vector<Value> values;
    if (field.offset >= size) return values;
    const uint8_t* const from = bytes + field.offset;
    const size_t rest = size - field.offset;
    if (field.bits.width > 0) {
        if (rest >= field.bytes()) values.push_back(decodeValue(field, from, rest));
        return values;
    }
    const size_t width = stride(field);
    // An incomplete text is a value too.
    const size_t there = field.type == FieldType::text ? (rest + width - 1) / width : rest / width;
    const size_t count = std::min<uint64_t>(field.values(), there);
    values.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        values.push_back(decodeValue(field, from + i * width, rest - i * width));
    }
    return values;
}

std::string shortfall(const TagField& field, uint64_t size) {
    const uint64_t rest = size - std::min<uint64_t>(size, field.offset);
    if (rest >= field.bytes()) return "";
    const uint64_t width = bytesOf(field.type);
    if (field.count() == 1 || rest < width) {
        return "the value ends before it, after " + counted(size, "byte", "bytes");
    }
    const char* const parts = field.type == FieldType::text ? " bytes" : " elements";
    return "the value ends after " + std::to_string(rest / width) + " of its " +
           std::to_string(field.count()) + parts;
}

Status encodeField(const TagField& field, std::string_view text, uint8_t* bytes, size_t size) {
    if (field.values() == 1) {
        return encodeField(field, std::vector<std::string>{std::string(text)}, bytes, size);
    }
    const auto elements = elementsIn(text);
    if (elements) return encodeField(field, *elements, bytes, size);
    return flaw("quotation marks around a text, and doubled ones in it", quoted(text));
}

Status encodeField(const TagField& field, const std::vector<std::string>& elements, uint8_t* bytes,
                   size_t size) {
    const uint64_t end = field.offset + field.bytes();
    if (end > size) {
        return flaw("a value of at least " + std::to_string(end) + " bytes", std::to_string(size));
    }
    uint8_t* to = bytes + field.offset;
    if (elements.size() != field.values()) {
        const bool isText = field.type == FieldType::text;
        return flaw(isText ? counted(field.values(), "text", "texts")
                           : counted(field.values(), "number", "numbers"),
                    std::to_string(elements.size()));
    }
    for (const std::string& element : elements) {
        Status status = encodeValue(field, element, to);
        if (!status.ok()) return status;
        to += stride(field);
    }
    return {};
}

}  // namespace tyktags
