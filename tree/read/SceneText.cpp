#include "tree/read/SceneText.h"

#include "tags/XmlText.h"

#include <pugixml.hpp>

#include <algorithm>
#include <new>
#include <optional>

namespace tyktree {

namespace {

constexpr std::string_view kSpace = " \t\r\n";

/// A range of the document, in code units, and its replacement.
struct Change {
    size_t begin;
    size_t end;
    std::string text;
};

std::string element(std::string_view name, const std::string& content) {
    const std::string word(name);
    return "<" + word + ">" + content + "</" + word + ">";
}

/// The first text in an element, which is the one that the library reads.
pugi::xml_node firstText(pugi::xml_node node) {
    for (const pugi::xml_node child : node.children()) {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) return child;
    }
    return {};
}

size_t offsetOf(pugi::xml_node node) {
    return static_cast<size_t>(node.offset_debug());
}

/// The position after the white space that begins at `at`.
size_t afterSpace(std::string_view text, size_t at) {
    return std::min(text.find_first_not_of(kSpace, at), text.size());
}

/// Replaces a text by `content` and keeps the white space around it.
Change replaced(std::string_view text, pugi::xml_node node, std::string content) {
    size_t begin = offsetOf(node);
    const char* const mark = node.type() == pugi::node_cdata ? "]]>" : "<";
    size_t end = std::min(text.find(mark, begin), text.size());
    begin = std::min(afterSpace(text, begin), end);
    while (end > begin && kSpace.find(text[end - 1]) != std::string_view::npos) --end;
    return {begin, end, std::move(content)};
}

/// Inserts `content` before the content of an element. It gets a line of its own if the elements
/// after it have one.
Change inserted(std::string_view text, pugi::xml_node node, const std::string& content,
                bool isElement) {
    const size_t end = tyktags::endOfTag(text, offsetOf(node)) - 1;  // of the ">"
    if (text[end - 1] == '/') {
        return {end - 1, end + 1, ">" + content + "</" + node.name() + ">"};
    }
    const std::string_view space = text.substr(end + 1, afterSpace(text, end + 1) - end - 1);
    return {end + 1, end + 1, isElement ? std::string(space) + content : content};
}

/// The fields to add together with the missing element at `path`: `field`, and the fields that the
/// library takes from the blocks only while the element is missing.
std::string fieldsIn(std::string_view path, const ::SceneField& field, const SceneRecord& record) {
    std::string content;
    for (const ::SceneField& other : kSceneFields) {
        const bool isKept = other.missing == SceneDefault::kKeep;
        const bool isWanted = isKept || std::string_view(other.path) == field.path;
        if (!isWanted || other.parentPath() != path) continue;
        content += element(other.leafName(), sceneXmlText(other, record));
    }
    return content;
}

/// The nested elements of the field's path, from the piece at `at` on.
std::string made(const ::SceneField& field, size_t at, const SceneRecord& record) {
    const std::string_view path = field.path;
    const size_t end = path.find('/', at);
    if (end == std::string_view::npos) return element(path.substr(at), sceneXmlText(field, record));
    const bool holdsField = path.find('/', end + 1) == std::string_view::npos;
    return element(path.substr(at, end - at), holdsField
                                                  ? fieldsIn(path.substr(0, end), field, record)
                                                  : made(field, end + 1, record));
}

/// The change that gives `field` its value in `record`; none if there is no root element.
std::optional<Change> changeFor(std::string_view text, const pugi::xml_document& document,
                                const ::SceneField& field, const SceneRecord& record) {
    pugi::xml_node node = document.child(kSceneRootName);
    if (!node) return std::nullopt;
    const std::string_view path = field.path;
    for (size_t at = 0; at < path.size();) {
        const size_t end = std::min(path.find('/', at), path.size());
        const pugi::xml_node child = node.child(std::string(path.substr(at, end - at)).c_str());
        if (!child) return inserted(text, node, made(field, at, record), true);
        node = child;
        at = end + 1;
    }
    const std::string number = sceneXmlText(field, record);
    if (const pugi::xml_node old = firstText(node)) return replaced(text, old, number);
    return inserted(text, node, number, false);
}

}  // namespace

tyktags::Status SceneText::set(const ::SceneField& field, const SceneRecord& record) {
    using pugi::xml_encoding;
    pugi::xml_document document;
    pugi::xml_parse_result result = document.load_buffer(bytes_.data(), bytes_.size());
    if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
    if (!result) return tyktags::flaw("", "", result.description());
    const xml_encoding encoding = result.encoding;
    const bool is16 = encoding == pugi::encoding_utf16_le || encoding == pugi::encoding_utf16_be;
    const bool is32 = encoding == pugi::encoding_utf32_le || encoding == pugi::encoding_utf32_be;
    unit_ = is32 ? 4 : is16 ? 2 : 1;
    isBigEndian_ = encoding == pugi::encoding_utf16_be || encoding == pugi::encoding_utf32_be;
    const std::string text = ascii();
    result =
        document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory) throw std::bad_alloc();
    if (!result) return tyktags::flaw("", "", result.description());
    const std::optional<Change> change = changeFor(text, document, field, record);
    if (!change) return tyktags::flaw("", "", std::string("no element ") + kSceneRootName);
    replace(change->begin, change->end, change->text);
    return {};
}

/// The document with one byte per code unit, so that positions agree. ASCII characters, which all
/// markup consists of, stay; any other unit becomes a byte above ASCII.
std::string SceneText::ascii() const {
    if (unit_ == 1) return bytes_;
    std::string text;
    for (size_t at = 0; at + unit_ <= bytes_.size(); at += unit_) {
        const size_t low = isBigEndian_ ? unit_ - 1 : 0;
        bool isAscii = true;
        for (size_t i = 0; i < unit_; ++i) {
            const auto byte = static_cast<uint8_t>(bytes_[at + i]);
            if (i == low ? byte >= 0x80 : byte != 0) isAscii = false;
        }
        text += isAscii ? bytes_[at + low] : '\x80';
    }
    return text;
}

void SceneText::replace(size_t begin, size_t end, std::string_view text) {
    std::string units;
    for (const char c : text) {
        std::string unit(unit_, '\0');
        unit[isBigEndian_ ? unit_ - 1 : 0] = c;
        units += unit;
    }
    bytes_.replace(begin * unit_, (end - begin) * unit_, units);
}

}  // namespace tyktree
