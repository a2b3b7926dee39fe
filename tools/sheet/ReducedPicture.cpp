#include "tools/sheet/ReducedPicture.h"

#include <algorithm>
#include <cmath>
#include <libyuv/scale.h>

namespace tyksim {

namespace {

// A strip of this size stays in the processor's cache until it is reduced.
constexpr size_t kStripBytes = size_t{192} * 1024;

// This number of luma samples represents their distribution.
constexpr size_t kCountedSamples = size_t{128} * 1024;

// libyuv is several times as fast as the exact mean. Up to this divisor its mean is wrong by at
// most 1; with larger ones it becomes darker. It cannot shrink blocks of different widths.
constexpr int kMostQuickly = 16;

Plane rowsOf(const Plane& plane, int first, int rows) {
    return {plane.samples + product(first, plane.stride), plane.stride, plane.width, rows};
}

/// The number of rows in a strip: whole blocks of `divisor` rows of luma and of chroma.
int stripRows(const PictureLayout& layout, int divisor) {
    const int block = 2 * divisor;
    const size_t blockBytes = static_cast<size_t>(block) * layout.lumaStride() +
                              static_cast<size_t>(divisor) * layout.chromaStride();
    return block * static_cast<int>(std::max<size_t>(1, kStripBytes / blockBytes));
}

/// The factor by which a picture becomes smaller.
double factorOf(const PixelSize& size, int width) {
    return std::max({1.0, size.width / static_cast<double>(width), size.height / (2.0 * width)});
}

/// The whole number by which the first step reduces a picture. With Effort::kQuick there is no
/// second step.
int divisorOf(const PixelSize& size, int width, Effort effort) {
    const double factor = factorOf(size, width);
    return static_cast<int>(effort == Effort::kQuick ? std::ceil(factor) : std::floor(factor));
}

/// Counts the samples of strips: all of them, or those of evenly spread rows.
class RowCounter {
public:
    RowCounter(const PictureFile& file, Effort effort, PlaneHistograms& counts)
        : counts_(counts), held_(file.samples()) {
        if (effort == Effort::kFull) return;
        const PictureLayout& layout = file.layout();
        every_ = 1 + static_cast<int>(product(layout.width, layout.height) / kCountedSamples);
    }

    /// Adds a strip that begins at `row` of the picture.
    void add(const Picture& strip, int row) {
        add(strip.y, row, held_.y, counts_.y);
        add(strip.u, row / 2, held_.u, counts_.u);
        add(strip.v, row / 2, held_.v, counts_.v);
    }

private:
    void add(const Plane& plane, int row, uint64_t& held, Histogram& histogram) const {
        histogram.addRows(plane, held, (every_ - row % every_) % every_, every_);
        held -= std::min<uint64_t>(held, product(plane.width, plane.height));
    }

    PlaneHistograms& counts_;
    SampleCounts held_;
    int every_ = 1;
};

}  // namespace

PixelSize reducedSize(const PixelSize& size, int width, Effort effort) {
    if (effort == Effort::kQuick) {
        const int divisor = divisorOf(size, width, effort);
        return {shrunkLength(size.width, divisor), shrunkLength(size.height, divisor)};
    }
    const double factor = factorOf(size, width);
    const auto reduced = [factor](int length) {
        return std::max(1, static_cast<int>(std::lround(length / factor)));
    };
    return {reduced(size.width), reduced(size.height)};
}

const ReducedPicture& ReducedPictureReader::read(PictureFile& file, int width, Effort effort) {
    const PictureSource source = file.source();
    const PixelSize whole{source.width, source.height};
    const int divisor = divisorOf(whole, width, effort);
    const NewPicture made(samples_, shrunkLength(source.width, divisor),
                          shrunkLength(source.height, divisor));
    result_.counts = {};
    RowCounter counter(file, effort, result_.counts);
    const int rows = stripRows(file.layout(), divisor);
    for (int row = 0; row < source.height; row += rows) {
        const Picture strip = source.rows(row, std::min(rows, source.height - row));
        counter.add(strip, row);
        const int blocks = row / divisor;
        const Picture& to = made.picture;
        shrink(strip.y, divisor, made.y + product(blocks, to.y.stride), to.y.stride);
        shrink(strip.u, divisor, made.u + product(blocks / 2, to.u.stride), to.u.stride);
        shrink(strip.v, divisor, made.v + product(blocks / 2, to.v.stride), to.v.stride);
    }
    result_.picture = resized(made.picture, reducedSize(whole, width, effort), resized_);
    return result_;
}

Picture ReducedPictureReader::reduced(const Picture& picture, int width, Effort effort) {
    const PixelSize whole{picture.width(), picture.height()};
    const PixelSize size = reducedSize(whole, width, effort);
    if (effort == Effort::kFull) return resized(picture, size, again_);
    const int divisor = divisorOf(whole, width, effort);
    const NewPicture made(again_, size.width, size.height);
    shrink(picture.y, divisor, made.y, made.picture.y.stride);
    shrink(picture.u, divisor, made.u, made.picture.u.stride);
    shrink(picture.v, divisor, made.v, made.picture.v.stride);
    return made.picture;
}

Picture ReducedPictureReader::resized(const Picture& picture, const PixelSize& size,
                                      SampleBuffer& memory) {
    if (size.width >= picture.width() && size.height >= picture.height()) return picture;
    const int width = std::min(size.width, picture.width());
    const int height = std::min(size.height, picture.height());
    const NewPicture made(memory, width, height);
    resizer_.resize(picture.y, width, height, made.y);
    resizer_.resize(picture.u, chromaLength(width), chromaLength(height), made.u);
    resizer_.resize(picture.v, chromaLength(width), chromaLength(height), made.v);
    return made.picture;
}

void ReducedPictureReader::shrink(const Plane& plane, int divisor, uint8_t* out, int stride) {
    const int lastRows = plane.height % divisor;
    if (lastRows > 0 && lastRows < plane.height) {
        const int wholeRows = plane.height - lastRows;
        shrink(rowsOf(plane, 0, wholeRows), divisor, out, stride);
        shrink(rowsOf(plane, wholeRows, lastRows), divisor,
               out + product(wholeRows / divisor, stride), stride);
        return;
    }
    const int blocks = divisor <= kMostQuickly ? plane.width / divisor : 0;
    const int columns = blocks * divisor;
    if (blocks > 0) {
        libyuv::ScalePlane(plane.samples, plane.stride, columns, plane.height, out, stride, blocks,
                           shrunkLength(plane.height, divisor), libyuv::kFilterBox);
    }
    const Plane rest{plane.samples + columns, plane.stride, plane.width - columns, plane.height};
    if (rest.width > 0) shrinker_.shrink(rest, divisor, out + blocks, stride);
}

}  // namespace tyksim
