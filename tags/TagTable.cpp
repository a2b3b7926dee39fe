// Tag tables as XML files.
#include "tags/TagTable.h"

#include "records/MfnrTuning.h"
#include "records/SceneLayout.h"
#include "replay/FixedOverrides.h"

#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <memory>
#include <poll.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tyktags {
namespace {

constexpr size_t kMaxFileBytes = size_t{16} << 20;
constexpr int kPipePatience = 10000;  // milliseconds

struct TypeName {
    std::string_view name;
    FieldType type;
};

// In the order of FieldType.
constexpr TypeName kTypes[] = {
    {"u8", FieldType::u8},   {"i8", FieldType::i8},    {"u16", FieldType::u16},
    {"i16", FieldType::i16}, {"u32", FieldType::u32},  {"i32", FieldType::i32},
    {"u64", FieldType::u64}, {"i64", FieldType::i64},  {"f32", FieldType::f32},
    {"f64", FieldType::f64}, {"char", FieldType::text}};

std::string quoted(std::string_view text) {
    constexpr size_t kShown = 64;
    std::string result = "\"" + std::string(text.substr(0, kShown));
    return result + (text.size() > kShown ? "...\"" : "\"");
}

// A problem whose path and place in the file the caller knows.
Problem flaw(std::string expected, std::string found, std::string reason = "") {
    return {"", std::move(expected), std::move(found), std::move(reason)};
}

// The problem with the place that it belongs to.
Problem atPlace(const std::string& where, Problem problem) {
    problem.where = where;
    return problem;
}

// The same with the file.
Problem inFile(const std::string& path, Problem problem) {
    problem.path = path;
    return problem;
}

// Checks entries one by one, in themselves and against those before them.
class EntryChecker {
public:
    // `place` says where the entry stands.
    Status check(const TagEntry& tag, const std::string& place);

private:
    static Status checkAlone(const TagEntry& tag);

    std::map<uint32_t, std::string> idPlaces_;
    std::map<std::string, std::string> namePlaces_;
};

Status EntryChecker::check(const TagEntry& tag, const std::string& place) {
    if (Status wrong = checkAlone(tag); !wrong.ok()) return wrong;
    const auto [id, newId] = idPlaces_.emplace(tag.id, place);
    if (!newId) {
        return flaw("an id of its own", std::to_string(tag.id) + ", which " + id->second + " has");
    }
    const auto [name, newName] = namePlaces_.emplace(tag.name, place);
    if (!newName) {
        return flaw("a name of its own", quoted(tag.name) + ", which " + name->second + " has");
    }
    return {};
}

Status checkField(const TagEntry& tag, const TagField& field) {
    if (field.name.empty() ||
        field.name.find_first_of(std::string_view(".[]\0", 4)) != std::string::npos) {
        return flaw("a field's name without '.', '[', ']' and NUL", quoted(field.name));
    }
    if (field.count == 0) return flaw("a count from 1 of the field " + quoted(field.name), "0");
    const uint64_t end = field.offset + field.bytes();
    if (end > static_cast<uint64_t>(tag.size)) {
        return flaw("the field " + quoted(field.name) + " within the tag's " +
                        std::to_string(tag.size) + " bytes",
                    std::to_string(field.offset) + " to " + std::to_string(end));
    }
    return {};
}

Status checkFields(const TagEntry& tag) {
    std::set<std::string_view> names;
    for (const TagField& field : tag.fields) {
        if (Status wrong = checkField(tag, field); !wrong.ok()) return wrong;
        if (!names.insert(field.name).second) {
            return flaw("fields with names of their own", quoted(field.name) + " twice");
        }
    }
    return {};
}

Status EntryChecker::checkAlone(const TagEntry& tag) {
    // The records that the library itself makes.
    static const std::map<uint32_t, int32_t> kSizes{
        {kSceneTag, kSceneRecordBytes},
        {kMfnrTag, static_cast<int32_t>(kMfnrTableBytes)},
        {kOverrideSizeTag, static_cast<int32_t>(sizeof(kOverrideSize))},
        {kOverrideByteTag, static_cast<int32_t>(sizeof(kOverrideByte))}};
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
    return checkFields(tag);
}

// A file open for reading, without waiting for whoever serves it.
class Source {
public:
    explicit Source(const std::string& path)
        : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
    ~Source() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // Whether the table may be read from it.
    Status examine(TableSource allowed) const;
    // Appends to `text`. Sets `done` at the end.
    Status readMore(std::string& text, bool& done) const;

private:
    int descriptor_;
};

Status Source::examine(TableSource allowed) const {
    struct stat status {};
    if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) {
        return flaw("a tag table", "no readable file", systemReason(errno));
    }
    if (S_ISREG(status.st_mode)) return {};
    if (S_ISDIR(status.st_mode)) return flaw("a tag table", systemReason(EISDIR));
    const bool stream = S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode);
    if (stream && allowed == TableSource::fileOrPipe) return {};
    return flaw("a tag table", "no regular file");
}

