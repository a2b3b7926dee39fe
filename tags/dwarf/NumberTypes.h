// The types of numbers and enums in debug information. Threads: one at a time. Errors:
// std::bad_alloc.
#pragma once

#include "tags/TagField.h"
#include "tags/dwarf/Die.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace tyktags {

/// The name for an enum, from the entry that has it: its own, or the typedef of an unnamed enum.
using NameEnum = std::function<std::string(const Die& named)>;

/// Whether the type, without typedefs, is a number: a base type or an enum.
bool isNumber(int tag);

/// The type of a field for a number; none if no field has this type.
std::optional<FieldType> numberType(const Die& number);

/// Makes the enums of fields, each once.
class EnumReader {
public:
    explicit EnumReader(NameEnum nameEnum) : nameEnum_(std::move(nameEnum)) {}

    /// The enum of a member of type `declared`, which is an enum behind any typedefs; null if it
    /// has no values. `number` is its numberType(). An enum without a name gets `otherwise`.
    std::shared_ptr<const TagEnum> read(const Die& declared, FieldType number,
                                        const std::string& otherwise);

private:
    NameEnum nameEnum_;
    std::map<const void*, std::shared_ptr<const TagEnum>> enums_;
};

}  // namespace tyktags
