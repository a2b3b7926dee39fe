// Makes a recording: a simulated camera that uses the library like a pipeline. Threads: one.
#pragma once

#include "tools/camera/ExifFacts.h"
#include "tools/camera/FrameSource.h"
#include "tools/console/Console.h"
#include "tools/picture/FrameRate.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// The options of a recording.
struct RecordingRequest {
    std::string root;  ///< device root, from recordRoot()
    int pipe = 1;
    int camera = 0;
    int firstRequest = 1;
    int firstSof = 1;
    std::optional<int> frames;            ///< none: one per row of `values`, or all pictures
    std::optional<FrameRate> rate;        ///< none: the pictures' own
    ExifFacts given;                      ///< from options
    std::string values;                   ///< path of a table of values; "" for none
    std::string tagsFile;                 ///< "" for none
    std::string configFile;               ///< "" for none
    std::vector<std::string> properties;  ///< NAME=VALUE
    int logLevel = 0;
};

/// Records the pictures of `source`. Reads and checks all inputs before it writes anything. Throws
/// Failure, WrongUsage and Interrupted.
ExitStatus record(const RecordingRequest& request, FrameSource& source);

}  // namespace tyksim
