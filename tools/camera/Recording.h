// A recording: a simulated camera that drives the library the way a pipeline does.
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

/// What is recorded, and how.
struct RecordingRequest {
    std::string root;  ///< of the device, as recordRoot() gives it
    int pipe = 1;
    int camera = 0;
    int firstRequest = 1;
    int firstSof = 1;
    std::optional<int> frames;      ///< none: a row each of `values`, or what the pictures have
    std::optional<FrameRate> rate;  ///< none: the pictures' own
    ExifFacts given;                ///< by hand
    std::string values;             ///< path of a table of values; "" for none
    std::string tagsFile;           ///< "" for none
    std::string configFile;         ///< "" for none
    std::vector<std::string> properties;  ///< NAME=VALUE
    int logLevel = 0;
};

/// Records what `source` gives. Everything that the user brings is read and checked before anything
/// is written. Throws Failure, WrongUsage and Interrupted as the verb does.
ExitStatus record(const RecordingRequest& request, FrameSource& source);

}  // namespace tyksim
