// The scene-detection record as a value: 8512 bytes, fields by name through the library's table.
//
// Threads: any. Errors: the operations that return strings, values or lists let std::bad_alloc
// through.
#pragma once

#include "records/SceneLayout.h"
#include "tags/FieldCodec.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

/// A value of tag 2118.
struct SceneRecord {
    std::array<uint8_t, kSceneRecordBytes> bytes{};
};

/// The fields that a name stands for: the one of that path, or else all of that leaf name.
std::vector<const ::SceneField*> sceneFieldsNamed(std::string_view name);

/// The field that a name stands for (total_gain, exp_time, sx ...); null when there is none or
/// several.
const ::SceneField* findSceneField(std::string_view name);

/// The shortest name that stands for the field alone: its leaf name, or else its path.
std::string_view shortestName(const ::SceneField& field);

/// The value of a field.
tyktags::Value sceneValue(const ::SceneField& field, const SceneRecord& record);

/// The value as people read it; see tyktags::toText().
std::string sceneText(const ::SceneField& field, const SceneRecord& record);

/// The value as the XML file writes it: floats with nine significant digits.
std::string sceneXmlText(const ::SceneField& field, const SceneRecord& record);

/// The values of a field that the XML file carries, in words: "a whole number from 0 to
/// 2147483647". An unsigned field's upper half replays as the largest signed number.
std::string sceneRange(const ::SceneField& field);

/// Whether the XML file carries a field's value.
bool isInSceneRange(const ::SceneField& field, const SceneRecord& record);

/// Stores what `text` says in a field. Where that lies outside sceneRange() the record stays as it
/// is; the problem says the field's path.
tyktags::Status setSceneField(const ::SceneField& field, std::string_view text,
                              SceneRecord& record);

/// Whether two records have the same value in a field.
bool isSameField(const ::SceneField& field, const SceneRecord& a, const SceneRecord& b);

/// The offset in the block of the first byte that two records do not share and that belongs to no
/// field; none where there is no such byte.
std::optional<int> firstDifference(const ::SceneBlock& block, const SceneRecord& a,
                                   const SceneRecord& b);

}  // namespace tyktree
