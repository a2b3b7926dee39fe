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

PictureLayout layoutOf(int width, int height) {
    PictureLayout layout;
    layout.width = width;
    layout.height = height;
    return layout;
}

void describeLuma(const std::array<uint32_t, 256>& counts, FramePicture& result) {
    uint64_t total = 0;
    uint64_t sum = 0;
    result.lowest = 255;
    for (size_t level = 0; level < counts.size(); ++level) {
        if (counts[level] == 0) continue;
        total += counts[level];
        sum += uint64_t{counts[level]} * level;
        result.lowest = std::min(result.lowest, static_cast<int>(level));
        result.highest = static_cast<int>(level);
    }
    const auto all = static_cast<double>(total);
    result.mean = static_cast<double>(sum) / all;
    result.shareLowest = static_cast<double>(counts.front()) / all;
    result.shareHighest = static_cast<double>(counts.back()) / all;
}

/// Square roots of the counts in relation to the largest, as bytes: small counts stay visible.
std::string histogram(const std::array<uint32_t, 256>& counts) {
    std::array<uint32_t, kHistogramBins> bins{};
    for (size_t level = 0; level < counts.size(); ++level) bins[level / 2] += counts[level];
    const double most = *std::max_element(bins.begin(), bins.end());
    std::string roots;
    for (const uint32_t bin : bins) {
        roots += static_cast<char>(static_cast<uint8_t>(std::lround(255 * std::sqrt(bin / most))));
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

FramePictureMaker::FramePictureMaker(const PictureSizes& sizes) : sizes_(sizes) {
    for (const int quality : kQualities) encoders_.emplace_back(quality);
}

FramePicture FramePictureMaker::make(const std::string& path, int width, int height) {
    FramePicture result;
    const int target = std::max(sizes_.largeWidth, sizes_.thumbWidth);
    const ReducedPicture& reduced =
        reader_.read(path, width, height, divisorFor(width, height, target));
    result.problem = reduced.problem;
    if (!result.problem.empty()) return result;
    const uint64_t whole = layoutOf(width, height).dumpedBytes();
    result.lacking = whole - std::min(whole, reduced.bytes);
    describeLuma(reduced.luma, result);
    Picture thumb = reduced.picture;
    std::string large = "-";
    const int again = divisorFor(thumb.width(), thumb.height(), sizes_.thumbWidth);
    if (sizes_.largeWidth > 0 && again > 1) {
        large = base64(jpeg(reduced.picture, sizes_.largeBytes));
        thumb = thumbs_.scaled(thumb, again);
    }
    result.line = base64(jpeg(thumb, sizes_.thumbBytes)) + ' ' + large + ' ' +
                  base64(histogram(reduced.luma));
    return result;
}

std::string FramePictureMaker::jpeg(const Picture& picture, size_t limit) {
    std::string_view bytes;
    for (JpegEncoder& encoder : encoders_) {
        bytes = encoder.encode(sourceOf(picture), {});
        if (limit == 0 || bytes.size() <= limit) break;
    }
    return std::string(bytes);
}

}  // namespace tyksim
