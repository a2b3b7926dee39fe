// A dump configuration as the library reads it: what each frame is to hold.
#pragma once

#include "tags/Problem.h"

#include <pugixml.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace tyktree {

/// Stands for "the frame's own" in an entry's camera and sof id.
constexpr int kFramesOwn = -1;

/// An attribute of the root element, of which the library knows nothing: "no" says of a tree that
/// its images were left out on purpose.
constexpr const char* kImagesAttribute = "images";

/// One entry. What the file leaves out is as the library takes it.
struct ConfigEntry {
    std::string tagName;  ///< "" where the attribute is missing
    int pipe = 0;         ///< pipe type
    int camId = kFramesOwn;
    int sofId = kFramesOwn;
    int dumpType = 0;
    pugi::xml_node element;  ///< in the file's document
    const char* attribute;   ///< the one that the name stands in

    /// Whether the entry's dump type makes a file.
    bool writesFile() const;
};

/// A configuration that was read.
struct DumpConfigFile {
    std::string text;
    pugi::xml_document document;
    pugi::xml_node root;  ///< dumpconfig; none where that is missing
    std::vector<ConfigEntry> entries;
    tyktags::Status status;  ///< of reading and parsing it; the reason names the line

    /// Whether the frames are to have images.
    bool expectsImages() const;

    /// The line that stands at an offset of the document, from 1.
    size_t lineAt(std::ptrdiff_t offset) const;
};

/// Reads the configuration at `path`; what is wrong with it is in `status` and `root`.
void readDumpConfig(const std::string& path, DumpConfigFile& out);

}  // namespace tyktree
