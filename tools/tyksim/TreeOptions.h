// The options of every verb over trees, and their selection. Threads: one.
#pragma once

#include "tools/picture/PictureOptions.h"
#include "tools/tyksim/Commands.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/TagCatalog.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tyksim {

/// --pipe, --task, --frames, --requests, --sofs, --where, --order, --stride, --tags, --jobs.
struct TreeOptions {
    std::optional<int> pipe;
    std::optional<uint32_t> task;
    std::optional<std::string> frames;
    std::optional<std::string> requests;
    std::optional<std::string> sofs;
    std::optional<std::string> where;
    std::string tagsFile;
    int jobs = 1;
    AssumedPicture assumed;  ///< the format of images, which --where may measure

    /// The selection from the options. Throws WrongUsage.
    tyktree::FrameSelection selection() const;
};

/// Adds the options above to a verb. `options` receives the values and must exist until the command
/// line is parsed.
void addTreeOptions(VerbOptions& verb, TreeOptions& options);

/// Adds --force.
void addForce(VerbOptions& verb, bool& force);

}  // namespace tyksim
