// Values of a tree as JSON.
#pragma once

#include "tools/json/Json.h"
#include "tree/check/Finding.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/FrameValues.h"
#include "tree/read/Parameter.h"
#include "tree/read/SceneRecord.h"

namespace tyksim {

/// {"number": 1, "name": "AUTO"}; the name is null where the number has none.
Json toJson(const tyktags::NamedNumber& value);

/// A number, a number with a name, a text (U+FFFD for each byte that is no UTF-8), or null.
/// Not-a-number and the infinities, which JSON does not have, come as the texts "nan", "inf" and
/// "-inf".
Json toJson(const tyktags::Value& value);

/// Adds a value to an object; a text as addText() does.
void addValue(Json& object, const std::string& key, const tyktags::Value& value);

/// Adds a field under its name: one number or text by itself, an array as the list of the elements
/// that are there (of several dimensions as lists of lists), and null where there is none.
void addField(Json& object, const tyktree::DecodedField& field);

/// Adds a value under its name as addField() does; and a tag without fields as {"crc32":
/// "9f3a21bc", "size": 4096}.
void addValue(Json& object, const std::string& key, const tyktree::FrameValue& value);

/// The record's named fields by path, as an object.
Json toJson(const tyktree::SceneRecord& record);

/// Where a frame stands and its ids; null for what its name does not say.
Json identityOf(const tyktree::FrameRef& frame);

/// A finding with its place and its hint, or else its rule's.
Json toJson(const tyktree::Finding& finding);

}  // namespace tyksim
