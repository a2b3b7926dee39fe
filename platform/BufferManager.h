// The operations of the camera framework's image buffer pool that this library calls.
//
// Declarations only: on a device the camera framework defines them, on a desktop host/ does.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tyk {

/// The purpose of a buffer. The framework defines the enumerators.
enum buffer_usage_t : int {};

/// The only usage with which this library takes and returns buffers.
constexpr buffer_usage_t kReplayBufferUsage{2};

/// Describes the image in a buffer: the fields that this library uses, in the framework's order.
/// The pool owns the descriptor and the pixels.
struct ImageDescriptor {
    void* data;       ///< first byte of the pixels; set by the pool
    uint8_t camId;    ///< camera id
    int32_t width;    ///< pixels
    int32_t height;   ///< pixels
    uint32_t sofId;   ///< start-of-frame id
    uint32_t pipeId;  ///< pipe id
};

// The framework fills the descriptors, the library reads and writes them.
static_assert(sizeof(ImageDescriptor) == 32 && offsetof(ImageDescriptor, camId) == 8 &&
              offsetof(ImageDescriptor, width) == 12 && offsetof(ImageDescriptor, height) == 16 &&
              offsetof(ImageDescriptor, sofId) == 20 && offsetof(ImageDescriptor, pipeId) == 24);

/// A handle to one image buffer of the pool.
struct Buffer {
    ImageDescriptor* image;
};

/// The pool. Threads: every operation may be called from any thread.
class BufferManager {
public:
    /// Makes a pool handle; the framework owns it.
    static BufferManager* createInstance();

    /// Takes a buffer of at least (width x height x 3) / 2 bytes out of the pool. Returns 0 and
    /// stores the buffer in `buffer`; any other result is a failure and leaves `buffer` unchanged.
    /// The caller owns the buffer until it returns it.
    int getBuffer(buffer_usage_t usage, int width, int height, Buffer*& buffer, bool flag);

    /// Gives a buffer back. Returns 0 on success.
    int returnBuffer(Buffer* buffer, buffer_usage_t usage, bool flag);
};

}  // namespace tyk
