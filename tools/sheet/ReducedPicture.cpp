#include "tools/sheet/ReducedPicture.h"

#include <algorithm>
#include <libyuv/scale.h>

namespace tyksim {

namespace {

// A strip stays in the processor's cache until it is made small.
constexpr size_t kStripBytes = size_t{192} * 1024;

// So many samples tell the distribution of a picture's luma.
constexpr size_t kCountedSamples = size_t{128} * 1024;

// libyuv shrinks several times as fast as the exact mean. Up to this divisor its mean is at most 1
// off; with larger ones it gets darker. It cannot shrink blocks that are narrower than others.
constexpr int kMostQuickly = 16;

size_t product(int a, int b) {
    return static_cast<size_t>(a) * static_cast<size_t>(b);
}

Plane rowsOf(const Plane& plane, int first, int rows) {
    return {plane.samples + product(first, plane.stride), plane.stride, plane.width, rows};
}

/// Rows of a strip: whole blocks of `divisor` rows, of luma and of chroma.
int stripRows(const PictureLayout& layout, int divisor) {
    const int block = 2 * divisor;
    const size_t blockBytes = static_cast<size_t>(block) * layout.lumaStride() +
                              static_cast<size_t>(divisor) * layout.chromaStride();
    return block * static_cast<int>(std::max<size_t>(1, kStripBytes / blockBytes));
}

}  // namespace

const ReducedPicture& ReducedPictureReader::read(PictureFile& file, int divisor) {
    const PictureSource source = file.source();
    const NewPicture made(samples_, shrunkLength(source.width, divisor),
                          shrunkLength(source.height, divisor));
    result_ = {made.picture, {}};
    const int counted =
        1 + static_cast<int>(product(source.width, source.height) / kCountedSamples);
    const int rows = stripRows(file.layout(), divisor);
    uint64_t held = file.samples().y;
    for (int row = 0; row < source.height; row += rows) {
        const Picture strip = source.rows(row, std::min(rows, source.height - row));
        result_.luma.addRows(strip.y, held, (counted - row % counted) % counted, counted);
        held -= std::min<uint64_t>(held, product(strip.width(), strip.height()));
        const int blocks = row / divisor;
        const Picture& to = made.picture;
        shrink(strip.y, divisor, made.y + product(blocks, to.y.stride), to.y.stride);
        shrink(strip.u, divisor, made.u + product(blocks / 2, to.u.stride), to.u.stride);
        shrink(strip.v, divisor, made.v + product(blocks / 2, to.v.stride), to.v.stride);
    }
    return result_;
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
