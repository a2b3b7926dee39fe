// The scene-detection record as a value: 8512 bytes, fields by name through the library's table.
#pragma once

#include "records/SceneLayout.h"
#include "tree/check/Finding.h"
#include "tree/read/FrameListing.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tyktree {

/// A value of tag 2118.
struct SceneRecord {
    std::array<uint8_t, kSceneRecordBytes> bytes{};
};

/// The field of that path, or of that leaf name where the leaf is unique (total_gain, exp_time,
/// sx ...); null when there is none or several.
const ::SceneField* findSceneField(std::string_view name);

/// The value as people read it: integers in decimal, floats in the shortest form that reads back
/// the same.
std::string sceneText(const ::SceneField& field, const SceneRecord& record);

/// The value as the XML file writes it: floats with nine significant digits.
std::string sceneXmlText(const ::SceneField& field, const SceneRecord& record);

/// Stores a value. Returns "", or what is wrong with `text`, the record unchanged: no number, or
/// one beyond what the record's text file carries (an unsigned field's upper half replays as the
/// largest signed number).
std::string setSceneField(const ::SceneField& field, std::string_view text, SceneRecord& record);

/// Where a record comes from.
struct SceneSources {
    std::optional<SceneRecord> fromFiles;      ///< XML over blocks, as a folder replay builds it
    std::optional<SceneRecord> fromParameter;  ///< the parameter file of tag 2118 on pipe 1
    bool xmlThere = false;
    std::string problem;  ///< why the XML file that is there cannot be read; "" where it can

    /// The record that stands for the frame: what a folder replay publishes, and in a frame without
    /// an XML file, for which it publishes none, what the parameter file holds. Null where there is
    /// neither.
    const SceneRecord* record() const;
};

/// Reads what a frame folder holds of the record. Findings (XML that cannot be read, fields that
/// are missing or beyond their type, blocks missing or of the wrong size, XML, blocks and parameter
/// file disagreeing) go to `findings` where it is not null, with `place`.
SceneSources readScene(const FrameListing& listing, const FramePlace& place, FindingSink* findings);

/// Reads a frame's record from the XML file at `path` alone. None where the file cannot be read, or
/// leaves fields to the raw blocks: readScene() tells then.
std::optional<SceneRecord> readSceneXml(const std::string& path);

}  // namespace tyktree
