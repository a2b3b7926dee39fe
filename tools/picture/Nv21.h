// An NV21 picture in memory. A value: one thread at a time changes it.
#pragma once

#include "host/ImageBytes.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tyksim {

/// The largest picture that the tool records, in pixels; its size in bytes fits the library's
/// numbers.
constexpr int kMaxWidth = 16384;
constexpr int kMaxHeight = 12288;

using tykhost::chromaLength;
using tykhost::nv21FullBytes;

/// The product of two numbers that are not negative, without overflow.
constexpr size_t product(int a, int b) {
    return static_cast<size_t>(a) * static_cast<size_t>(b);
}

/// Luma rows of `width` bytes, then chroma rows of V,U pairs, all without gaps. If a side is odd,
/// the last column or row has chroma of its own: 2 x ceil(width / 2) bytes in each of ceil(height /
/// 2) rows. (The library dumps the first (width x height x 3) / 2 bytes of that.)
struct Nv21Image {
    Nv21Image() = default;
    Nv21Image(int imageWidth, int imageHeight)
        : width(imageWidth), height(imageHeight), bytes(nv21FullBytes(imageWidth, imageHeight)) {}

    size_t lumaBytes() const { return product(width, height); }
    size_t chromaRowBytes() const { return static_cast<size_t>(chromaLength(width)) * 2; }
    size_t chromaRows() const { return static_cast<size_t>(chromaLength(height)); }

    uint8_t* lumaRow(int y) {
        return bytes.data() + static_cast<size_t>(y) * static_cast<size_t>(width);
    }
    uint8_t* chromaRow(int y) {
        return bytes.data() + lumaBytes() + static_cast<size_t>(y) * chromaRowBytes();
    }

    int width = 0;
    int height = 0;
    std::vector<uint8_t> bytes;
};

}  // namespace tyksim
