#include "tools/tyksim/RecordInput.h"

#include "tags/Digits.h"
#include "tools/console/Console.h"
#include "tools/files/InputStream.h"
#include "tools/picture/FrameRate.h"
#include "tools/picture/PictureOptions.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

constexpr const char* kPatternSize = "640x480";

struct PlanesWord {
    const char* word;
    RawFormat::Planes planes;
};

constexpr PlanesWord kPlanes[] = {{"nv21", RawFormat::Planes::kNv21},
                                  {"nv12", RawFormat::Planes::kNv12},
                                  {"i420", RawFormat::Planes::kI420}};

/// One part of WxH; 0 if it is not a number from 1 to `limit` in at most five digits.
int sizePart(const std::string& digits, int limit) {
    if (digits.size() > 5) return 0;
    const auto value = tyktags::parseDigits<uint32_t>(digits);
    return value && *value <= static_cast<uint32_t>(limit) ? static_cast<int>(*value) : 0;
}

std::pair<int, int> parseSize(const std::string& given) {
    const size_t cross = std::min(given.find('x'), given.size());
    const int width = sizePart(given.substr(0, cross), kMaxWidth);
    const int height = cross < given.size() ? sizePart(given.substr(cross + 1), kMaxHeight) : 0;
    if (width > 0 && height > 0) return {width, height};
    throw WrongUsage(fmt::format("--size: expected WxH from 1x1 to {}x{}, found {}", kMaxWidth,
                                 kMaxHeight, given));
}

RawFormat rawFormat(const RecordInput& input) {
    const auto* const word =
        std::find_if(std::begin(kPlanes), std::end(kPlanes),
                     [&input](const PlanesWord& planes) { return input.raw == planes.word; });
    const auto [width, height] = parseSize(input.size);
    if (input.stride > 0 && input.stride < width) {
        throw WrongUsage(fmt::format("--stride: expected at least the {} bytes of a row, found {}",
                                     width, input.stride));
    }
    return {word->planes, width, height, input.stride};
}

/// Refuses standard input as the source of two inputs.
void requireOneReader(const RecordInput& input) {
    const auto readers = std::count(input.images.begin(), input.images.end(), kStandardInput) +
                         (input.video == kStandardInput ? 1 : 0) +
                         (input.values == kStandardInput ? 1 : 0);
    if (readers > 1) {
        throw WrongUsage(
            fmt::format("-: expected one input from standard input, found {}", readers));
    }
}

/// Refuses options without effect.
void requireUse(const RecordInput& input) {
    const bool isVideo = !input.video.empty();
    const bool isRaw = !input.raw.empty();
    const bool isPhotos = !isVideo && !isRaw && !input.images.empty();
    if (isVideo && !input.images.empty()) {
        throw WrongUsage("--y4m: expected no IMAGE beside the video, found " +
                         input.images.front());
    }
    if (isRaw && input.images.empty()) {
        throw WrongUsage("--raw: expected files of pictures, or - for standard input, found none");
    }
    if (isRaw && input.size.empty()) {
        throw WrongUsage("--raw: expected --size WxH, the size of the pictures, found none");
    }
    if (isPhotos && !input.size.empty()) {
        throw WrongUsage("--size: expected the test pattern or --raw, found photographs");
    }
    if (isVideo && !input.size.empty()) {
        throw WrongUsage("--size: expected the test pattern or --raw, found --y4m");
    }
    if (!isRaw && input.stride > 0) throw WrongUsage("--stride: expected --raw, found none");
    const bool isRuled = input.samples.range || input.samples.matrix != ColourMatrix::kBt601;
    if (!isRaw && !isVideo && isRuled) {
        throw WrongUsage("--matrix, --range: expected --y4m or --raw, found neither");
    }
    if (isPhotos && std::count(input.images.begin(), input.images.end(), kStandardInput) > 0) {
        throw WrongUsage(
            "-: expected --y4m - or --raw for standard input, found neither; "
            "./- is a file of that name");
    }
}

}  // namespace

std::optional<FrameRate> givenRate(const RecordInput& input) {
    if (input.rate.empty()) return std::nullopt;
    const FrameRate rate = rateOf(input.rate);
    if (isOneAMillisecond(rate)) return rate;
    throw WrongUsage(
        fmt::format("--fps: expected at most 1000, because a frame folder's name tells "
                    "milliseconds, found {}",
                    input.rate));
}

std::unique_ptr<FrameSource> makeSource(const RecordInput& input) {
    requireUse(input);
    requireOneReader(input);
    if (!input.video.empty()) return makeY4mSource(input.video, input.samples);
    if (!input.raw.empty()) return makeRawSource(input.images, rawFormat(input), input.samples);
    if (!input.images.empty()) return makePhotoSource(input.images);
    const auto [width, height] = parseSize(input.size.empty() ? kPatternSize : input.size);
    return makeTestPatternSource(width, height);
}

void addRecordInput(VerbOptions& verb, RecordInput& input) {
    verb.option("IMAGE", input.images,
                "JPEG or PNG photographs, or files for --raw; none: a moving test pattern");
    const Option video =
        verb.option("--y4m", input.video,
                    "Video to record, in the YUV4MPEG2 format; - is standard input")
            .valueName("FILE");
    verb.option("--raw", input.raw,
                "Each IMAGE has bare pictures, one after the other; - is standard input")
        .takes(oneOf({"nv21", "nv12", "i420"}))
        .excludes(video);
    verb.option("--size", input.size,
                fmt::format("Size of the test pattern or of bare pictures, up to {}x{}", kMaxWidth,
                            kMaxHeight))
        .valueName("WxH")
        .defaultText(fmt::format("{} for the pattern", kPatternSize));
    verb.option("--stride", input.stride, "Bytes from one luma row of bare pictures to the next")
        .takes(wholeNumber(1, 1 << 20))
        .valueName("N")
        .defaultText("the width");
    addGivenSamples(verb, input.samples.matrix, input.samples.range);
    verb.option("--fps", input.rate, "Frames per second, for the frames' times")
        .valueName("RATE")
        .defaultText("the video's, else the times of recording");
    verb.option("--values", input.values,
                "Table with a row of values per frame: CSV or JSON lines; - is standard input")
        .valueName("TABLE");
}

}  // namespace tyksim
