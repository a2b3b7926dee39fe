#include "tags/dwarf/TypeNames.h"

#include <cctype>
#include <cstdlib>
#include <map>
#include <memory>

namespace tyktags {

namespace {

constexpr std::string_view kUnnamedNamespace = "(anonymous namespace)";

bool isNamed(int tag) {
    return hasMembers(tag) || tag == DW_TAG_enumeration_type || tag == DW_TAG_typedef ||
           tag == DW_TAG_template_alias;
}

// Whether the names of types in it begin with its name.
bool isScope(int tag) {
    return hasMembers(tag) || tag == DW_TAG_namespace || tag == DW_TAG_module;
}

std::string joined(const std::string& scope, std::string_view name) {
    if (scope.empty()) return std::string(name);
    return name.empty() ? scope : scope + "::" + std::string(name);
}

std::string_view scopeName(const Die& scope) {
    const std::string_view name = nameOf(scope);
    return name.empty() && tagOf(scope) == DW_TAG_namespace ? kUnnamedNamespace : name;
}

// The types of one unit.
class UnitWalk {
public:
    UnitWalk(const std::function<bool(std::string_view)>& wanted,
             const std::function<void(const NamedType&)>& visit)
        : wanted_(wanted), visit_(visit) {}

    bool run(const Die& unit) {
        unit_ = unit;
        return inside(unit, "", 0);
    }

private:
    bool inside(const Die& scope, const std::string& name, int depth) {
        if (depth > kDeepest) return false;
        bool whole = true;
        const bool sound = forEachIn(scope, [&](const Die& child) {
            whole = one(child, name, depth);
            return whole;
        });
        return sound && whole;
    }

    bool one(const Die& die, const std::string& scope, int depth) {
        const int tag = tagOf(die);
        if (isNamed(tag)) type(die, scope);
        if (!isScope(tag)) return true;
        Die copy = die;
        if (dwarf_haschildren(&copy) <= 0) return true;
        return inside(die, joined(scopeOf(die, scope), scopeName(die)), depth + 1);
    }

    void type(const Die& die, const std::string& scope) {
        const std::string_view last = nameOf(die);
        if (last.empty()) return;
        const bool declared = isSet(die, DW_AT_declaration);
        // A type declared in a class or a namespace may be defined outside.
        if (declared && !scope.empty()) scopes_[offsetOf(die)] = scope;
        // Its definition is in a unit of its own.
        if (declared && has(die, DW_AT_signature)) return;
        if (wanted_(last)) visit_({die, unit_, joined(scopeOf(die, scope), last), declared});
    }

    // The scope of a type that was found in `scope`.
    std::string scopeOf(const Die& die, const std::string& scope) const {
        if (!has(die, DW_AT_specification)) return scope;
        const std::optional<Die> declaration = referred(die, DW_AT_specification);
        if (!declaration) return scope;
        const auto found = scopes_.find(offsetOf(*declaration));
        return found == scopes_.end() ? scope : found->second;
    }

    static Dwarf_Off offsetOf(const Die& die) {
        Die copy = die;
        return dwarf_dieoffset(&copy);
    }

    const std::function<bool(std::string_view)>& wanted_;
    const std::function<void(const NamedType&)>& visit_;
    Die unit_{};
    std::map<Dwarf_Off, std::string> scopes_;
};

bool isWordPart(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '$' ||
           static_cast<unsigned char>(c) >= 0x80;
}

std::string withoutBlanks(std::string_view text) {
    std::string plain;
    bool blank = false;
    for (const char c : text) {
        if (c == ' ' || c == '\t') {
            blank = true;
            continue;
        }
        if (blank && !plain.empty() && isWordPart(plain.back()) && isWordPart(c)) plain += ' ';
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

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

bool forEachType(Dwarf* part, const std::function<bool(std::string_view)>& wanted,
                 const std::function<void(const NamedType&)>& visit) {
    Dwarf_CU* unit = nullptr;
    Die top{};
    int result = 0;
    while ((result = dwarf_get_units(part, unit, &unit, nullptr, nullptr, &top, nullptr)) == 0) {
        if (!UnitWalk(wanted, visit).run(top)) return false;
    }
    return result > 0;
}

std::string wholeNameOf(const Die& type) {
    Die copy = type;
    Die* found = nullptr;
    const int count = dwarf_getscopes_die(&copy, &found);
    const std::unique_ptr<Die, Free> scopes(found);
    std::string name(nameOf(type));
    if (name.empty()) return name;
    // From the type itself to the unit.
    for (int i = 1; i < count; ++i) {
        if (!isScope(tagOf(found[i]))) continue;
        const std::string_view outer = scopeName(found[i]);
        if (!outer.empty()) name.insert(0, "::").insert(0, outer);
    }
    return name;
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

bool namesType(std::string_view given, std::string_view whole) {
    if (given.size() >= whole.size()) return given == whole;
    const size_t at = whole.size() - given.size();
    return at > 2 && whole.substr(at) == given && whole.substr(at - 2, 2) == "::";
}

}  // namespace tyktags
