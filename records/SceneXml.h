// The XML file of the scene-detection record: moves the named fields between a record and a
// document.
//
// `record` is kSceneRecordBytes long and needs no alignment. Threads: any. The conversion of
// numbers does not depend on the locale. Errors: the operations that make and read documents throw
// std::bad_alloc.
#pragma once

#include <pugixml.hpp>

struct SceneField;

/// Fills the empty `document` with the record's named fields. Returns false when memory runs out;
/// the XML library shows this only by empty nodes. The document is then incomplete and must not be
/// saved, because its missing values would replay as zeros.
bool buildSceneDocument(pugi::xml_document& document, const unsigned char* record);

/// Passes the document's text to `writer`, byte for byte as in the file.
void saveSceneDocument(const pugi::xml_document& document, pugi::xml_writer& writer);

/// The element that holds the field's value; empty when it or one of its ancestors is missing.
pugi::xml_node findSceneElement(const pugi::xml_document& document, const SceneField& field);

/// Writes the document's values over those of `record`. A missing value becomes 0 or stays
/// unchanged, as kSceneFields defines. Returns whether the document has the element of the exposure
/// values.
bool readSceneFields(const pugi::xml_document& document, unsigned char* record);
