// Reads XML files from outside the library.
#pragma once

#include <pugixml.hpp>

/// Size limit of an XML file. A document whose elements take a few bytes each needs about twenty
/// times the file's size in memory, and the camera process must survive that.
constexpr long kMaxXmlBytes = 16L << 20;

/// Parses the regular file `path` with the parser's default options, encoding detected. A file that
/// cannot be opened, cannot be read to its end, does not fit in memory or is larger than
/// kMaxXmlBytes gives an empty document and a status other than status_ok. Threads: any, with a
/// document of their own each. Throws nothing.
pugi::xml_parse_result parseXmlFile(pugi::xml_document& document, const char* path);
