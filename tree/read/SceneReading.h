// The reading of a frame's scene-detection record, file by file, for whoever judges the files.
//
// Threads: any. Errors: the operations let std::bad_alloc through.
#pragma once

#include "tags/Problem.h"
#include "tree/read/SceneSources.h"

#include <pugixml.hpp>

#include <array>
#include <iterator>

namespace tyktree {

/// One of the record's binary files.
struct ScenePart {
    const FileEntry* file = nullptr;  ///< points into the listing; null: there is none
    tyktags::Status status;           ///< of reading it, where its size made that worth while
    bool isRead = false;              ///< all its bytes are in the record
};

/// What the files of one frame bring. It points into the listing that it was read from.
struct SceneReading {
    SceneSources sources;
    ScenePart parameter;
    std::array<ScenePart, std::size(kSceneBlocks)> blocks;  ///< in the order of kSceneBlocks
    SceneRecord fromBlocks;                                 ///< zero where no block was read
    const FileEntry* xml = nullptr;                         ///< the XML file; null: there is none
    pugi::xml_document document;  ///< of the XML file where sources.fromFiles is there
};

/// Reads the files of the record that a frame folder holds.
SceneReading readSceneFiles(const FrameListing& listing);

}  // namespace tyktree
