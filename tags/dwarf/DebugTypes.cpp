#include "tags/dwarf/DebugTypes.h"

#include "tags/NearestNames.h"
#include "tags/Words.h"
#include "tags/dwarf/DebugFile.h"
#include "tags/dwarf/LayoutReader.h"
#include "tags/dwarf/TypeNames.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>

namespace tyktags {

namespace {

constexpr uint64_t kMostBytes = std::numeric_limits<int32_t>::max();
constexpr size_t kMostShown = 20;  // types that a problem lists

// A type that a user asks for.
struct Request {
    std::string given;
    std::string name;  // plain
    std::string file;  // "" if not given
};

Request requestOf(const std::string& given) {
    const size_t at = given.find('@');
    const std::string file = at == std::string::npos ? "" : given.substr(at + 1);
    return {given, plainName(std::string_view(given).substr(0, at)), file};
}

// Whether the path ends in the components `end`.
bool endsPath(std::string_view path, std::string_view end) {
    if (end.size() > path.size() || path.substr(path.size() - end.size()) != end) return false;
    return end.size() == path.size() || path[path.size() - end.size() - 1] == '/';
}

const char* keywordOf(int tag) {
    switch (tag) {
        case DW_TAG_structure_type:
            return "struct";
        case DW_TAG_class_type:
            return "class";
        case DW_TAG_union_type:
            return "union";
        case DW_TAG_enumeration_type:
            return "enum";
        case DW_TAG_array_type:
            return "array";
        default:
            return "";
    }
}

// The file that declares the type. dwarf_decl_file() is not usable: it ends the process if a unit
// has no files, and it does not support the number 0, which the compiled file has from version 5
// on.
std::string fileOf(const NamedType& named) {
    const std::optional<uint64_t> number = naturalOf(named.die, DW_AT_decl_file);
    Die unit = named.unit;
    Dwarf_Half version = 0;
    Dwarf_Files* files = nullptr;
    size_t count = 0;
    if (!number ||
        dwarf_cu_info(unit.cu, &version, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr) !=
            0 ||
        (*number == 0 && version < 5) || dwarf_getsrcfiles(&unit, &files, &count) != 0 ||
        *number >= count) {
        return "";
    }
    const char* const file = dwarf_filesrc(files, *number, nullptr, nullptr);
    return file ? file : "";
}

DebugType describe(const NamedType& named, const Die& stripped) {
    DebugType type;
    type.name = named.name;
    type.keyword = keywordOf(tagOf(stripped));
    type.size = sizeOf(stripped).value_or(0);
    return type;
}

void addPlace(const NamedType& named, DebugType& type) {
    type.file = fileOf(named);
    Die copy = named.die;
    int line = 0;
    if (dwarf_decl_line(&copy, &line) == 0 && line > 0) type.line = static_cast<uint32_t>(line);
    type.unit = nameOf(named.unit);
}

// Whether FILE of "Type@FILE" declares the type or is compiled with it.
bool isIn(const NamedType& named, const std::string& file) {
    return endsPath(fileOf(named), file) || endsPath(nameOf(named.unit), file);
}

// Whether it is an enum, or the typedef of an unnamed one.
bool namesEnum(const Die& type) {
    if (tagOf(type) == DW_TAG_enumeration_type) return true;
    if (tagOf(type) != DW_TAG_typedef) return false;
    const std::optional<Die> named = typeOf(type);
    return named && tagOf(*named) == DW_TAG_enumeration_type && nameOf(*named).empty();
}

// Whether a list of types includes the type.
bool mayBeTag(const Die& type) {
    const int tag = tagOf(type);
    if (isSet(type, DW_AT_declaration) || !sizeOf(type)) return false;
    return hasMembers(tag) || tag == DW_TAG_enumeration_type || tag == DW_TAG_array_type;
}

bool sameEnum(const TagEnum* a, const TagEnum* b) {
    if (!a || !b) return a == b;
    return a->name() == b->name() && a->values() == b->values();
}

// Whether two definitions of a type have the same field.
bool sameField(const TagField& a, const TagField& b) {
    return a.name == b.name && haveSameLayout(a, b) &&
           sameEnum(a.enumeration.get(), b.enumeration.get());
}

bool sameLayout(const TypeLayout& a, const TypeLayout& b) {
    return a.type.size == b.type.size && a.leftOut == b.leftOut &&
           std::equal(a.fields.begin(), a.fields.end(), b.fields.begin(), b.fields.end(),
                      sameField);
}

std::string shown(const DebugType& type) {
    std::string text = type.name + " of " + counted(type.size, "byte", "bytes");
    if (!type.file.empty()) text += " in " + type.file + ":" + std::to_string(type.line);
    if (!type.unit.empty() && !endsPath(type.file, type.unit)) {
        text += ", compiled into " + type.unit;
    }
    return text;
}

}  // namespace

struct DebugTypes::State {
    explicit State(DebugFile opened) : file(std::move(opened)) {}

