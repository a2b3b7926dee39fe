#include "tools/sheet/FramePictures.h"

#include "tools/json/Json.h"

#include <algorithm>
#include <cmath>

namespace tyksim {

namespace {

// Bytes of JPEG in a page: with a third more in Base64, and the values, less than 20 MB.
constexpr size_t kPageBytes = 11'000'000;

constexpr int kThumbWidth = 256;
constexpr size_t kThumbBytes = 16'000;
constexpr size_t kLeastThumbBytes = 6'000;  ///< below that nothing is to be seen

/// Widths of the larger pictures, and from how many bytes a picture on they are worth it.
struct LargeSize {
    int width;
    size_t bytes;
};
constexpr LargeSize kLargeSizes[] = {{1280, 140'000}, {960, 80'000}, {640, 40'000}, {480, 24'000}};

// The first that keeps within the bytes is taken, else the last.
constexpr int kQualities[] = {82, 68, 50, 32, 18};

constexpr size_t kHistogramBins = 128;

/// The divisor that brings a picture to the width, or a tall one to twice that height.
int divisorFor(int width, int height, int target) {
    const int across = (width + target - 1) / target;
    const int down = (height + 2 * target - 1) / (2 * target);
    return std::max({1, across, down});
}

void describeLuma(const Histogram& luma, FramePicture& result) {
    const auto all = static_cast<double>(luma.total());
    result.lowest = luma.least();
    result.highest = luma.most();
    result.mean = luma.mean();
    result.shareLowest = static_cast<double>(luma.count(0)) / all;
    result.shareHighest = static_cast<double>(luma.count(Histogram::kValues - 1)) / all;
}

/// Square roots of the counts in relation to the largest, as bytes: small counts stay visible.
std::string rootsOf(const Histogram& luma) {
    std::array<uint64_t, kHistogramBins> bins{};
    for (size_t value = 0; value < Histogram::kValues; ++value) {
        bins[value / 2] += luma.count(value);
    }
    const auto most = static_cast<double>(*std::max_element(bins.begin(), bins.end()));
    std::string roots;
    for (const uint64_t bin : bins) {
        const double share = static_cast<double>(bin) / most;
        roots += static_cast<char>(static_cast<uint8_t>(std::lround(255 * std::sqrt(share))));
    }
    return roots;
}

}  // namespace

PictureSizes PictureSizes::forPage(size_t pictures, int thumbWidth) {
    PictureSizes sizes;
    const size_t each = kPageBytes / std::max<size_t>(1, pictures);
    sizes.thumbWidth = thumbWidth > 0 ? thumbWidth : kThumbWidth;
    if (thumbWidth <= 0) sizes.thumbBytes = std::clamp(each, kLeastThumbBytes, kThumbBytes);
    for (const LargeSize& size : kLargeSizes) {
        if (each < size.bytes + kThumbBytes || size.width <= sizes.thumbWidth) continue;
        sizes.largeWidth = size.width;
        sizes.largeBytes = each - kThumbBytes;
        break;
    }
    return sizes;
}

FramePictureMaker::FramePictureMaker(const PicturePlan& plan)
    : sizes_(plan.sizes), assumed_(plan.assumed) {
    for (const int quality : kQualities) encoders_.emplace_back(quality);
}

FramePicture FramePictureMaker::make(const std::string& path, const ImageFileName& name) {
    FramePicture result;
    try {
        PictureFile file(path, assumed_.layoutOf(name));
        file.requireSamples();
        draw(file, result);
    } catch (const NoPicture& problem) {
        result.problem = problem.reason();
    }
    return result;
}

void FramePictureMaker::draw(PictureFile& file, FramePicture& result) {
    const PictureLayout& layout = file.layout();
    const int target = std::max(sizes_.largeWidth, sizes_.thumbWidth);
    const ReducedPicture& reduced =
        reader_.read(file, divisorFor(layout.width, layout.height, target));
    const uint64_t whole = layout.dumpedBytes();
    result.lacking = whole - std::min(whole, file.bytes());
    describeLuma(reduced.luma, result);
    Picture thumb = reduced.picture;
    std::string large = "-";
    const int again = divisorFor(thumb.width(), thumb.height(), sizes_.thumbWidth);
    if (sizes_.largeWidth > 0 && again > 1) {
        large = base64(jpeg(reduced.picture, sizes_.largeBytes));
        thumb = thumbs_.scaled(thumb, again);
    }
    result.line =
        base64(jpeg(thumb, sizes_.thumbBytes)) + ' ' + large + ' ' + base64(rootsOf(reduced.luma));
}

std::string FramePictureMaker::jpeg(const Picture& picture, size_t limit) {
    const PictureSource stored = sourceOf(picture);
    const PictureSource source = inJpegColours(stored, assumed_.rule);
    std::string_view bytes;
    for (JpegEncoder& encoder : encoders_) {
        bytes = encoder.encode(source, {});
        if (limit == 0 || bytes.size() <= limit) break;
    }
    return std::string(bytes);
}

}  // namespace tyksim
