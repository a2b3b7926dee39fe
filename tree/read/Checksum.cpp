#include "tree/read/Checksum.h"

#include <zlib.h>

namespace tyktree {

uint32_t checksum(const uint8_t* bytes, size_t size, uint32_t before) {
    return static_cast<uint32_t>(::crc32_z(before, bytes, size));
}

}  // namespace tyktree