Status Source::readMore(std::string& text, bool& done) const {
    pollfd waiting{descriptor_, POLLIN, 0};
    if (::poll(&waiting, 1, kPipePatience) == 0) {
        return flaw("a tag table", "a pipe that brought nothing for " +
                                       std::to_string(kPipePatience / 1000) + " seconds");
    }
    std::array<char, 16384> part{};
    const ssize_t count = ::read(descriptor_, part.data(), part.size());
    if (count < 0 && errno != EINTR && errno != EAGAIN) {
        return flaw("a tag table", "no bytes", systemReason(errno));
    }
    done = count == 0;
    if (count > 0) text.append(part.data(), static_cast<size_t>(count));
    if (text.size() <= kMaxFileBytes) return {};
    return flaw("a tag table of at most " + std::to_string(kMaxFileBytes) + " bytes",
                "a longer file");
}

Status readFile(const std::string& path, TableSource allowed, std::string& text) {
    const Source source(path);
    Status status = source.examine(allowed);
    for (bool done = false; status.ok() && !done;) status = source.readMore(text, done);
    return status;
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

bool parseType(std::string_view text, FieldType& type) {
    const auto* const found =
        std::find_if(std::begin(kTypes), std::end(kTypes),
                     [text](const TypeName& one) { return one.name == text; });
    if (found == std::end(kTypes)) return false;
    type = found->type;
    return true;
}

std::string allTypes() {
    std::string names;
    for (const TypeName& type : kTypes) names.append(names.empty() ? "" : ", ").append(type.name);
    return names;
}

// Reads one <field>, and checks its form alone.
Status parseField(const pugi::xml_node& node, TagField& field) {
    std::set<std::string_view> missing{"name", "offset", "type", "count"};
    for (const pugi::xml_attribute attribute : node.attributes()) {
        const std::string_view name = attribute.name();
        const std::string_view value = attribute.value();
        if (missing.erase(name) == 0) {
            return flaw("the attributes name, offset, type and count, each once", quoted(name));
        }
        if (name == "offset" && !parseNumber(value, 10, field.offset)) {
            return flaw("an offset from 0 to 4294967295", quoted(value));
        }
        if (name == "count" && !parseNumber(value, 10, field.count)) {
            return flaw("a count from 1 to 4294967295", quoted(value));
        }
        if (name == "type" && !parseType(value, field.type)) {
            return flaw("a type of " + allTypes(), quoted(value));
        }
        if (name == "name") field.name = value;
    }
    missing.erase("count");
    if (!missing.empty()) return flaw("the attribute " + std::string(*missing.begin()), "none");
    return {};
}

Status parseFields(const pugi::xml_node& node, std::vector<TagField>& fields) {
    for (const pugi::xml_node child : node.children()) {
        if (child.type() != pugi::node_element || std::string_view(child.name()) != "field") {
            return flaw("<field>", quoted(*child.name() != '\0' ? child.name() : child.value()));
        }
        TagField field{"", 0, FieldType::u8, 1};
        if (Status wrong = parseField(child, field); !wrong.ok()) return wrong;
        fields.push_back(std::move(field));
    }
    return {};
}

// Reads one <tag>, and checks its form alone.
Status parseEntry(const pugi::xml_node& node, TagEntry& tag) {
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
    return parseFields(node, tag.fields);
}

// The document, and which line its parts stand on.
class TableFile {
public:
    // Takes the file's text.
    Result<std::vector<TagEntry>> parse(const std::string& text);

private:
    std::string lineAt(std::ptrdiff_t offset) const;

    std::vector<std::ptrdiff_t> lineEnds_;
};

std::string TableFile::lineAt(std::ptrdiff_t offset) const {
    const auto line = std::lower_bound(lineEnds_.begin(), lineEnds_.end(), offset);
    return "line " + std::to_string(line - lineEnds_.begin() + 1);
}

Result<std::vector<TagEntry>> TableFile::parse(const std::string& text) {
    for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', end + 1)) {
        lineEnds_.push_back(static_cast<std::ptrdiff_t>(end));
    }
    pugi::xml_document document;
    const pugi::xml_parse_result result =
        document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!result) return atPlace(lineAt(result.offset), flaw("XML", "damage", result.description()));

    const pugi::xml_node root = document.document_element();
    if (std::string_view(root.name()) != "tags") {
        return atPlace(lineAt(root.offset_debug()), flaw("<tags>", quoted(root.name())));
    }
    std::vector<TagEntry> tags;
    EntryChecker checker;
    for (const pugi::xml_node node : root.children()) {
        const std::string line = lineAt(node.offset_debug());
        if (node.type() != pugi::node_element || std::string_view(node.name()) != "tag") {
            return atPlace(
                line, flaw("<tag>", quoted(*node.name() != '\0' ? node.name() : node.value())));
        }
        TagEntry tag{};
        Status status = parseEntry(node, tag);
        if (status.ok()) status = checker.check(tag, line);
        if (!status.ok()) return atPlace(line, status.problem());
        tags.push_back(std::move(tag));
    }
    return tags;
}

