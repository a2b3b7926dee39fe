#include "tools/sheet/PixelWindow.h"

#include <algorithm>
#include <cstring>
#include <libyuv/compare.h>

namespace tyksim {

namespace {

constexpr int kBlock = 32;
constexpr int kRowsAtOnce = 32;

size_t blocksOf(int length) {
    return static_cast<size_t>((length + kBlock - 1) / kBlock);
}

/// The number of complete rows of the strip in the file.
int wholeRows(const StoredRows& rows, const PictureLayout& layout, int asked) {
    const size_t stride = layout.lumaStride();
    const size_t gap = stride - static_cast<size_t>(layout.width);
    return std::min(asked, static_cast<int>((rows.lumaBytes + gap) / stride));
}

/// Copies a part of a plane's rows to rows `stride` bytes apart.
void copyPart(const Plane& plane, int x, int width, uint8_t* out, size_t stride) {
    for (int row = 0; row < plane.height; ++row, out += stride) {
        const uint8_t* const from =
            plane.samples + static_cast<size_t>(row) * static_cast<size_t>(plane.stride);
        std::memcpy(out, from + x, static_cast<size_t>(width));
    }
}

}  // namespace

PixelArea areaWithin(const PixelArea& area, const PictureLayout& layout) {
    PixelArea part;
    part.x = std::max(0, area.x) / 2 * 2;
    part.y = std::max(0, area.y) / 2 * 2;
    part.width =
        static_cast<int>(std::min<int64_t>(layout.width, int64_t{area.x} + area.width)) - part.x;
    part.height =
        static_cast<int>(std::min<int64_t>(layout.height, int64_t{area.y} + area.height)) - part.y;
    return part;
}

PixelArea PixelWindows::place(PictureFile& a, PictureFile* b, int side) {
    const PictureLayout& layout = a.layout();
    if (layout.width <= side && layout.height <= side) return {0, 0, layout.width, layout.height};
    const bool found = (b && sumBlocks(a, b)) || sumBlocks(a, nullptr);
    PixelArea best{(layout.width - side) / 2, (layout.height - side) / 2, side, side};
    uint64_t most = 0;
    const size_t across = std::min(columns_, blocksOf(side));
    const size_t down = std::min(rows_, blocksOf(side));
    for (size_t row = 0; found && row + down <= rows_; ++row) {
        for (size_t column = 0; column + across <= columns_; ++column) {
            const uint64_t sum = sumOf(column, row, column + across, row + down);
            if (sum <= most) continue;
            most = sum;
            best.x = static_cast<int>(column) * kBlock;
            best.y = static_cast<int>(row) * kBlock;
        }
    }
    best.x = std::max(0, std::min(best.x, layout.width - side));
    best.y = std::max(0, std::min(best.y, layout.height - side));
    return areaWithin(best, layout);
}

/// Returns false if all sums are zero.
bool PixelWindows::sumBlocks(PictureFile& a, PictureFile* b) {
    const PictureLayout& layout = a.layout();
    columns_ = blocksOf(layout.width);
    rows_ = blocksOf(layout.height);
    const size_t corners = columns_ + 1;
    sums_.assign(corners * (rows_ + 1), 0);
    const auto stride = static_cast<int>(layout.lumaStride());
    for (size_t block = 0; block < rows_; ++block) {
        const int first = static_cast<int>(block) * kBlock;
        const int asked = std::min(kBlock, layout.height - first);
        const StoredRows inA = a.storedRows(first, asked);
        int rows = wholeRows(inA, layout, asked);
        const uint8_t* other = inA.luma + 1;
        if (b) {
            const StoredRows inB = b->storedRows(first, asked);
            rows = std::min(rows, wholeRows(inB, layout, asked));
            other = inB.luma;
        }
        uint64_t* const below = &sums_[(block + 1) * corners];
        const uint64_t* const above = &sums_[block * corners];
        uint64_t row = 0;
        for (size_t column = 0; column < columns_; ++column) {
            const int x = static_cast<int>(column) * kBlock;
            const int width = std::min(kBlock, layout.width - x - (b ? 0 : 1));
            if (rows > 0 && width > 0) {
                row += libyuv::ComputeSumSquareErrorPlane(inA.luma + x, stride, other + x, stride,
                                                          width, rows);
            }
            below[column + 1] = above[column + 1] + row;
        }
    }
    return sums_.back() > 0;
}

uint64_t PixelWindows::sumOf(size_t left, size_t top, size_t right, size_t bottom) const {
    const size_t corners = columns_ + 1;
    return sums_[bottom * corners + right] + sums_[top * corners + left] -
           sums_[bottom * corners + left] - sums_[top * corners + right];
}

std::string_view PixelWindows::png(PictureFile& file, const PixelArea& area) {
    const int pairs = chromaLength(area.width);
    const int chromaRows = chromaLength(area.height);
    const int lumaWidth = std::min(2 * pairs, file.layout().width - area.x);
    const size_t stride = 2 * static_cast<size_t>(pairs);
    const size_t bytes = stride * static_cast<size_t>(area.height + chromaRows);
    uint8_t* const luma = samples_.reserve(bytes);
    if (lumaWidth < 2 * pairs) std::fill(luma, luma + bytes, uint8_t{0});
    uint8_t* const chroma = luma + stride * static_cast<size_t>(area.height);
    const PictureSource source = file.source();
    for (int row = 0; row < area.height; row += kRowsAtOnce) {
        const int rows = std::min(kRowsAtOnce, area.height - row);
        const Picture strip = source.rows(area.y + row, rows);
        copyPart(strip.y, area.x, lumaWidth, luma + static_cast<size_t>(row) * stride, stride);
        uint8_t* const u = chroma + static_cast<size_t>(row / 2) * stride;
        copyPart(strip.u, area.x / 2, pairs, u, stride);
        copyPart(strip.v, area.x / 2, pairs, u + pairs, stride);
    }
    return encoder_.encode({luma, 2 * pairs, 2 * pairs, area.height + chromaRows}, {});
}

}  // namespace tyksim
