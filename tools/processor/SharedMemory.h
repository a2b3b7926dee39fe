// Memory that two processes share: an anonymous file that can grow but not shrink.
#pragma once

#include "core/Descriptor.h"
#include "tools/processor/Protocol.h"

#include <cstdint>

namespace tyksim {

/// One process writes pieces, the other reads them. Both map the file, which a fork() shares.
/// Threads: one at a time.
class SharedMemory {
public:
    /// Makes an empty file. `name` appears in the list of a process's descriptors. Throws Failure.
    explicit SharedMemory(const char* name);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    /// For the writer: removes all pieces.
    void clear() { used_ = 0; }

    /// For the writer: adds a piece after the others. Invalidates pointers into the memory. Throws
    /// Failure when memory runs out.
    Piece add(uint64_t bytes);

    /// For the writer: adds a copy of `data` as a piece. Invalidates pointers and throws like
    /// add().
    Piece add(const void* data, uint64_t bytes);

    /// For the writer: the number of bytes up to the end of the last piece.
    uint64_t used() const { return used_; }

    /// For the writer: the address of one of its pieces.
    uint8_t* at(const Piece& piece) { return data_ + piece.at; }

    /// For the reader: maps new data of the writer. Throws Failure.
    void refresh();

    /// For the reader: the address of a piece from the writer; null if it lies outside the memory
    /// or is not aligned.
    const uint8_t* find(const Piece& piece) const;

    int descriptor() const { return descriptor_.number(); }

private:
    void map(uint64_t size);

    tykcore::Descriptor descriptor_;
    uint8_t* data_ = nullptr;
    uint64_t size_ = 0;  ///< of the mapping
    uint64_t used_ = 0;
};

}  // namespace tyksim