// Takes the document's text. No stream of the standard library: pugixml may be built with another.
struct TextWriter final : pugi::xml_writer {
    void write(const void* data, size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }
    std::string text;
};

void appendField(pugi::xml_node& tag, const TagField& field) {
    pugi::xml_node node = tag.append_child("field");
    node.append_attribute("name").set_value(field.name.c_str());
    node.append_attribute("offset").set_value(field.offset);
    node.append_attribute("type").set_value(std::string(nameOf(field.type)).c_str());
    if (field.count != 1) node.append_attribute("count").set_value(field.count);
}

std::string toXml(const std::vector<TagEntry>& tags) {
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("tags");
    for (const TagEntry& tag : tags) {
        pugi::xml_node node = root.append_child("tag");
        node.append_attribute("id").set_value(tag.id);
        node.append_attribute("name").set_value(tag.name.c_str());
        node.append_attribute("size").set_value(tag.size);
        node.append_attribute("kind").set_value(tag.kind == TagKind::fixed ? "fixed" : "block");
        for (const TagField& field : tag.fields) appendField(node, field);
    }
    TextWriter writer;
    document.save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
    return std::move(writer.text);
}

struct FileCloser {
    // Only of a file whose writing failed before: nothing more can be lost.
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Writes a whole file. Only closing it tells whether all bytes arrived.
Status writeFile(const std::string& path, const std::string& text) {
    File file(std::fopen(path.c_str(), "wbe"));
    if (!file) return flaw("a file to write", "none", systemReason(errno));
    if (std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
        std::fclose(file.release()) != 0) {
        return flaw("room for " + std::to_string(text.size()) + " bytes", "none",
                    systemReason(errno));
    }
    return {};
}

}  // namespace

std::string_view nameOf(FieldType type) {
    return kTypes[static_cast<size_t>(type)].name;
}

Result<std::vector<TagEntry>> readTagTable(const std::string& path, TableSource source) {
    std::string text;
    const Status status = readFile(path, source, text);
    if (!status.ok()) return inFile(path, status.problem());
    Result<std::vector<TagEntry>> tags = TableFile().parse(text);
    if (!tags.ok()) return inFile(path, tags.problem());
    return tags;
}

Status writeTagTable(const std::string& path, const std::vector<TagEntry>& tags) {
    EntryChecker checker;
    size_t number = 0;
    for (const TagEntry& tag : tags) {
        const std::string place = "entry " + std::to_string(++number);
        const Status status = checker.check(tag, place);
        if (!status.ok()) return inFile(path, atPlace(place, status.problem()));
    }
    const Status status = writeFile(path, toXml(tags));
    return status.ok() ? status : inFile(path, status.problem());
}

}  // namespace tyktags
