// Tag tables as XML files.
#include "host/ParamService.h"

#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

namespace tykhost {
namespace {

constexpr size_t kMaxFileBytes = size_t{16} << 20;

struct FileCloser {
    // Only of a file that was read, or whose writing failed before: nothing more can be lost.
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

std::string systemReason() {
    return std::generic_category().message(errno);
}

std::string quoted(std::string_view text) {
    constexpr size_t kShown = 64;
    std::string result = "\"" + std::string(text.substr(0, kShown));
    return result + (text.size() > kShown ? "...\"" : "\"");
}

// What an error says. `expected` and `found` continue these words.
std::string flaw(const std::string& expected, const std::string& found) {
    return "expected " + expected + ", found " + found;
}

// Checks entries one by one, in themselves and against those before them.
class EntryChecker {
public:
    // What is wrong with an entry; "" when nothing is. `place` says where it stands.
    std::string check(const TagEntry& tag, const std::string& place);

private:
    static std::string checkAlone(const TagEntry& tag);

    std::map<uint32_t, std::string> idPlaces_;
    std::map<std::string, std::string> namePlaces_;
};

std::string EntryChecker::check(const TagEntry& tag, const std::string& place) {
    std::string wrong = checkAlone(tag);
    if (!wrong.empty()) return wrong;
    const auto [id, newId] = idPlaces_.emplace(tag.id, place);
    if (!newId) {
        return flaw("an id of its own", std::to_string(tag.id) + ", which " + id->second + " has");
    }
    const auto [name, newName] = namePlaces_.emplace(tag.name, place);
    if (!newName) {
        return flaw("a name of its own", quoted(tag.name) + ", which " + name->second + " has");
    }
    return "";
}

std::string EntryChecker::checkAlone(const TagEntry& tag) {
    // The records that the library itself makes.
    static const std::map<uint32_t, int32_t> kSizes{
        {2118, 8512}, {65622, 4096}, {8208, 8}, {8198, 1}};
    if (tag.id == 0) return flaw("an id from 1 to 4294967295", "0");
    if (tag.name.empty() ||
        tag.name.find_first_of(std::string_view("/.\0", 3)) != std::string::npos) {
        return flaw("a name without '/', '.' and NUL", quoted(tag.name));
    }
    if (tag.size < 0) return flaw("a size from 0 to 2147483647", std::to_string(tag.size));
    const auto known = kSizes.find(tag.id);
    if (known != kSizes.end() && (tag.kind != TagKind::fixed || tag.size != known->second)) {
        return flaw("the kind fixed and the size " + std::to_string(known->second) + " of tag " +
                        std::to_string(tag.id),
                    std::string(tag.kind == TagKind::fixed ? "fixed" : "block") + " and " +
                        std::to_string(tag.size));
    }
    return "";
}

// Reads a whole file; "" or what went wrong.
std::string readFile(const std::string& path, std::string& text) {
    const File file(std::fopen(path.c_str(), "rbe"));
    if (!file) return flaw("a tag table", "no readable file: " + systemReason());
    std::array<char, 16384> part{};
    size_t count = 0;
    while ((count = std::fread(part.data(), 1, part.size(), file.get())) > 0) {
        text.append(part.data(), count);
        if (text.size() > kMaxFileBytes) {
            return flaw("a tag table of at most " + std::to_string(kMaxFileBytes) + " bytes",
                        "a longer file");
        }
    }
    if (std::ferror(file.get()) != 0) return flaw("a tag table", "no bytes: " + systemReason());
    return "";
}

template <typename Number>
bool parseNumber(std::string_view text, int base, Number& number) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    return error == std::errc() && stop == end;
}

bool parseId(std::string_view text, uint32_t& id) {
    const bool hexadecimal = text.substr(0, 2) == "0x";
    return hexadecimal ? parseNumber(text.substr(2), 16, id) : parseNumber(text, 10, id);
}

bool parseKind(std::string_view text, TagKind& kind) {
    kind = text == "block" ? TagKind::block : TagKind::fixed;
    return text == "fixed" || text == "block";
}

// Reads one <tag>; "" or what is wrong with its form.
std::string parseEntry(const pugi::xml_node& node, TagEntry& tag) {
    std::set<std::string_view> missing{"id", "name", "size", "kind"};
    for (const pugi::xml_attribute attribute : node.attributes()) {
        const std::string_view name = attribute.name();
        const std::string_view value = attribute.value();
        if (missing.erase(name) == 0) {
            return flaw("the attributes id, name, size and kind, each once", quoted(name));
        }
        if (name == "id" && !parseId(value, tag.id)) {
            return flaw("an id from 1 to 4294967295, decimal or 0x and hexadecimal", quoted(value));
        }
        if (name == "size" && !parseNumber(value, 10, tag.size)) {
            return flaw("a size from 0 to 2147483647", quoted(value));
        }
        if (name == "kind" && !parseKind(value, tag.kind)) {
            return flaw(R"(the kind "fixed" or "block")", quoted(value));
        }
        if (name == "name") tag.name = value;
    }
    if (!missing.empty()) return flaw("the attribute " + std::string(*missing.begin()), "none");
    return "";
}

// The document, and which line its parts stand on.
class TableFile {
public:
    // Takes the file's text; "" or what is wrong. The place is in `line` then.
    std::string parse(const std::string& text, std::vector<TagEntry>& tags, std::string& place);

private:
    std::string lineAt(std::ptrdiff_t offset) const;

