#include "tree/read/XmlExtra.h"

#include "tags/Words.h"

#include <pugixml.hpp>

namespace tyktree {

namespace {

bool hasBytesForUnits(pugi::xml_encoding encoding) {
    return encoding == pugi::encoding_utf8 || encoding == pugi::encoding_latin1;
}

}  // namespace

std::optional<XmlExtra> findOutsideRoot(const std::string& text) {
    pugi::xml_document document;
    const unsigned options = pugi::parse_default | pugi::parse_fragment;
    const pugi::xml_parse_result result = document.load_buffer(text.data(), text.size(), options);
    if (!result) return std::nullopt;
    bool rooted = false;
    for (const pugi::xml_node node : document.children()) {
        if (node.type() == pugi::node_element && !rooted) {
            rooted = true;
        } else if (node.type() == pugi::node_element) {
            return XmlExtra{node.offset_debug(), std::string("the element ") + node.name()};
        } else {
            return XmlExtra{node.offset_debug(), "the text " + tyktags::quoted(node.value())};
        }
    }
    // A zero byte ends the text for the parser.
    const size_t zero = text.find('\0');
    if (zero == std::string::npos || !hasBytesForUnits(result.encoding)) return std::nullopt;
    return XmlExtra{static_cast<std::ptrdiff_t>(zero), "a zero byte, which ends the reading"};
}

}  // namespace tyktree
