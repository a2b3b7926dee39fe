// Converts values of a tree to JSON. Threads: any.
#pragma once

#include "tools/json/Json.h"
#include "tree/check/Finding.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/FrameValues.h"
#include "tree/read/Parameter.h"
#include "tree/read/SceneRecord.h"

namespace tyksim {

/// {"number": 1, "name": "AUTO"}; the name is null if the number has none.
Json toJson(const tyktags::NamedNumber& value);

/// A number, a number with a name, a text (U+FFFD for each byte that is not UTF-8), or null. NaN
/// and the infinities, which JSON does not have, become the texts "nan", "inf" and "-inf".
Json toJson(const tyktags::Value& value);

/// Adds a value to an object; a text like addText().
void addValue(Json& object, const std::string& key, const tyktags::Value& value);

/// Adds a field under its name: a single number or text as such, an array as the list of its
/// existing elements (nested lists for several dimensions), and null if there are none. If a text
/// in an array is not UTF-8, a second member like that of addText() has the bytes of all its texts.
void addField(Json& object, const tyktree::DecodedField& field);

/// Adds a value under its name like addField(), and a tag without fields as {"crc32": "9f3a21bc",
/// "size": 4096}.
void addValue(Json& object, const std::string& key, const tyktree::FrameValue& value);

/// The record's named fields by path, as an object.
Json toJson(const tyktree::SceneRecord& record);

/// The position and the ids of a frame; null for ids that its name does not have.
Json identityOf(const tyktree::FrameRef& frame);

/// Whether rows identify their frame by a column of this name: path, pipe, task, frame, request,
/// sof, time, and path_base64.
bool identifiesFrame(std::string_view column);

/// A finding with its place and its hint, or its rule's hint.
Json toJson(const tyktree::Finding& finding);

}  // namespace tyksim
