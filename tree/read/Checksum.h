// The CRC-32 of values, as zlib computes it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tyktree {

/// The CRC-32 of `size` bytes. To compute it piece by piece, pass the result of the pieces before
/// as `before`. Threads: any.
uint32_t checksum(const uint8_t* bytes, size_t size, uint32_t before = 0);

}  // namespace tyktree
