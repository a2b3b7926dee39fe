// The descriptor through which a block parameter travels to and from the parameter-set service.
#pragma once

#include <cstddef>
#include <cstdint>

/// The address and size of a block parameter's data. Plain data; it does not own the block.
struct BlockParamDesc {
    void* data;     ///< first byte of the block
    uint32_t size;  ///< bytes in the block
};

static_assert(sizeof(void*) == 8, "the library is built for 64-bit processes");
static_assert(sizeof(BlockParamDesc) == 16 && offsetof(BlockParamDesc, size) == 8,
              "the parameter-set service shares this layout");
