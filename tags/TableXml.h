// Writes the parts of a tag table as XML.
//
// Threads: any. Errors: std::bad_alloc.
#pragma once

#include "tags/TagField.h"

#include <pugixml.hpp>

#include <cstdint>
#include <string>

namespace tyktags {

void appendField(pugi::xml_node tag, const TagField& field);
void appendEnum(pugi::xml_node root, const TagEnum& names);

/// The document as text. If `format` indents, it does so by two blanks.
std::string savedText(const pugi::xml_document& document, unsigned format);

/// "<field name=.../>".
std::string toXml(const TagField& field);

/// "<enum>" with a line for each value. `newLine` is a newline and the indentation of the element.
std::string toXml(const TagEnum& names, const std::string& newLine);

}  // namespace tyktags
