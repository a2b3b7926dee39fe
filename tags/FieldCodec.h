// Decodes the values of fields from bytes, and converts them to text and back.
//
// Threads: any. Errors: std::bad_alloc.
#pragma once

#include "tags/Problem.h"
#include "tags/TagTable.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tyktags {

/// A number of a field with an enum.
struct NamedNumber {
    WholeNumber number;
    std::string name;  ///< "" if the enum has none for the number

    bool operator==(const NamedNumber& other) const {
        return number == other.number && name == other.name;
    }
};

/// A number, a text, or nothing. Integers are exact; a 32-bit float is the number of its shortest
/// decimal form.
using Value = std::variant<std::monostate, int64_t, uint64_t, double, std::string, NamedNumber>;

/// Integers in decimal, floats in the shortest form that gives the same float again, text
/// unchanged, and a number with a name as "AUTO (1)". "" for nothing.
std::string toText(const Value& value);

/// The number of a value with a name; any other value unchanged.
Value withoutName(const Value& value);

/// The texts of all elements, separated by commas. If there are several, an element that has a
/// comma or begins with a quotation mark is in quotation marks, and its own marks are doubled.
std::string toText(const std::vector<Value>& values);

/// The value as a number; none for text, nothing, infinity and NaN.
std::optional<double> toNumber(const Value& value);

/// Parses all of `text` as a whole number in decimal, such as "4000", "4000.0" or "4e3"; none for
/// another text or a number out of range.
std::optional<int64_t> parseInteger(std::string_view text);

/// Parses all of `text` as a finite decimal number by the thread's locale. Whole numbers of up to
/// 64 bits are exact. None for another text or a number beyond the range of a double.
std::optional<Value> parseNumber(std::string_view text);

/// Parses all of `text` as the nearest float, including "inf" and "nan", by the thread's locale.
/// None for another text or a number out of range.
std::optional<float> parseFloat(std::string_view text);

/// The number of a name, which may have the form of toText(): "AUTO (1)"; none for an unknown name
/// and for a name with the number of another.
std::optional<WholeNumber> numberOf(const TagEnum& names, std::string_view text);

/// Whether the number is in the range of a field of whole numbers.
bool holds(const TagField& field, const WholeNumber& number);

/// The values of a field in a value's bytes, row by row; fewer if the bytes end early (see
/// shortfall()).
std::vector<Value> decodeField(const TagField& field, const uint8_t* bytes, size_t size);

/// A text about the part of a field that a value of `size` bytes lacks; "" if it lacks none.
std::string shortfall(const TagField& field, uint64_t size);

/// Stores the elements of a field, row by row, in the bytes of a value. A number may also be its
/// name in the field's enum, or the form of toText(). The problem has the range and the invalid
/// text; the elements before it are stored nevertheless.
Status encodeField(const TagField& field, const std::vector<std::string>& elements, uint8_t* bytes,
                   size_t size);

/// Does the same with a text that has the elements in the form of toText().
Status encodeField(const TagField& field, std::string_view text, uint8_t* bytes, size_t size);

}  // namespace tyktags
