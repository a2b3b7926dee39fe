// The desktop's image buffer pool: stands behind tyk::BufferManager.
//
// One pool serves the process, however many handles createInstance() makes. A request gets the
// smallest idle buffer that is large enough, or a new one; it never hands out a buffer that is
// already out. A request of 0 x 0 is valid. getBuffer() returns -1 for a negative size, for a size
// beyond the limit of setMaxBufferBytes(), and when memory runs out. No exception leaves
// getBuffer() and returnBuffer().
//
// The pixels of a new buffer are zero; those of a recycled buffer keep the content that the last
// user left. The descriptor of a buffer that is handed out holds the requested size; its ids are 0.
//
// Threads: every operation from any thread. Ownership: the pool owns the buffers; a caller may use
// the pixels alone between getBuffer() and returnBuffer().
#pragma once

#include "platform/BufferManager.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tykhost {

/// The pool's counters.
struct BufferPoolCounts {
    size_t out;              ///< handed out and not returned
    size_t idle;             ///< waiting to be handed out again
    uint64_t handedOut;      ///< successful getBuffer() calls
    uint64_t returned;       ///< successful returnBuffer() calls
    uint64_t refusedGet;     ///< getBuffer() calls that failed
    uint64_t refusedReturn;  ///< buffers returned twice, or not the pool's: returnBuffer() gives -1
    uint64_t allocated;      ///< buffers ever allocated
};
BufferPoolCounts bufferPoolCounts();

/// The buffers that are out, in the order in which they were handed out.
std::vector<tyk::Buffer*> buffersOut();

/// Size in bytes of the pixels of `buffer`: at least (width x height x 3) / 2 of the request; 0
/// when the buffer is not the pool's. The pointer is not dereferenced.
size_t bufferCapacity(const tyk::Buffer* buffer);

/// Upper bound of one buffer's bytes; initially 1 GiB.
void setMaxBufferBytes(size_t bytes);

/// Lets getBuffer() fail while more than `buffers` would be out; initially no limit (SIZE_MAX).
void setMaxBuffersOut(size_t buffers);

/// Frees every buffer, even those that are out, and resets counts and limits. No other thread may
/// use the pool.
void resetBufferPool();

}  // namespace tykhost