    Problem damage() const { return dwarfDamage(file.path()); }
    Problem problem(std::string expected, std::string found) const {
        return {file.path(), std::move(expected), std::move(found)};
    }

    bool forEach(const std::function<bool(std::string_view)>& wanted,
                 const std::function<void(const NamedType&)>& visit,
                 Search search = Search::kOutsideFunctions) const;
    bool readNames();
    std::string nameOfType(const Die& type);
    std::optional<Die> definitionOf(const Die& declaration);
    Result<std::vector<std::vector<NamedType>>> find(const std::vector<Request>& requests) const;
    bool isDefined(const NamedType& named);
    Result<TypeLayout> choose(const Request& request, const std::vector<NamedType>& named);
    Result<std::vector<TypeLayout>> read(const std::vector<NamedType>& named);
    Result<TypeLayout> layoutOf(const NamedType& named, const NameEnum& nameEnum);
    Problem unknown(const Request& request) const;
    Problem undefined(const Request& request, const NamedType& named) const;
    Problem several(const Request& request, const std::vector<TypeLayout>& layouts) const;

    DebugFile file;
    std::unordered_map<std::string, Die> definitions;        // by full name
    std::unordered_map<const void*, std::string> fullNames;  // of declarations and of enums
    bool namesRead = false;
};

bool DebugTypes::State::forEach(const std::function<bool(std::string_view)>& wanted,
                                const std::function<void(const NamedType&)>& visit,
                                Search search) const {
    const std::vector<Dwarf*>& parts = file.parts();
    return std::all_of(parts.begin(), parts.end(),
                       [&](Dwarf* part) { return forEachType(part, search, wanted, visit); });
}

// Finds the full names in one pass, because a search for each takes a pass through its unit.
bool DebugTypes::State::readNames() {
    if (namesRead) return true;
    namesRead = true;
    const auto add = [this](const NamedType& type) {
        if (type.declared || namesEnum(type.die)) {
            fullNames.emplace(type.die.addr, type.name);
        } else if (hasMembers(tagOf(type.die))) {
            definitions.emplace(type.name, type.die);
        }
    };
    return forEach([](std::string_view) { return true; }, add);
}

std::string DebugTypes::State::nameOfType(const Die& type) {
    if (nameOf(type).empty() || !readNames()) return "";
    const auto found = fullNames.find(type.addr);
    return found != fullNames.end() ? found->second : wholeNameOf(type);
}

std::optional<Die> DebugTypes::State::definitionOf(const Die& declaration) {
    if (!isSet(declaration, DW_AT_declaration)) return declaration;
    const auto found = definitions.find(nameOfType(declaration));
    if (found == definitions.end()) return std::nullopt;
    return found->second;
}

// Returns the types that each request names.
Result<std::vector<std::vector<NamedType>>> DebugTypes::State::find(
    const std::vector<Request>& requests) const {
    std::vector<std::vector<NamedType>> found(requests.size());
    // Searches in functions, which have most of the debug information, for the other types alone.
    for (const Search search : {Search::kOutsideFunctions, Search::kEverywhere}) {
        std::vector<size_t> open;
        std::set<std::string, std::less<>> lastNames;
        for (size_t i = 0; i < requests.size(); ++i) {
            if (!found[i].empty()) continue;
            open.push_back(i);
            lastNames.emplace(lastNameOf(requests[i].name));
        }
        if (open.empty()) break;
        const auto wanted = [&lastNames](std::string_view name) {
            const bool plain = name.find(' ') == std::string_view::npos;
            return plain ? lastNames.count(name) > 0 : lastNames.count(plainName(name)) > 0;
        };
        const auto add = [&](const NamedType& type) {
            for (const size_t i : open) {
                if (namesType(requests[i].name, type)) found[i].push_back(type);
            }
        };
        if (!forEach(wanted, add, search)) return damage();
    }
    return found;
}

bool DebugTypes::State::isDefined(const NamedType& named) {
    const std::optional<Die> stripped = strippedOf(named.die);
    if (!stripped) return false;
    return hasMembers(tagOf(*stripped)) ? definitionOf(*stripped).has_value()
                                        : !isSet(*stripped, DW_AT_declaration);
}

Result<TypeLayout> DebugTypes::State::layoutOf(const NamedType& named, const NameEnum& nameEnum) {
    const std::optional<Die> stripped = strippedOf(named.die);
    const std::optional<Die> type =
        stripped && hasMembers(tagOf(*stripped)) ? definitionOf(*stripped) : stripped;
    TypeLayout layout;
    layout.type.name = named.name;
    if (!type) return problem("the definition of " + named.name, "none");
    layout.type = describe(named, *type);
    addPlace(named, layout.type);
    if (layout.type.size > kMostBytes) {
        return problem("at most " + std::to_string(kMostBytes) + " bytes of " + named.name,
                       std::to_string(layout.type.size));
    }
    const auto define = [this](const Die& die) { return definitionOf(die); };
    Status status = LayoutReader(define, nameEnum).read(named.die, layout);
    if (status.ok()) return layout;
    Problem wrong = status.problem();
    wrong.path = file.path();
    return wrong;
}

// Reads each layout once.
Result<std::vector<TypeLayout>> DebugTypes::State::read(const std::vector<NamedType>& named) {
    std::vector<TypeLayout> layouts;
    for (const NamedType& type : named) {
        const auto lastName = [](const Die& entry) { return std::string(nameOf(entry)); };
        Result<TypeLayout> layout = layoutOf(type, lastName);
        if (!layout.ok()) return layout.problem();
        const bool known =
            std::any_of(layouts.begin(), layouts.end(), [&layout](const TypeLayout& other) {
                return other.type.name == layout.value().type.name &&
                       sameLayout(other, layout.value());
            });
        if (!known) layouts.push_back(std::move(layout.value()));
    }
    return layouts;
}

Result<TypeLayout> DebugTypes::State::choose(const Request& request,
                                             const std::vector<NamedType>& named) {
    std::vector<NamedType> fit;
    for (const NamedType& type : named) {
        if (isDefined(type)) fit.push_back(type);
    }
    if (fit.empty()) return named.empty() ? unknown(request) : undefined(request, named[0]);
    const bool exact = std::any_of(fit.begin(), fit.end(), [&request](const NamedType& type) {
        return plainName(type.name) == request.name;
    });
    std::vector<NamedType> chosen;
    for (const NamedType& type : fit) {
        if (exact && plainName(type.name) != request.name) continue;
        if (request.file.empty() || isIn(type, request.file)) chosen.push_back(type);
    }
    const Result<std::vector<TypeLayout>> layouts = read(chosen.empty() ? fit : chosen);
    if (!layouts.ok()) return layouts.problem();
    if (chosen.empty() || layouts.value().size() > 1) return several(request, layouts.value());
    return layoutOf(chosen[0], [this](const Die& entry) { return nameOfType(entry); });
}

Problem DebugTypes::State::unknown(const Request& request) const {
    std::set<std::string> names;
    const auto every = [](std::string_view) { return true; };
    const bool sound = forEach(every, [&names](const NamedType& type) { names.insert(type.name); });
    if (!sound) return damage();
    const std::vector<std::string> nearest =
        nearestNames(request.name, std::vector<std::string>(names.begin(), names.end()));
    const std::string advice = nearest.empty() ? "" : "; did you mean " + joinedByOr(nearest) + "?";
    return problem("a type " + request.given, "none" + advice);
}

Problem DebugTypes::State::undefined(const Request& request, const NamedType& named) const {
    DebugType type;
    addPlace(named, type);
    const std::string place =
        type.file.empty() ? type.unit : type.file + ":" + std::to_string(type.line);
    return problem("the definition of " + request.given, "only a declaration, in " + place);
}

Problem DebugTypes::State::several(const Request& request,
                                   const std::vector<TypeLayout>& layouts) const {
    std::string all;
    for (size_t i = 0; i < layouts.size() && i < kMostShown; ++i) {
        all += (i > 0 ? "; " : "") + shown(layouts[i].type);
    }
    if (layouts.size() > kMostShown) {
        all += "; and " + std::to_string(layouts.size() - kMostShown) + " more";
    }
    const std::string which = request.file.empty() ? "" : " of the file " + request.file;
    return {file.path(), "one type " + request.name + which, all,
            "choose one by its whole name or by its file: " + request.name + "@FILE"};
}

DebugTypes::DebugTypes(std::unique_ptr<State> state) : state_(std::move(state)) {}
DebugTypes::DebugTypes(DebugTypes&&) noexcept = default;
DebugTypes& DebugTypes::operator=(DebugTypes&&) noexcept = default;
DebugTypes::~DebugTypes() = default;

Result<DebugTypes> DebugTypes::open(const std::string& library, const std::string& debugFile) {
    Result<DebugFile> file = DebugFile::open(library, debugFile);
    if (!file.ok()) return file.problem();
    return DebugTypes(std::make_unique<State>(std::move(file.value())));
}

const std::string& DebugTypes::path() const {
    return state_->file.path();
}

Result<std::vector<DebugType>> DebugTypes::list(const WantedType& wanted) const {
    std::map<std::pair<std::string, uint64_t>, std::optional<DebugType>> types;
    const auto add = [&types, &wanted](const NamedType& named) {
        const std::optional<Die> stripped = strippedOf(named.die);
        if (!stripped || !mayBeTag(*stripped)) return;
        DebugType type = describe(named, *stripped);
        const auto [at, isNew] = types.try_emplace({type.name, type.size});
        if (!isNew || !wanted(type)) return;
        addPlace(named, type);
        at->second = std::move(type);
    };
    if (!state_->forEach([](std::string_view) { return true; }, add)) return state_->damage();
    std::vector<DebugType> list;
    list.reserve(types.size());
    for (auto& [key, type] : types) {
        if (type) list.push_back(std::move(*type));
    }
    return list;
}

Result<std::vector<TypeLayout>> DebugTypes::layouts(const std::vector<std::string>& names) const {
    std::vector<Request> requests;
    requests.reserve(names.size());
    for (const std::string& name : names) requests.push_back(requestOf(name));
    const Result<std::vector<std::vector<NamedType>>> found = state_->find(requests);
    if (!found.ok()) return found.problem();
    std::vector<TypeLayout> layouts;
    for (size_t i = 0; i < requests.size(); ++i) {
        Result<TypeLayout> layout = state_->choose(requests[i], found.value()[i]);
        if (!layout.ok()) return layout.problem();
        layouts.push_back(std::move(layout.value()));
    }
    return layouts;
}

}  // namespace tyktags
