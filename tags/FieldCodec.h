// The values of fields: decoded from bytes, said in text, encoded from text.
//
// Threads: any. Errors: the operations let std::bad_alloc through.
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

/// A number that has a name, or that lacks one in a field of named numbers.
struct NamedNumber {
    WholeNumber number;
    std::string name;  ///< "" where the enum has none for the number

    bool operator==(const NamedNumber& other) const {
        return number == other.number && name == other.name;
    }
};

/// A number, a text, or nothing. Integers are kept exactly; a 32-bit float is the number that its
/// shortest decimal form says.
using Value = std::variant<std::monostate, int64_t, uint64_t, double, std::string, NamedNumber>;

/// Integers in decimal, floats in the shortest form that reads back the same, text as it is, a
/// number with a name as "AUTO (1)". "" for nothing.
std::string toText(const Value& value);

/// The number alone where the value is one with a name; else the value.
Value withoutName(const Value& value);

/// All elements in words, with commas between them.
std::string toText(const std::vector<Value>& values);

/// The value as a number; none for text, for nothing, and for what is not finite.
std::optional<double> toNumber(const Value& value);

/// The number that all of `text` says in decimal; none where that is no number or one beyond the
/// type.
std::optional<int64_t> parseInteger(std::string_view text);

/// The finite number that all of `text` says in decimal, whole numbers exactly as far as 64 bits
/// hold them; none where that is no number or one beyond a double. The text is read as the thread's
/// locale has it.
std::optional<Value> parseNumber(std::string_view text);

/// The number nearest to what all of `text` says, "inf" and "nan" included; none where that is no
/// number or one beyond the type. The text is read as the thread's locale has it.
std::optional<float> parseFloat(std::string_view text);

/// Whether a field of whole numbers has room for a number.
bool holds(const TagField& field, const WholeNumber& number);

/// The values of a field in a value's bytes, row by row; fewer where the bytes end before, which
/// shortfall() tells.
std::vector<Value> decodeField(const TagField& field, const uint8_t* bytes, size_t size);

/// What a value of `size` bytes lacks of a field, in words; "" where all of it is there.
std::string shortfall(const TagField& field, uint64_t size);

/// Stores `text` (values row by row, separated by commas where the field has several) in the bytes
/// of a value. A number may be given by its name in the field's enum, and as toText() says it. A
/// problem says the range and what was found; the values in front of the one at fault are stored
/// then.
Status encodeField(const TagField& field, std::string_view text, uint8_t* bytes, size_t size);

}  // namespace tyktags
