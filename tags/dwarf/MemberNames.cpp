#include "tags/dwarf/MemberNames.h"

#include <algorithm>
#include <optional>

namespace tyktags {

namespace {

// The name of a base's type without its namespaces and template arguments.
std::string baseName(const Die& inheritance) {
    const std::optional<Die> declared = typeOf(inheritance);
    const std::optional<Die> type = declared ? strippedOf(*declared) : std::nullopt;
    const std::string_view whole = type ? nameOf(*type) : "";
    return std::string(whole.substr(0, whole.find('<')));
}

}  // namespace

bool isNameCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           c == '$' || static_cast<unsigned char>(c) >= 0x80;
}

bool isIdentifier(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), isNameCharacter);
}

std::string memberPath(const std::string& scope, std::string_view member) {
    return scope.empty() ? std::string(member) : scope + "." + std::string(member);
}

std::string withoutIndices(std::string_view name) {
    std::string result;
    bool index = false;
    for (const char c : name) {
        if (c == ']') index = false;
        if (!index) result += c;
        if (c == '[') index = true;
    }
    return result;
}

std::string indicesOf(uint64_t element, const std::vector<uint32_t>& dimensions) {
    std::string text;
    for (size_t i = dimensions.size(); i-- > 0;) {
        text.insert(0, "[" + std::to_string(element % dimensions[i]) + "]");
        element /= dimensions[i];
    }
    return text;
}

void BaseNames::count(const Die& inheritance) {
    ++counts_[baseName(inheritance)].all;
}

std::string BaseNames::next(const Die& inheritance) {
    const std::string name = baseName(inheritance);
    Count& count = counts_[name];
    const uint32_t number = count.seen++;
    return count.all > 1 ? name + "[" + std::to_string(number) + "]" : name;
}

}  // namespace tyktags
