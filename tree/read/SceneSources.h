// The scene-detection records in a frame folder.
//
// Threads: any. Errors: std::bad_alloc.
#pragma once

#include "tags/Problem.h"
#include "tree/read/FrameListing.h"
#include "tree/read/SceneRecord.h"

#include <optional>
#include <string>

namespace tyktree {

/// The sources of a frame's record. A value.
struct SceneSources {
    std::optional<SceneRecord>
        fromFiles;  ///< blocks and then XML, as a folder replay combines them
    std::optional<SceneRecord> fromParameter;  ///< the parameter file of tag 2118 on pipe 1
    bool xmlThere = false;
    tyktags::Status status;  ///< whether the XML file, if there is one, could be read

    /// The frame's record: the one that a folder replay publishes. For a frame without an XML file
    /// a replay publishes none; this is then the record in the parameter file. Null if there is
    /// neither.
    const SceneRecord* record() const;
};

/// Reads the record's sources in a frame folder.
SceneSources readScene(const FrameListing& listing);

/// Reads a frame's record from the XML file at `path` alone. Returns none if the file cannot be
/// read or leaves fields to the raw blocks; use readScene() then.
std::optional<SceneRecord> readSceneXml(const std::string& path);

}  // namespace tyktree
