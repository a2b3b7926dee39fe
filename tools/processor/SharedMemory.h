// Memory that two processes share: an anonymous file that grows and never shrinks.
#pragma once

#include "tools/processor/Protocol.h"

#include <cstdint>

namespace tyksim {

/// One process fills it with pieces, the other reads them. Both have it mapped; a fork() shares it.
/// Threads: one at a time.
class SharedMemory {
public:
    /// An empty file. `name` shows in the lists of a process's descriptors. Failure when the system
    /// refuses it.
    explicit SharedMemory(const char* name);
    ~SharedMemory();
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    /// The writer's: forgets all pieces.
    void clear() { used_ = 0; }

    /// The writer's: room for a piece behind the others. Pointers into the memory are void by then.
    /// Failure when there is no memory for it.
    Piece add(uint64_t bytes);

    /// The writer's: a copy of `data` as a piece, likewise.
    Piece add(const void* data, uint64_t bytes);

    /// The writer's: bytes from the beginning to the end of the last piece.
    uint64_t used() const { return used_; }

    /// Where a piece of the writer's own lies.
    uint8_t* at(const Piece& piece) { return data_ + piece.at; }

    /// The reader's: maps what the writer has added. Failure when the system refuses it.
    void refresh();

    /// The reader's: where a piece that the writer named lies; null where it does not lie in the
    /// memory or begins at an address that its numbers must not have.
    const uint8_t* find(const Piece& piece) const;

private:
    void map(uint64_t size);

    int descriptor_ = -1;
    uint8_t* data_ = nullptr;
    uint64_t size_ = 0;  ///< of the file, as far as it is mapped
    uint64_t used_ = 0;
};

}  // namespace tyksim
