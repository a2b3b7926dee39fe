// The fields of a tag's value: their places, types and names.
//
// Threads: any. Errors: std::bad_alloc from operations that return strings or fields.
#pragma once

#include "core/FieldType.h"
#include "tags/Problem.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyktags {

using ::FieldType;

/// The type's name in a tag table; that of text is "char".
std::string_view nameOf(FieldType type);

/// Whether elements of the type are whole numbers.
bool isWhole(FieldType type);

/// A whole number from -2^63 to 2^64 - 1, the range of all whole types.
struct WholeNumber {
    uint64_t magnitude = 0;
    bool negative = false;  ///< false for 0

    static WholeNumber of(int64_t number);
    static WholeNumber of(uint64_t number) { return {number, false}; }
    /// Parses all of `text` as a decimal number; none for another text or a number out of range.
    static std::optional<WholeNumber> parse(std::string_view text);

    bool operator==(const WholeNumber& other) const {
        return magnitude == other.magnitude && negative == other.negative;
    }
    bool operator<(const WholeNumber& other) const;
};

/// The number in decimal.
std::string toText(const WholeNumber& number);

/// A name for a number.
struct EnumValue {
    std::string name;
    WholeNumber number;

    bool operator==(const EnumValue& other) const {
        return name == other.name && number == other.number;
    }
};

/// Names for the numbers of fields. Immutable.
class TagEnum {
public:
    TagEnum(std::string name, std::vector<EnumValue> values);

    const std::string& name() const { return name_; }
    const std::vector<EnumValue>& values() const { return values_; }

    /// The first name of the number; "" if it has none.
    std::string_view nameOf(const WholeNumber& number) const;
    /// The number with the name; none for an unknown name.
    std::optional<WholeNumber> numberOf(std::string_view name) const;

private:
    std::string name_;
    std::vector<EnumValue> values_;
    std::vector<size_t> byNumber_;  ///< positions in values_
};

/// Bits of a value. Their numbers begin at the least significant bit of the field's first byte and
/// continue in the next bytes.
struct BitRange {
    uint32_t offset = 0;
    uint32_t width = 0;  ///< 0: the field is whole bytes

    bool operator==(const BitRange& other) const {
        return offset == other.offset && width == other.width;
    }
};

/// The limit of a field's dimensions. No real data nest deeper, and programs that print values nest
/// as deep.
constexpr size_t kMostDimensions = 16;

/// More elements than a value can have.
constexpr uint64_t kVeryMany = uint64_t{1} << 40;

/// A named part of a tag's value. Fields may overlap.
struct TagField {
    std::string name;     ///< "gain", "roi[1].x"
    uint32_t offset = 0;  ///< bytes from the value's start
    FieldType type = FieldType::u8;
    /// Elements in each dimension; the last dimension varies fastest. Empty: a single number or
    /// character. For text, the last dimension counts characters.
    std::vector<uint32_t> dimensions = {};
    BitRange bits = {};                               ///< of a single whole number
    std::string unit = {};                            ///< such as "ns"; "" if unknown
    std::shared_ptr<const TagEnum> enumeration = {};  ///< names for its numbers; may be null

    /// The number of elements, for text of characters; kVeryMany or more if it is very large.
    uint64_t count() const;
    /// The number of bytes from `offset` to the end of the field.
    uint64_t bytes() const;
    /// The dimensions of its values; a text is one value.
    std::vector<uint32_t> shape() const;
    /// The number of its values.
    uint64_t values() const;
};

/// Whether two fields lie in the same bytes and bits and have the same type and dimensions.
bool haveSameLayout(const TagField& a, const TagField& b);

/// Whether a field is one number or one text, and not an array.
bool isSingle(const TagField& field);

/// The number of bytes among the first `size` bytes of a value that lie in a field.
uint64_t coveredBytes(const std::vector<TagField>& fields, uint64_t size);

/// The name of a field's value: "matrix[1][2]", or `name` if the field has no dimensions. `index`
/// counts values row by row.
std::string elementName(const std::string& name, const std::vector<uint32_t>& shape,
                        uint64_t index);

/// Whether a field may have this name: words separated by '.', which indices in brackets may
/// follow, such as "roi[1].x". Words have no '.', '[', ']' and NUL.
bool isFieldName(std::string_view name);

/// Whether a value of an enum may have this name. A name must not be a valid number or list,
/// because a user may give either in the same place.
bool isEnumValueName(std::string_view name);

/// The field with the name. Indices after a field's name select a part of it: an element
/// ("gains[2]"), or a row if it has several dimensions ("matrix[1]"). A field with the whole name
/// takes precedence. The problem's reason lists what exists instead; `owner` is the name of the tag
/// in that text ("KELV_TAG_AE").
Result<TagField> findField(const std::vector<TagField>& fields, std::string_view name,
                           const std::string& owner);

}  // namespace tyktags
