// Values by name: TAG, TAG.field, TAG.field[2], or a scene field; decoded and encoded.
#pragma once

#include "records/SceneLayout.h"
#include "tree/read/SceneRecord.h"
#include "tree/read/TagCatalog.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tyktree {

/// A number or a text. Integers are kept exactly; a 32-bit float is the number that its shortest
/// decimal form says.
using Value = std::variant<std::monostate, int64_t, uint64_t, double, std::string>;

/// As people and scripts read it: integers in decimal, floats in the shortest form that reads back
/// the same, text as it is. "" for monostate.
std::string toText(const Value& value);

/// The value as a number; none for text, for monostate, and for what is not finite.
std::optional<double> toNumber(const Value& value);

/// A name that cannot be resolved. The text says what is nearest.
class UnknownName : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What a NAME stands for.
struct ValueName {
    std::string name;                     ///< as given
    const ::SceneField* scene = nullptr;  ///< a scene field
    std::optional<uint32_t> tag;          ///< else a tag (by id) ...
    std::string tagName;
    const tyktags::TagField* field = nullptr;  ///< ... or a field of it; points into the catalog
    std::optional<uint32_t> element;           ///< ... or one element of that field
};

/// Resolves a NAME. A tag that the catalog does not have may still be named where `tagNames` (the
/// names that occur in the tree) has it. Throws UnknownName.
ValueName resolveName(std::string_view name, const TagCatalog& catalog,
                      const std::vector<std::string>& tagNames = {});

/// Whether a field is one number or one text, and not an array.
bool isSingle(const tyktags::TagField& field);

/// The elements of a field in a value's bytes (one for text); fewer where the bytes end before,
/// which shortfall() tells.
std::vector<Value> decodeField(const tyktags::TagField& field, const uint8_t* bytes, size_t size);

/// What a value of `size` bytes lacks of a field, or of one element of it, in words; "" where all
/// of it is there.
std::string shortfall(const tyktags::TagField& field, std::optional<uint32_t> element,
                      uint64_t size);

/// Stores `text` (elements separated by commas where `element` is none and the field has several)
/// in the bytes of a value. Returns "" or what is wrong, with the range.
std::string encodeField(const tyktags::TagField& field, std::optional<uint32_t> element,
                        std::string_view text, uint8_t* bytes, size_t size);

/// The value of a scene field.
Value sceneValue(const ::SceneField& field, const SceneRecord& record);

/// CRC-32 (zlib's) of a value, for tags without fields; of its next piece where `before` is that of
/// the pieces before.
uint32_t checksum(const uint8_t* bytes, size_t size, uint32_t before = 0);

}  // namespace tyktree
