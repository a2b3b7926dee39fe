// Makes fields of the layout of a type. Threads: one at a time. Errors: std::bad_alloc.
#pragma once

#include "tags/dwarf/DebugTypes.h"
#include "tags/dwarf/Die.h"
#include "tags/dwarf/NumberTypes.h"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tyktags {

/// Finds the definition of a type that is only declared where it is used.
using FindDefinition = std::function<std::optional<Die>(const Die& declaration)>;

/// Flattens one type.
class LayoutReader {
public:
    LayoutReader(FindDefinition definitionOf, NameEnum nameEnum)
        : definitionOf_(std::move(definitionOf)), enums_(std::move(nameEnum)) {}

    /// Sets the fields of the type `die`, and what is left out; the name and the size of `layout`
    /// are known. The problem has no path.
    Status read(const Die& die, TypeLayout& layout);

private:
    using Names = std::set<std::string, std::less<>>;

    static constexpr uint64_t kMostSteps = uint64_t{1} << 22;

    enum class Bases { kWithout, kWith };

    // Where a part of the type lies, and what it is called.
    struct Place {
        std::string name;
        uint64_t offset = 0;  // bytes
        int depth = 0;        // of the parts that it is in
    };
    // Where the members of a type lie.
    struct Scope {
        Place place;
        std::string bases;  // "Base.": in front of names that a derived type has too
        Names hidden;       // those names
    };
    // An array, or a single value.
    struct Elements {
        Die type{};
        std::vector<uint32_t> dimensions;
        uint64_t count = 1;
    };

    void value(const Die& type, const Place& place);
    bool isTooDeep(const Place& place);
    void members(const Die& type, Scope scope);
    void member(const Die& die, const Scope& scope);
    void base(const Die& die, const std::string& name, Scope& scope);
    void collectNames(const Die& type, Bases bases, int depth, Names& names);
    void array(const Die& type, const Place& place);
    void structures(const Elements& elements, const Place& place);
    void number(const Elements& elements, const Place& place);
    void bitField(const Die& die, const Die& type, const Place& scope, const std::string& name);
    void add(TagField field, uint64_t offset);
    void dropFields(size_t first);
    void leaveOut(const std::string& name, const std::string& what);
    bool typeOfNumber(const Die& type, const std::string& name, TagField& field);

    template <typename Visit>
    void visit(const Die& parent, Visit visitOne);

    FindDefinition definitionOf_;
    EnumReader enums_;
    Budget budget_{kMostSteps};
    TypeLayout* layout_ = nullptr;
    Names names_;
    Names leftOut_;
    bool damaged_ = false;
    bool exhausted_ = false;  // the budget, or the room for what is left out
};

}  // namespace tyktags
