// The options that every verb over trees has, and what they pick.
#pragma once

#include "tools/tyksim/Commands.h"
#include "tree/FrameSelection.h"
#include "tree/TagCatalog.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace tyksim {

/// --pipe, --task, --frames, --requests, --sofs, --tags, --jobs.
struct TreeOptions {
    std::optional<int> pipe;
    std::optional<uint32_t> task;
    std::string frames;
    std::string requests;
    std::string sofs;
    std::string tagsFile;
    int jobs = 1;

    /// The selection that the options make. Throws WrongUsage.
    tyktree::FrameSelection selection() const;
};

/// Adds the options above to a verb. `options` takes the values and must outlive their reading.
/// The tag table's option bears another name where --tags means something else.
void addTreeOptions(CLI::App& verb, TreeOptions& options, const char* tagsOption = "--tags");

/// --force.
void addForce(CLI::App& verb, bool& force);

/// A tree that a verb opened.
struct OpenedTree {
    tyktree::TreeIndex index;
    tyktree::TagCatalog catalog;
    std::vector<tyktree::FrameRef> frames;  ///< the selected ones; they point into `index`

    OpenedTree(const std::string& given, const TreeOptions& options);
    OpenedTree(const OpenedTree&) = delete;
    OpenedTree& operator=(const OpenedTree&) = delete;
};

/// The names of the tags that the selected frames have, for a tree without a tag table. The first
/// frames tell; a tag that only later ones have can be named once it is in a table.
std::vector<std::string> tagNamesOf(const OpenedTree& tree);

}  // namespace tyksim
