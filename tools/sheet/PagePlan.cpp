#include "tools/sheet/PagePlan.h"

#include "tools/sheet/Page.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace tyksim {

namespace {

// Leaves room because pictures that were not measured may be larger.
constexpr double kShareOfBytes = 0.92;
// Many pictures are reduced by whole numbers, which leaves them sharper than those measured.
constexpr double kShareOfBytesOfMany = 0.74;

// The least share of the page for pictures, even if many values fill it.
constexpr double kLeastShare = 0.1;

constexpr int kMostThumb = 256;
constexpr int kLeastThumb = 96;  ///< smaller pictures show nothing
constexpr int kMostLarge = 1920;
constexpr double kLargeOverThumb = 1.25;  ///< a larger picture must be this much larger

// Finding the place of a window and compressing it takes longer than all other work for a frame.
constexpr size_t kMostWindows = 400;
constexpr int kWindowSides[] = {16384, 4096, 3072, 2048, 1536, 1024, 768, 512, 384, 256, 192, 128};
constexpr int kUsualWindow = 256;
constexpr double kUsualWindowShare = 0.6;
constexpr double kLargerWindowShare = 0.35;

/// The average bytes of pictures by their size.
class Costs {
public:
    explicit Costs(const std::vector<MeasuredPicture>& measured) {
        if (measured.empty()) return;
        MeasuredPicture mean;
        const double share = 1 / static_cast<double>(measured.size());
        for (const MeasuredPicture& picture : measured) {
            for (size_t i = 0; i < picture.jpegs.size(); ++i) {
                mean.jpegs[i].width += share * picture.jpegs[i].width;
                mean.jpegs[i].bytes += share * picture.jpegs[i].bytes;
            }
            mean.pixels += share * picture.pixels;
            mean.windowArea += share * picture.windowArea;
            mean.windowBytes += share * picture.windowBytes;
        }
        jpegs_ = mean.jpegs;
        pixels_ = mean.pixels;
        if (mean.windowArea > 0) perPixel_ = mean.windowBytes / mean.windowArea;
    }

    /// Between measured widths the bytes grow with a power of the width, beyond them with its
    /// square. No JPEG is wider than the image.
    double jpeg(double width) const {
        const size_t last = jpegs_.size() - (jpegs_.back().width > 0 ? 1 : 2);
        const Jpeg& widest = jpegs_[last];
        if (width >= widest.width) {
            // A mean width need not be a whole number.
            const bool whole = widest.width < MeasuredPicture::kWidths[last] - 0.5;
            return whole ? widest.bytes : widest.bytes * std::pow(width / widest.width, 2);
        }
        size_t next = 1;
        while (next < last && jpegs_[next].width < width) ++next;
        const Jpeg& from = jpegs_[next - 1];
        const Jpeg& to = jpegs_[next];
        if (to.width <= from.width) return from.bytes;
        const double exponent = std::log(to.bytes / from.bytes) / std::log(to.width / from.width);
        return from.bytes * std::pow(width / from.width, exponent);
    }

    /// The largest width up to `most` of a JPEG of this many bytes; `least` if even that is too
    /// large.
    int widthFor(double bytes, int least, int most) const {
        while (least < most) {
            const int middle = (least + most + 1) / 2;
            if (jpeg(middle) <= bytes) {
                least = middle;
            } else {
                most = middle - 1;
            }
        }
        return least;
    }

    double window(int side) const {
        return perPixel_ * std::min(pixels_, static_cast<double>(side) * side);
    }

private:
    using Jpeg = MeasuredPicture::Jpeg;

    // Typical photographs, if nothing was measured.
    std::array<Jpeg, MeasuredPicture::kWidths.size()> jpegs_ = {
        {{128, 6'000}, {256, 17'000}, {512, 50'000}, {1024, 150'000}, {1920, 400'000}}};
    double perPixel_ = 2;
    double pixels_ = std::numeric_limits<double>::infinity();
};

int windowSide(const Costs& costs, double each) {
    for (const int side : kWindowSides) {
        const double share = side > kUsualWindow ? kLargerWindowShare : kUsualWindowShare;
        if (costs.window(side) <= share * each) return side;
    }
    return 0;
}

}  // namespace

PictureSizes planSizes(const PageNeeds& needs) {
    const Costs costs(needs.measured);
    PictureSizes sizes;
    const double share = needs.pictures > kMostWindows ? kShareOfBytesOfMany : kShareOfBytes;
    const size_t pageItself = kPageStart.size() + kPageMiddle.size() + kPageEnd.size();
    double left = static_cast<double>(needs.bytes) * share - static_cast<double>(pageItself) -
                  needs.rowBytes * static_cast<double>(needs.frames);
    left = std::max(kLeastShare * static_cast<double>(needs.bytes), left);
    const auto pictures = static_cast<double>(std::max<size_t>(1, needs.pictures));
    double each = left / pictures - kHistogramBytes;
    if (needs.thumbWidth > 0) {
        sizes.thumbWidth = needs.thumbWidth;
    } else {
        const double least = costs.jpeg(kLeastThumb) + kHistogramBytes;
        if (left < least * pictures) {
            sizes.every = static_cast<uint32_t>(std::ceil(least * pictures / left));
            each = left * sizes.every / pictures - kHistogramBytes;
        }
        sizes.thumbWidth = costs.widthFor(each / 3, kLeastThumb, kMostThumb);
    }
    each -= costs.jpeg(sizes.thumbWidth);
    if (needs.windows && needs.pictures <= kMostWindows) sizes.windowSide = windowSide(costs, each);
    if (sizes.windowSide > 0) each -= costs.window(sizes.windowSide);
    const int large = costs.widthFor(each, 1, kMostLarge);
    if (large >= kLargeOverThumb * sizes.thumbWidth) sizes.largeWidth = large;
    return sizes;
}

}  // namespace tyksim
