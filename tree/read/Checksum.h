// CRC-32 of values, as zlib has it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tyktree {

/// CRC-32 of a value, for tags without fields; of its next piece where `before` is that of the
/// pieces before. Threads: any.
uint32_t checksum(const uint8_t* bytes, size_t size, uint32_t before = 0);

}  // namespace tyktree
