#include "tags/FieldCodec.h"

#include "core/Unaligned.h"

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

/// A 32-bit float as the number that its shortest decimal form says: 0.1, not 0.100000001490116. It
/// narrows to the same float.
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

template <typename Number>
std::optional<Number> parse(std::string_view text) {
    Number number{};
    if constexpr (std::is_floating_point_v<Number>) {
        const std::string copy(text);
        char* end = nullptr;
        errno = 0;
        readReal(copy.c_str(), &end, number);
        const bool overflows = errno == ERANGE && std::isinf(number);
        const bool isWhole = !copy.empty() && end == copy.c_str() + copy.size();
        if (!isWhole || overflows) return std::nullopt;
    } else {
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        if (error != std::errc() || stop != end) return std::nullopt;
    }
    return number;
}

template <typename Number>
std::string numberRange() {
    using Limits = std::numeric_limits<Number>;
    if constexpr (std::is_floating_point_v<Number>) {
        return "a number of at most " + shortest(Limits::max());
    } else {
        return "a whole number from " + std::to_string(Limits::min()) + " to " +
               std::to_string(Limits::max());
    }
}

Status flaw(std::string expected, std::string found) {
    return Problem{"", std::move(expected), std::move(found)};
}

template <typename Number>
Status encodeNumber(std::string_view text, uint8_t* to) {
    const std::optional<Number> number = parse<Number>(text);
    if (!number) return flaw(numberRange<Number>(), "\"" + std::string(text) + "\"");
    storeNumber(to, *number);
    return {};
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

template <typename Number>
Status encodeNumbers(const TagField& field, std::string_view text, uint8_t* to) {
    const std::vector<std::string_view> pieces = splitAtCommas(text);
    if (pieces.size() != field.count) {
        return flaw(std::to_string(field.count) + " numbers", std::to_string(pieces.size()));
    }
    for (const std::string_view piece : pieces) {
        const Status status = encodeNumber<Number>(piece, to);
        if (!status.ok()) return status;
        to += sizeof(Number);
    }
    return {};
}

Status encodeText(const TagField& field, std::string_view text, uint8_t* to) {
    if (text.size() > field.count) {
        return flaw("a text of at most " + std::to_string(field.count) + " bytes",
                    std::to_string(text.size()));
    }
    std::memset(to, 0, field.count);
    std::memcpy(to, text.data(), text.size());
    return {};
}

std::string bytesText(uint64_t count) {
    return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

}  // namespace

std::string toText(const Value& value) {
    if (const auto* number = std::get_if<int64_t>(&value)) return std::to_string(*number);
    if (const auto* number = std::get_if<uint64_t>(&value)) return std::to_string(*number);
    if (const auto* number = std::get_if<double>(&value)) return shortest(*number);
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    return "";
}

std::string toText(const std::vector<Value>& values) {
    std::string text;
    for (const Value& value : values) text += (text.empty() ? "" : ",") + toText(value);
    return text;
}

std::optional<double> toNumber(const Value& value) {
    if (const auto* number = std::get_if<int64_t>(&value)) return static_cast<double>(*number);
    if (const auto* number = std::get_if<uint64_t>(&value)) return static_cast<double>(*number);
    const auto* const number = std::get_if<double>(&value);
    if (number && std::isfinite(*number)) return *number;
    return std::nullopt;
}

std::optional<int64_t> parseInteger(std::string_view text) {
    return parse<int64_t>(text);
}

std::optional<float> parseFloat(std::string_view text) {
    return parse<float>(text);
}

bool isSingle(const TagField& field) {
    return field.count == 1 || field.type == FieldType::text;
}

std::vector<Value> decodeField(const TagField& field, const uint8_t* bytes, size_t size) {
    std::vector<Value> values;
    if (field.offset >= size) return values;
    const uint8_t* const from = bytes + field.offset;
    const size_t rest = size - field.offset;
    visitType(field.type, [&](auto zero) {
        using Element = decltype(zero);
        const size_t count = std::min<size_t>(field.count, rest / sizeof(Element));
        if constexpr (std::is_same_v<Element, char>) {
            const auto* const text = reinterpret_cast<const char*>(from);
            values.emplace_back(std::string(text, strnlen(text, count)));
        } else {
            values.reserve(count);
            for (size_t i = 0; i < count; ++i) {
                values.push_back(toValue(loadNumber<Element>(from + i * sizeof(Element))));
            }
        }
    });
    return values;
}

std::string shortfall(const TagField& field, std::optional<uint32_t> element, uint64_t size) {
    const uint64_t width = bytesOf(field.type);
    const uint64_t rest = size - std::min<uint64_t>(size, field.offset);
    const uint64_t wanted = width * (element ? uint64_t{*element} + 1 : field.count);
    if (rest >= wanted) return "";
    const bool isWhole = element || field.count == 1;
    if (isWhole || rest < width) return "the value ends before it, after " + bytesText(size);
    const char* const parts = field.type == FieldType::text ? " bytes" : " elements";
    return "the value ends after " + std::to_string(rest / width) + " of its " +
           std::to_string(field.count) + parts;
}

Status encodeField(const TagField& field, std::optional<uint32_t> element, std::string_view text,
                   uint8_t* bytes, size_t size) {
    const uint64_t end = field.offset + field.bytes();
    if (end > size) {
        return flaw("a value of at least " + std::to_string(end) + " bytes", std::to_string(size));
    }
    uint8_t* const to = bytes + field.offset;
    return visitType(field.type, [&](auto zero) {
        using Element = decltype(zero);
        if constexpr (std::is_same_v<Element, char>) {
            return encodeText(field, text, to);
        } else if (element) {
            return encodeNumber<Element>(text, to + *element * sizeof(Element));
        } else {
            return encodeNumbers<Element>(field, text, to);
        }
    });
}

}  // namespace tyktags
