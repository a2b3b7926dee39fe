// What a simulated camera uses when its user brings nothing.
#pragma once

#include "tags/TagTable.h"

#include <string>
#include <vector>

namespace tyksim {

/// A table of tags as a camera has them: values of a few bytes up to 4 KiB, blocks up to 128 KiB,
/// and the tags that the library treats by themselves; with the fields of all that record gives a
/// meaning to.
std::vector<tyktags::TagEntry> defaultTags();

/// A dump configuration, as the text of an XML file, that dumps every tag of `tags` on the pipe
/// type of snapshots.
std::string defaultConfiguration(const std::vector<tyktags::TagEntry>& tags);

/// A tuning file of the MFNR stage.
struct TuningFile {
    const char* name;  ///< in the firmware folder
    const char* text;
};

/// One tuning file for each MFNR version that there is.
const std::vector<TuningFile>& tuningFiles();

}  // namespace tyksim
