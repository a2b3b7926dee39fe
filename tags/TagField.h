// The fields of a tag's value: where each lies, what its bytes mean, and by which names it goes.
//
// Threads: any. Errors: the operations that return strings or fields let std::bad_alloc through.
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

/// A whole number from -2^63 to 2^64 - 1, which every whole type fits in.
struct WholeNumber {
    uint64_t magnitude = 0;
    bool negative = false;  ///< false for 0

    static WholeNumber of(int64_t number);
    static WholeNumber of(uint64_t number) { return {number, false}; }
    /// The number that all of `text` says in decimal; none where that is no number or one beyond
    /// the range.
    static std::optional<WholeNumber> parse(std::string_view text);

    bool operator==(const WholeNumber& other) const {
        return magnitude == other.magnitude && negative == other.negative;
    }
    bool operator<(const WholeNumber& other) const;
};

/// In decimal.
std::string toText(const WholeNumber& number);

/// A name for a number.
struct EnumValue {
    std::string name;
    WholeNumber number;
};

/// Names for the numbers of fields. It does not change once it is made.
class TagEnum {
public:
    TagEnum(std::string name, std::vector<EnumValue> values);

    const std::string& name() const { return name_; }
    const std::vector<EnumValue>& values() const { return values_; }

    /// The first name that the number has; "" where it has none.
    std::string_view nameOf(const WholeNumber& number) const;
    /// The number of that name.
    std::optional<WholeNumber> numberOf(std::string_view name) const;

private:
    std::string name_;
    std::vector<EnumValue> values_;
    std::vector<size_t> byNumber_;  ///< positions in values_
};

/// Bits of a value. They count from the least significant bit of a field's first byte on; those of
/// the following bytes follow.
struct BitRange {
    uint32_t offset = 0;
    uint32_t width = 0;  ///< 0: the field is whole bytes
};

/// A named part of a tag's value. Fields may overlap.
struct TagField {
    std::string name;     ///< "gain", "roi[1].x"
    uint32_t offset = 0;  ///< bytes from the value's start
    FieldType type = FieldType::u8;
    /// Elements in each dimension, the last one varies fastest; none: a single number or character.
    /// Of text, the last one counts characters.
    std::vector<uint32_t> dimensions = {};
    BitRange bits = {};                               ///< of a single whole number
    std::string unit = {};                            ///< such as "ns"; "" where none is known
    std::shared_ptr<const TagEnum> enumeration = {};  ///< names for its numbers; may be null

    /// All elements, of text characters; very large counts as 2^40 or more.
    uint64_t count() const;
    /// Bytes from `offset` on that it lies in.
    uint64_t bytes() const;
    /// The dimensions of its values, of which a text is one.
    std::vector<uint32_t> shape() const;
    /// How many values it has.
    uint64_t values() const;
};

/// Whether a field is one number or one text, and not an array.
bool isSingle(const TagField& field);

/// How many of the first `size` bytes of a value lie in some field.
uint64_t coveredBytes(const std::vector<TagField>& fields, uint64_t size);

/// The name of one of a field's values, counted row by row: "matrix[1][2]"; `name` itself where the
/// field has no dimensions.
std::string elementName(const std::string& name, const std::vector<uint32_t>& shape,
                        uint64_t index);

/// Whether a field may have this name: words with '.' between them, each with indices in brackets
/// behind it or without, such as "roi[1].x". Words have no '.', '[', ']' and NUL.
bool isFieldName(std::string_view name);

/// The field of that name, or what indices behind a field's name pick of it: an element
/// ("gains[2]"), or of several dimensions a row ("matrix[1]"). A field whose whole name fits comes
/// first. The problem's reason says in words what there is instead, with `owner` in front of
/// names ("KELV_TAG_AE").
Result<TagField> findField(const std::vector<TagField>& fields, std::string_view name,
                           const std::string& owner);

}  // namespace tyktags
