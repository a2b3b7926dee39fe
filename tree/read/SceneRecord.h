// The scene-detection record as a value: 8512 bytes, with access to the fields by name.
//
// Threads: any. Errors: the operations that return strings, values or lists throw std::bad_alloc.
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

/// The fields of a name: the field with that path, else all fields with that leaf name.
std::vector<const ::SceneField*> sceneFieldsNamed(std::string_view name);

/// The field of a name (total_gain, exp_time, sx ...); null when there is no such field or more
/// than one.
const ::SceneField* findSceneField(std::string_view name);

/// The shortest name that only this field has: its leaf name, else its path.
std::string_view shortestName(const ::SceneField& field);

/// The value of a field.
tyktags::Value sceneValue(const ::SceneField& field, const SceneRecord& record);

/// The value as text for people; see tyktags::toText().
std::string sceneText(const ::SceneField& field, const SceneRecord& record);

/// The value as the XML file writes it: floats with nine significant digits.
std::string sceneXmlText(const ::SceneField& field, const SceneRecord& record);

/// The values of a field that survive the XML file, as text: "a whole number from 0 to 2147483647".
/// The upper half of an unsigned type replays as the largest signed number.
std::string sceneRange(const ::SceneField& field);

/// Whether a field's value survives the XML file.
bool isInSceneRange(const ::SceneField& field, const SceneRecord& record);

/// Stores the number in `text` in a field. If it lies outside sceneRange(), the record stays
/// unchanged; the problem names the field's path.
tyktags::Status setSceneField(const ::SceneField& field, std::string_view text,
                              SceneRecord& record);

/// Whether a field has the same value in two records.
bool isSameField(const ::SceneField& field, const SceneRecord& a, const SceneRecord& b);

/// The offset in the block of the first byte outside all fields in which two records differ; none
/// if there is no such byte.
std::optional<int> firstDifference(const ::SceneBlock& block, const SceneRecord& a,
                                   const SceneRecord& b);

}  // namespace tyktree
