// The options that every verb over trees has, and what they pick.
#pragma once

#include "tools/tyksim/Commands.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/TagCatalog.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tyksim {

/// --pipe, --task, --frames, --requests, --sofs, --tags, --jobs.
struct TreeOptions {
    std::optional<int> pipe;
    std::optional<uint32_t> task;
    std::optional<std::string> frames;
    std::optional<std::string> requests;
    std::optional<std::string> sofs;
    std::string tagsFile;
    int jobs = 1;

    /// The selection that the options make. Throws WrongUsage.
    tyktree::FrameSelection selection() const;
};

/// Adds the options above to a verb. `options` takes the values and must outlive their reading.
void addTreeOptions(VerbOptions& verb, TreeOptions& options);

/// --force.
void addForce(VerbOptions& verb, bool& force);

}  // namespace tyksim