    std::vector<std::ptrdiff_t> lineEnds_;
};

std::string TableFile::lineAt(std::ptrdiff_t offset) const {
    const auto line = std::lower_bound(lineEnds_.begin(), lineEnds_.end(), offset);
    return "line " + std::to_string(line - lineEnds_.begin() + 1);
}

std::string TableFile::parse(const std::string& text, std::vector<TagEntry>& tags,
                             std::string& place) {
    for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
        lineEnds_.push_back(static_cast<std::ptrdiff_t>(at));
    }
    pugi::xml_document document;
    const pugi::xml_parse_result result =
        document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
    place = lineAt(result.offset);
    if (!result) return flaw("XML", std::string("damage: ") + result.description());

    const pugi::xml_node root = document.document_element();
    place = lineAt(root.offset_debug());
    if (std::string_view(root.name()) != "tags") return flaw("<tags>", quoted(root.name()));
    EntryChecker checker;
    for (const pugi::xml_node node : root.children()) {
        place = lineAt(node.offset_debug());
        if (node.type() != pugi::node_element || std::string_view(node.name()) != "tag") {
            return flaw("<tag>", quoted(*node.name() != '\0' ? node.name() : node.value()));
        }
        TagEntry tag{};
        std::string wrong = parseEntry(node, tag);
        if (wrong.empty()) wrong = checker.check(tag, place);
        if (!wrong.empty()) return wrong;
        tags.push_back(std::move(tag));
    }
    return "";
}

// Takes the document's text. No stream of the standard library: pugixml may be built with another.
struct TextWriter final : pugi::xml_writer {
    void write(const void* data, size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }
    std::string text;
};

std::string toXml(const std::vector<TagEntry>& tags) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("tags");
    for (const TagEntry& tag : tags) {
        pugi::xml_node node = root.append_child("tag");
        node.append_attribute("id").set_value(tag.id);
        node.append_attribute("name").set_value(tag.name.c_str());
        node.append_attribute("size").set_value(tag.size);
        node.append_attribute("kind").set_value(tag.kind == TagKind::fixed ? "fixed" : "block");
    }
    TextWriter writer;
    document.save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
    return std::move(writer.text);
}

// Writes a whole file; "" or what went wrong. Only closing it tells whether all bytes arrived.
std::string writeFile(const std::string& path, const std::string& text) {
    File file(std::fopen(path.c_str(), "wbe"));
    if (!file) return flaw("a file to write", "none: " + systemReason());
    if (std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
        std::fclose(file.release()) != 0) {
        return flaw("room for " + std::to_string(text.size()) + " bytes",
                    "none: " + systemReason());
    }
    return "";
}

}  // namespace

bool readTagTable(const std::string& path, std::vector<TagEntry>& out, std::string& error) {
    std::string text;
    const std::string unreadable = readFile(path, text);
    if (!unreadable.empty()) {
        error = path + ": " + unreadable;
        return false;
    }
    std::vector<TagEntry> tags;
    std::string place;
    const std::string wrong = TableFile().parse(text, tags, place);
    if (!wrong.empty()) {
        error = path + ": ";
        error.append(place).append(": ").append(wrong);
        return false;
    }
    out = std::move(tags);
    return true;
}

bool writeTagTable(const std::string& path, const std::vector<TagEntry>& tags, std::string& error) {
    EntryChecker checker;
    size_t number = 0;
    for (const TagEntry& tag : tags) {
        const std::string place = "entry " + std::to_string(++number);
        const std::string wrong = checker.check(tag, place);
        if (wrong.empty()) continue;
        error = path + ": ";
        error.append(place).append(": ").append(wrong);
        return false;
    }
    const std::string unwritable = writeFile(path, toXml(tags));
    if (unwritable.empty()) return true;
    error = path + ": " + unwritable;
    return false;
}

}  // namespace tykhost
