// tyksim record: a simulated camera that uses the library like a pipeline.
#include "dump/DumpProperty.h"
#include "tools/camera/RecordRoot.h"
#include "tools/camera/Recording.h"
#include "tools/console/VerbOptions.h"
#include "tools/tyksim/Commands.h"
#include "tools/tyksim/RecordInput.h"

#include <climits>

#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <string>

namespace tyksim {

namespace {

constexpr const char* kFooter = R"(
The tree is made at ROOT/data/vendor/cameraserver/tykdump; ROOT represents the root of a device's
file system. The tag table is ROOT/tags.xml, the dump configuration pipe<N>_dumpConfig.xml in the
tree; missing ones are written, existing ones are kept. Only one recorder at a time may work on a
pipe; different pipes may be recorded at once.

A burst of photographs repeats from its beginning. A photograph's exposure time, ISO and exposure
bias go into the parameters, unless --exposure, --iso or --ev are given; it is not rotated. Other
exposure values, those of a test pattern and all other parameters are simulated; the number of these
frames is printed at the end.

A video (--y4m) must have progressive frames of 4:2:0 with 8 bits; ffmpeg converts any other video.
Limited range, the default without XCOLORRANGE=FULL in the video's header, is converted to full. Bare
pictures (--raw) have no headers; one follows the other. A video and bare pictures do not repeat. With
a rate, a frame's time is the start plus its number divided by the rate.

The columns of TABLE (--values) have the names of `tyksim track`: total_gain, TAG.field. `tyksim track`
prints such tables with --csv and --rows. Columns that identify the frame are ignored; a value with an
empty cell stays simulated. An empty text is "". Columns of fields that share bytes must agree.

Images are NV21 with rows tightly packed. If the width or height is odd, the chroma rows have
2 x ceil(width / 2) bytes, and the first (width x height x 3) / 2 bytes of the image are dumped.

Failures that the library reports, and incomplete files, are findings: the first of each kind is
shown with the system's reason, the others are counted. Ctrl-C ends the recording after the current
frame; recorded frames stay. An incomplete picture is a finding too and is not recorded.

Exit status: 0 recorded, 1 failed, 2 wrong usage, 3 recorded with findings.

Examples:
  tyksim record /tmp/phone photo1.jpg photo2.jpg --frames 10
  tyksim record /tmp/phone photo1.jpg --exposure 1/125 --iso 200 --ev -0.5
  ffmpeg -i clip.mp4 -f yuv4mpegpipe - | tyksim record /tmp/phone --y4m -
  tyksim record /tmp/phone pictures.nv12 --raw nv12 --size 1920x1080 --fps 30
  tyksim record /tmp/phone photo1.jpg --values gains.csv
  tyksim record /tmp/phone --size 1920x1080 --pipe 0 --property persist.vendor.cam.isstest=20
)";

struct RecordOptions {
    std::string root;
    RecordInput input;
    std::string exposure;
    RecordingRequest request;
};

/// An exposure time in seconds, "1/125" or "0.008", as nanoseconds.
uint64_t parseExposure(const std::string& given) {
    const size_t slash = given.find('/');
    std::optional<double> seconds = numberFrom(given.substr(0, slash));
    if (seconds && slash != std::string::npos) {
        const double divisor = numberFrom(given.substr(slash + 1)).value_or(0);
        seconds = divisor > 0 ? std::optional(*seconds / divisor) : std::nullopt;
    }
    constexpr double kNanoseconds = 1e9;
    constexpr double kMost = 9e9;  // seconds; the nanoseconds fit 63 bits
    if (seconds && *seconds >= 1 / kNanoseconds && *seconds <= kMost) {
        return static_cast<uint64_t>(std::llround(*seconds * kNanoseconds));
    }
    throw WrongUsage("--exposure: expected seconds such as 1/125 or 0.008, found " + given);
}

ExitStatus run(RecordOptions& options) {
    RecordingRequest& request = options.request;
    if (!options.exposure.empty()) request.given.exposureNs = parseExposure(options.exposure);
    request.rate = givenRate(options.input);
    request.values = options.input.values;
    request.root = recordRoot(options.root, options.input.images);
    const std::unique_ptr<FrameSource> source = makeSource(options.input);
    return record(request, *source);
}

// The default of each option for the exposure, in the help.
constexpr const char* kExposureDefault = "the photograph's, or simulated";

void addFrameOptions(VerbOptions& verb, RecordOptions& options) {
    RecordingRequest& request = options.request;
    verb.option("--frames", request.frames, "Frames to record")
        .takes(wholeNumber(1, 100000000))
        .valueName("N")
        .defaultText(
            "one per row of TABLE, all of a video or of bare pictures, one per photograph, or 5");
    verb.option("--pipe", request.pipe, "Pipe id")
        .takes(wholeNumber(0, INT_MAX))
        .valueName("ID")
        .showDefault();
    verb.option("--camera", request.camera, "Camera id")
        .takes(wholeNumber(0, 255))
        .valueName("ID")
        .showDefault();
    verb.option("--first-request", request.firstRequest, "Request id of the first frame")
        .takes(wholeNumber(0, INT_MAX))
        .valueName("ID")
        .showDefault();
    verb.option("--first-sof", request.firstSof, "Sof id of the first frame")
        .takes(wholeNumber(0, INT_MAX))
        .valueName("ID")
        .showDefault();
    verb.option("--exposure", options.exposure, "Exposure time of every frame")
        .valueName("SECONDS")
        .defaultText(kExposureDefault);
    verb.option("--iso", request.given.iso, "ISO of every frame")
        .takes(wholeNumber(1, UINT_MAX))
        .valueName("N")
        .defaultText(kExposureDefault);
    verb.option("--ev", request.given.biasEv, "Exposure bias of every frame")
        .takes(realNumber(-100, 100))
        .valueName("EV")
        .defaultText(kExposureDefault);
}

}  // namespace

Action defineRecord(VerbOptions& verb) {
    const auto options = std::make_shared<RecordOptions>();
    verb.option("ROOT", options->root, "Folder that stands for the device's root; made if needed")
        .required();
    addRecordInput(verb, options->input);
    addFrameOptions(verb, *options);
    verb.option("--tags", options->request.tagsFile, "Tag table to use from now on; copied to ROOT")
        .valueName("FILE");
    verb.option("--config", options->request.configFile,
                "Dump configuration to use from now on; copied into the tree")
        .valueName("FILE");
    verb.option("--property", options->request.properties,
                "Sets a system property; may be given more than once")
        .valueName("NAME=VALUE")
        .defaultText(fmt::format("{}=1", kDumpProperty))
        .oneValueEach();
    addLogLevel(verb, options->request.logLevel);
    verb.footer(kFooter);
    return [options] { return run(*options); };
}

}  // namespace tyksim
