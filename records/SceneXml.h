// The XML file of the scene-detection record: the named fields between a record and a document.
//
// `record` is kSceneRecordBytes long and needs no alignment. Threads: any; numbers are converted
// alike in every locale. Errors: the operations that make and read documents let std::bad_alloc
// through.
#pragma once

#include <pugixml.hpp>

struct SceneField;

/// Fills the empty `document` with the record's named fields. Returns false when memory ran out,
/// which the XML library shows only in the empty nodes it hands out; half a document stands there
/// then, which would replay as zeros.
bool buildSceneDocument(pugi::xml_document& document, const unsigned char* record);

/// Gives the document's text to `writer`, byte for byte as the file holds it.
void saveSceneDocument(const pugi::xml_document& document, pugi::xml_writer& writer);

/// The element that holds the field's value; empty where it or one above it is missing.
pugi::xml_node findSceneElement(const pugi::xml_document& document, const SceneField& field);

/// Lays the document's values over `record`: what is missing becomes 0 or stays, as kSceneFields
/// says of it. Returns whether the element of the exposure values is there.
bool readSceneFields(const pugi::xml_document& document, unsigned char* record);
