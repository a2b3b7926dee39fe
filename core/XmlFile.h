// Reading XML files that come from outside.
#pragma once

#include <pugixml.hpp>

/// Largest XML file that is read. The document built from a file of a few bytes per element takes
/// some twenty times its size in memory, and the camera process must survive it.
constexpr long kMaxXmlBytes = 16L << 20;

/// Parses the regular file `path` with the parser's default options, encoding detected. A file that
/// cannot be opened, read to its end or held, or that is larger than kMaxXmlBytes, gives an empty
/// document and a status other than status_ok.
pugi::xml_parse_result parseXmlFile(pugi::xml_document& document, const char* path);
