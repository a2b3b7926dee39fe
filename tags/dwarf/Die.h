// Entries of debug information, as the readers of types need them. elfutils takes entries that are
// not constant; none of these operations changes one. What a damaged file says is a value that is
// missing.
#pragma once

#include "tags/Problem.h"

#include <cstdint>
#include <dwarf.h>
#include <elfutils/libdw.h>
#include <optional>
#include <string>
#include <string_view>

namespace tyktags {

using Die = Dwarf_Die;

/// Chains of references and nested parts end after so many; only damage makes longer ones.
constexpr int kDeepest = 64;

/// What is wrong with the debug information at `path`, in elfutils' words.
Problem dwarfDamage(const std::string& path);

/// What remains of the work that one call may do; damage can ask for any amount.
class Budget {
public:
    explicit Budget(uint64_t steps) : left_(steps) {}
    /// Whether there was a step left.
    bool take() { return left_ > 0 && left_-- > 0; }

private:
    uint64_t left_;
};

int tagOf(const Die& die);

/// "" where it has none.
std::string_view nameOf(const Die& die);

bool has(const Die& die, unsigned attribute);
bool isSet(const Die& die, unsigned attribute);

/// A number that is not negative.
std::optional<uint64_t> naturalOf(const Die& die, unsigned attribute);
std::optional<int64_t> integerOf(const Die& die, unsigned attribute);

/// The entry that an attribute refers to.
std::optional<Die> referred(const Die& die, unsigned attribute);

/// The type of a member, a typedef, an array, ..., as it is declared.
std::optional<Die> typeOf(const Die& die);

/// Whether the type is another one with a name or a qualifier of its own.
bool isWrapper(int tag);

/// Whether the type has members.
bool hasMembers(int tag);

/// What is behind typedefs and qualifiers; none where that is no type ("void").
std::optional<Die> strippedOf(Die type);

/// How many elements an array has in one dimension, which may be none; none where that is not
/// fixed.
std::optional<uint64_t> lengthOf(const Die& subrange);

/// Bytes of a value of the type; none where that is not known.
std::optional<uint64_t> sizeOf(const Die& type, int depth = 0);

/// Calls `visit`, which returns whether to go on, for the entries in `parent` that have the tag of
/// their own; false where the information is damaged.
template <typename Visit>
bool forEachIn(const Die& parent, Visit visit) {
    Die copy = parent;
    Die child{};
    int result = dwarf_child(&copy, &child);
    while (result == 0) {
        if (!visit(child)) return true;
        Die next{};
        result = dwarf_siblingof(&child, &next);
        child = next;
    }
    return result > 0;
}

}  // namespace tyktags
