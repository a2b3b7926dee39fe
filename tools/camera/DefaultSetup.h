// The default set-up of a simulated camera. Threads: any.
#pragma once

#include "tags/TagTable.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

// Parts of the simulated blocks. A block is never shorter than its parts; noise follows them.
constexpr uint32_t kShadingRows = 12;
constexpr uint32_t kShadingColumns = 16;
constexpr uint32_t kHistogramBins = 256;
constexpr uint32_t kZoneRows = 24;
constexpr uint32_t kZoneColumns = 32;
constexpr uint32_t kGyroSamples = 190;

/// A table of tags like that of a camera: values of a few bytes up to 4 KiB, blocks up to 128 KiB,
/// and the tags that the library itself knows; with the fields of all simulated values.
std::vector<tyktags::TagEntry> defaultTags();

/// A dump configuration, as the text of an XML file, that dumps every tag of `tags` on the pipe
/// type of snapshots.
std::string defaultConfiguration(const std::vector<tyktags::TagEntry>& tags);

/// A tuning file of the MFNR stage.
struct TuningFile {
    const char* name;  ///< in the firmware folder
    const char* text;
};

/// One tuning file for each MFNR version.
const std::vector<TuningFile>& tuningFiles();

}  // namespace tyksim
