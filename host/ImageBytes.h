// The size of an NV21 image with all its chroma: that of the pool's buffers and of pictures in
// memory. A dump has fewer bytes when a side is odd: see nv21Bytes() in core/TreeNames.h.
#pragma once

#include <cstdint>

namespace tykhost {

/// Half of `length`, rounded up: the number of chroma samples in one direction.
constexpr int chromaLength(int length) {
    return length / 2 + length % 2;
}

/// Bytes of an image in NV21 without gaps, including all its chroma. The sides must not be
/// negative; no two sides overflow the result.
constexpr uint64_t nv21FullBytes(int width, int height) {
    const auto samples = [](int across, int down) {
        return static_cast<uint64_t>(across) * static_cast<uint64_t>(down);
    };
    return samples(width, height) + 2 * samples(chromaLength(width), chromaLength(height));
}

}  // namespace tykhost
