// The scene-detection records that a frame folder holds.
//
// Threads: any. Errors: the operations let std::bad_alloc through.
#pragma once

#include "tree/read/FrameListing.h"
#include "tree/read/SceneRecord.h"

#include <optional>
#include <string>

namespace tyktree {

/// Where a frame's record comes from.
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

/// Reads what a frame folder holds of the record.
SceneSources readScene(const FrameListing& listing);

/// Reads a frame's record from the XML file at `path` alone. None where the file cannot be read, or
/// leaves fields to the raw blocks: readScene() tells then.
std::optional<SceneRecord> readSceneXml(const std::string& path);

}  // namespace tyktree
