// The options of `tyksim record` that say where pictures come from.
#pragma once

#include "tools/camera/FrameSource.h"
#include "tools/console/VerbOptions.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// The options' values, as given.
struct RecordInput {
    std::vector<std::string> images;  ///< photographs, or files of bare pictures
    std::string video;                ///< path of a YUV4MPEG2 video; "" for none
    std::string raw;                  ///< planes of bare pictures; "" for none
    std::string size;
    int stride = 0;
    GivenSamples samples;
    std::string rate;
    std::string values;  ///< path of a table of values; "" for none
};

/// Adds the options. `input` takes the values and must outlive the reading of the options.
void addRecordInput(VerbOptions& verb, RecordInput& input);

/// The rate that --fps gives; none where it does not. Throws WrongUsage for one that frame folders
/// have no names for.
std::optional<FrameRate> givenRate(const RecordInput& input);

/// The pictures that the options name. Throws WrongUsage for options that do not go together, and
/// what the makers of the sources throw.
std::unique_ptr<FrameSource> makeSource(const RecordInput& input);

}  // namespace tyksim
