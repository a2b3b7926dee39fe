#include "tools/picture/Picture.h"

#include "core/TreeNames.h"

#include <algorithm>
#include <libyuv/planar_functions.h>

namespace tyksim {

uint8_t* SampleBuffer::reserve(size_t bytes) {
    if (bytes > bytes_) {
        memory_.reset();
        bytes_ = 0;
        // std::make_unique would needlessly initialise the memory.
        memory_.reset(new uint8_t[bytes]);
        bytes_ = bytes;
    }
    return memory_.get();
}

size_t PictureLayout::lumaStride() const {
    return static_cast<size_t>(stride > 0 ? stride : width);
}

size_t PictureLayout::chromaStride() const {
    return static_cast<size_t>(std::max(stride, 2 * chromaLength(width)));
}

size_t PictureLayout::lumaBytes() const {
    return lumaStride() * static_cast<size_t>(height);
}

size_t PictureLayout::bytes() const {
    return lumaBytes() + chromaStride() * static_cast<size_t>(chromaLength(height));
}

size_t PictureLayout::usedBytes() const {
    return bytes() - chromaStride() + 2 * static_cast<size_t>(chromaLength(width));
}

size_t PictureLayout::dumpedBytes() const {
    const auto dumped = static_cast<size_t>(std::max(0, nv21Bytes(width, height)));
    return stride > 0 ? usedBytes() : dumped;
}

SampleCounts PictureLayout::samplesIn(uint64_t bytes) const {
    // The samples in the first `had` bytes of `rows` rows of `wide` bytes, each with a gap up to
    // `apart`.
    const auto held = [](uint64_t had, uint64_t apart, uint64_t wide, uint64_t rows) {
        if (had >= apart * rows) return wide * rows;
        return had / apart * wide + std::min(had % apart, wide);
    };
    const auto pairs = static_cast<uint64_t>(chromaLength(width));
    const auto chromaRows = static_cast<uint64_t>(chromaLength(height));
    const uint64_t behind = bytes - std::min<uint64_t>(bytes, lumaBytes());
    const uint64_t chroma = held(behind, chromaStride(), 2 * pairs, chromaRows);
    const uint64_t first = chroma - chroma / 2;
    const bool uFirst = order == ChromaOrder::kNv12;
    return {held(bytes, lumaStride(), static_cast<uint64_t>(width), static_cast<uint64_t>(height)),
            uFirst ? first : chroma / 2, uFirst ? chroma / 2 : first};
}

const Plane& Picture::plane(PlaneId id) const {
    if (id == PlaneId::kY) return y;
    return id == PlaneId::kU ? u : v;
}

PictureSource sourceOf(const Picture& picture) {
    const auto from = [](const Plane& plane, int first, int rows) {
        return Plane{plane.samples + product(first, plane.stride), plane.stride, plane.width, rows};
    };
    return {picture.width(), picture.height(), [picture, from](int first, int rows) {
                const int chromaRows = chromaLength(rows);
                return Picture{from(picture.y, first, rows), from(picture.u, first / 2, chromaRows),
                               from(picture.v, first / 2, chromaRows)};
            }};
}

NewPicture::NewPicture(SampleBuffer& buffer, int width, int height) {
    const int chromaWidth = chromaLength(width);
    const int chromaHeight = chromaLength(height);
    y = buffer.reserve(nv21FullBytes(width, height));
    u = y + product(width, height);
    v = u + product(chromaWidth, chromaHeight);
    picture = {{y, width, width, height},
               {u, chromaWidth, chromaWidth, chromaHeight},
               {v, chromaWidth, chromaWidth, chromaHeight}};
}

void toNv21(const Picture& picture, uint8_t* out) {
    libyuv::CopyPlane(picture.y.samples, picture.y.stride, out, picture.width(), picture.width(),
                      picture.height());
    libyuv::MergeUVPlane(picture.v.samples, picture.v.stride, picture.u.samples, picture.u.stride,
                         out + product(picture.width(), picture.height()), 2 * picture.u.width,
                         picture.u.width, picture.u.height);
}

}  // namespace tyksim
