// Access to entries of debug information. The operations do not change entries, although elfutils
// takes them as not constant. For damaged data they return no value. Threads: one at a time.
// Errors: std::bad_alloc from dwarfDamage() alone.
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

/// The limit of chains of references and of nesting; only damaged files exceed it.
constexpr int kDeepest = 64;

/// The problem of the debug information at `path`, with elfutils' message.
Problem dwarfDamage(const std::string& path);

/// Limits the work of one call, because a damaged file can cause any amount.
class Budget {
public:
    explicit Budget(uint64_t steps) : left_(steps) {}
    /// Takes one step; returns false if none is left.
    bool take() { return left_ > 0 && left_-- > 0; }

private:
    uint64_t left_;
};

int tagOf(const Die& die);

/// The name of an entry; "" if it has none.
std::string_view nameOf(const Die& die);

bool has(const Die& die, unsigned attribute);
bool isSet(const Die& die, unsigned attribute);

/// An attribute that is a number and not negative.
std::optional<uint64_t> naturalOf(const Die& die, unsigned attribute);
std::optional<int64_t> integerOf(const Die& die, unsigned attribute);

/// The entry that an attribute refers to.
std::optional<Die> referred(const Die& die, unsigned attribute);

/// The declared type of a member, a typedef, an array and so on.
std::optional<Die> typeOf(const Die& die);

/// Whether the entry is a typedef or a qualifier of another type.
bool isWrapper(int tag);

/// Whether the type has members.
bool hasMembers(int tag);

/// The type without typedefs and qualifiers; none for "void".
std::optional<Die> strippedOf(Die type);

/// The number of an array's elements in one dimension, which may be 0; none if it is not fixed.
std::optional<uint64_t> lengthOf(const Die& subrange);

/// The size of a value of the type in bytes; none if unknown.
std::optional<uint64_t> sizeOf(const Die& type, int depth = 0);

/// Calls `visit`, which returns whether to go on, for the direct children of `parent`. Returns
/// false if the information is damaged.
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
