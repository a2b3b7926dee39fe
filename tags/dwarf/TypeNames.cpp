#include "tags/dwarf/TypeNames.h"

#include "tags/dwarf/MemberNames.h"

#include <cstdlib>
#include <memory>
#include <unordered_map>
#include <utility>

namespace tyktags {

namespace {

constexpr int kDeepestScope = 256;  // blocks of functions count too
constexpr std::string_view kUnnamedNamespace = "(anonymous namespace)";

bool isNamed(int tag) {
    return hasMembers(tag) || tag == DW_TAG_enumeration_type || tag == DW_TAG_typedef ||
           tag == DW_TAG_template_alias;
}

// Whether the names of types in it begin with its name.
bool isScope(int tag) {
    return hasMembers(tag) || tag == DW_TAG_namespace || tag == DW_TAG_module;
}

using Scopes = std::vector<TypeScope>;

// Whether types in it are those of a function.
bool isCode(int tag) {
    return tag == DW_TAG_subprogram || tag == DW_TAG_lexical_block;
}

// Adds the entry to `scopes` if it has a name.
void addScope(const Die& die, Scopes& scopes) {
    const std::string_view name = nameOf(die);
    const bool isNamespace = tagOf(die) == DW_TAG_namespace;
    if (!name.empty()) {
        scopes.push_back({name, isNamespace && isSet(die, DW_AT_export_symbols)});
    } else if (isNamespace) {
        scopes.push_back({kUnnamedNamespace, true});
    }
}

std::string joined(const Scopes& scopes, std::string_view last) {
    std::string name;
    for (const TypeScope& scope : scopes) name.append(scope.name).append("::");
    return name.append(last);
}

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

// The scopes of a type, which takes a search in its unit.
Scopes searchScopes(const Die& type) {
    Die copy = type;
    Die* found = nullptr;
    const int count = dwarf_getscopes_die(&copy, &found);
    const std::unique_ptr<Die, Free> owner(found);
    Scopes scopes;
    // From the unit to the type itself, which is the first.
    for (int i = count - 1; i > 0; --i) {
        if (isScope(tagOf(found[i]))) addScope(found[i], scopes);
    }
    return scopes;
}

// The types of one unit.
class UnitWalk {
public:
    UnitWalk(Search search, const std::function<bool(std::string_view)>& wanted,
             const std::function<void(const NamedType&)>& visit)
        : search_(search), wanted_(wanted), visit_(visit) {}

    bool run(const Die& unit) {
        unit_ = unit;
        return inside(unit, {}, 0);
    }

private:
    bool inside(const Die& scope, const Scopes& scopes, int depth) {
        if (depth > kDeepestScope) return false;
        bool whole = true;
        const bool sound = forEachIn(scope, [&](const Die& child) {
            whole = one(child, scopes, depth);
            return whole;
        });
        return sound && whole;
    }

    bool one(const Die& die, const Scopes& scopes, int depth) {
        const int tag = tagOf(die);
        if (isNamed(tag)) type(die, scopes);
        if (!isScope(tag) && (search_ != Search::kEverywhere || !isCode(tag))) return true;
        Die copy = die;
        if (dwarf_haschildren(&copy) <= 0) return true;
        Scopes inner = scopesOf(die, scopes);
        addScope(die, inner);
        return inside(die, inner, depth + 1);
    }

    void type(const Die& die, const Scopes& scopes) {
        const std::string_view last = nameOf(die);
        if (last.empty()) return;
        const bool declared = isSet(die, DW_AT_declaration);
        // A type declared in a class or a namespace may be defined outside.
        if (declared && !scopes.empty()) declarations_[die.addr] = scopes;
        // Its definition is in a unit of its own.
        if (declared && has(die, DW_AT_signature)) return;
        if (!wanted_(last)) return;
        Scopes own = scopesOf(die, scopes);
        std::string name = joined(own, last);
        visit_({die, unit_, std::move(own), last, std::move(name), declared});
    }

    // The scopes of an entry that was found in `scopes`.
    Scopes scopesOf(const Die& die, const Scopes& scopes) const {
        if (!has(die, DW_AT_specification) || isCode(tagOf(die))) return scopes;
        const std::optional<Die> declaration = referred(die, DW_AT_specification);
        if (!declaration) return scopes;
        const auto found = declarations_.find(declaration->addr);
        return found != declarations_.end() ? found->second : searchScopes(*declaration);
    }

    const Search search_;
    const std::function<bool(std::string_view)>& wanted_;
    const std::function<void(const NamedType&)>& visit_;
    Die unit_{};
    std::unordered_map<const void*, Scopes> declarations_;
};

std::string withoutBlanks(std::string_view text) {
    std::string plain;
    bool blank = false;
    for (const char c : text) {
        if (c == ' ' || c == '\t') {
            blank = true;
            continue;
        }
        if (blank && !plain.empty() && isNameCharacter(plain.back()) && isNameCharacter(c))
            plain += ' ';
        blank = false;
        plain += c;
    }
    return plain;
}

bool takeStart(std::string& text, std::string_view start) {
    if (text.compare(0, start.size(), start) != 0) return false;
    text.erase(0, start.size());
    return true;
}

// Takes `part` and the "::" before it from the end of `name`.
bool takeEnd(std::string_view& name, std::string_view part) {
    if (part.size() > name.size()) return false;
    const size_t begin = name.size() - part.size();
    if (name.substr(begin) != part) return false;
    if (begin > 0 && (begin < 3 || name.substr(begin - 2, 2) != "::")) return false;
    name = name.substr(0, begin > 0 ? begin - 2 : 0);
    return true;
}

}  // namespace

bool forEachType(Dwarf* part, Search search, const std::function<bool(std::string_view)>& wanted,
                 const std::function<void(const NamedType&)>& visit) {
    Dwarf_CU* unit = nullptr;
    Die top{};
    int result = 0;
    while ((result = dwarf_get_units(part, unit, &unit, nullptr, nullptr, &top, nullptr)) == 0) {
        if (!UnitWalk(search, wanted, visit).run(top)) return false;
    }
    return result > 0;
}

std::string wholeNameOf(const Die& type) {
    const std::string_view last = nameOf(type);
    return last.empty() ? "" : joined(searchScopes(type), last);
}

std::string plainName(std::string_view name) {
    std::string plain = withoutBlanks(name);
    for (const std::string_view keyword : {"struct ", "class ", "union ", "enum "}) {
        if (takeStart(plain, keyword)) break;
    }
    takeStart(plain, "::");
    return plain;
}

std::string_view lastNameOf(std::string_view plainName) {
    int depth = 0;
    for (size_t i = plainName.size(); i-- > 1;) {
        const char c = plainName[i];
        if (c == '>' || c == ')') ++depth;
        if (c == '<' || c == '(') --depth;
        if (depth == 0 && c == ':' && plainName[i - 1] == ':') return plainName.substr(i + 1);
    }
    return plainName;
}

bool namesType(std::string_view given, const NamedType& type) {
    if (!takeEnd(given, plainName(type.last))) return false;
    for (auto scope = type.scopes.rbegin(); !given.empty(); ++scope) {
        if (scope == type.scopes.rend()) return false;
        if (!takeEnd(given, plainName(scope->name)) && !scope->optional) return false;
    }
    return true;
}

}  // namespace tyktags
