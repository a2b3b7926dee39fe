// How the parts of a tag table are written.
//
// Threads: any. Errors: the operations let std::bad_alloc through.
#pragma once

#include "tags/TagField.h"

#include <pugixml.hpp>

#include <cstdint>
#include <string>

namespace tyktags {

void appendField(pugi::xml_node tag, const TagField& field);
void appendEnum(pugi::xml_node root, const TagEnum& names);

/// The document as text, indented by two blanks where `format` indents.
std::string savedText(const pugi::xml_document& document, unsigned format);

/// "<field name=.../>".
std::string toXml(const TagField& field);

/// "<enum>" with a line for each value. `newLine` is the end of a line and what stands in front of
/// the element in the next one.
std::string toXml(const TagEnum& names, const std::string& newLine);

/// The version of the format whose readers understand the field.
uint32_t versionOf(const TagField& field);

}  // namespace tyktags
