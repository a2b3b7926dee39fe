// Reads a frame's scene-detection record file by file, for checks of the files.
//
// Threads: any. Errors: std::bad_alloc.
#pragma once

#include "tags/Problem.h"
#include "tree/read/SceneSources.h"

#include <pugixml.hpp>

#include <array>
#include <iterator>

namespace tyktree {

/// One of the record's binary files.
struct ScenePart {
    const FileEntry* file = nullptr;  ///< points into the listing; null: no such file
    tyktags::Status status;           ///< of reading it; a file of the wrong size is not read
    bool isRead = false;              ///< the record holds all its bytes
};

/// The content of one frame's files. It points into the listing from which it was read, which must
/// outlive it.
struct SceneReading {
    SceneSources sources;
    ScenePart parameter;
    std::array<ScenePart, std::size(kSceneBlocks)> blocks;  ///< in the order of kSceneBlocks
    SceneRecord fromBlocks;                                 ///< zeros where no block was read
    const FileEntry* xml = nullptr;                         ///< the XML file; null: no such file
    pugi::xml_document document;  ///< of the XML file, if sources.fromFiles has a value
};

/// Reads the record's files of a frame folder.
SceneReading readSceneFiles(const FrameListing& listing);

}  // namespace tyktree
