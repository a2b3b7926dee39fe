// The options of `tyksim record` for the source of pictures. Threads: one.
#pragma once

#include "tools/camera/FrameSource.h"
#include "tools/console/VerbOptions.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// The values of the options.
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

/// Adds the options. `input` receives the values and must exist until the command line is parsed.
void addRecordInput(VerbOptions& verb, RecordInput& input);

/// The rate of --fps; none without the option. Throws WrongUsage for a rate that the names of frame
/// folders cannot represent.
std::optional<FrameRate> givenRate(const RecordInput& input);

/// Makes the source of pictures. Throws WrongUsage for options that exclude each other, and the
/// exceptions of the sources.
std::unique_ptr<FrameSource> makeSource(const RecordInput& input);

}  // namespace tyksim
