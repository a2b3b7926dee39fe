// Reads a dump configuration as the library does. Threads: any, with an object of its own each.
#pragma once

#include "tags/Problem.h"

#include <pugixml.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace tyktree {

/// An entry's camera or sof id: that of the frame.
constexpr int kFramesOwn = -1;

/// An attribute of the root element that the library ignores: "no" means that the tree has no
/// images on purpose.
constexpr const char* kImagesAttribute = "images";

/// One entry. An omitted element has the library's default.
struct ConfigEntry {
    std::string tagName;  ///< "" if the attribute is missing
    int pipe = 0;         ///< pipe type
    int camId = kFramesOwn;
    int sofId = kFramesOwn;
    int dumpType = 0;
    pugi::xml_node element;  ///< in the file's document
    const char* attribute;   ///< the name of the attribute that holds the tag's name

    /// Whether a file is written for the entry's dump type.
    bool writesFile() const;
};

/// A configuration after reading. It owns the document of its entries.
struct DumpConfigFile {
    std::string text;
    pugi::xml_document document;
    pugi::xml_node root;  ///< dumpconfig; empty if that is missing
    std::vector<ConfigEntry> entries;
    tyktags::Status status;  ///< of reading and parsing; the reason names the line

    /// Whether the frames should have images.
    bool expectsImages() const;

    /// The line, from 1, that contains the byte at `offset` of the document.
    size_t lineAt(std::ptrdiff_t offset) const;
};

/// Reads the configuration at `path`. A failure is in `out.status`; without the element dumpconfig,
/// `out.root` is empty. Errors: std::bad_alloc.
void readDumpConfig(const std::string& path, DumpConfigFile& out);

}  // namespace tyktree
