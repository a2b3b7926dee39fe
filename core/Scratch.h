// The buffer for the fixed-size values of one frame, one after the other.
#pragma once

#include "core/BlockParamDesc.h"
#include "core/Limits.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

/// A zero-filled buffer of kBytes bytes that lives for one dump or replay call. One thread uses it.
class ScratchBuffer {
public:
    static constexpr int kBytes = kMaxFixedBytes;

    /// Whether the allocation succeeded.
    bool exists() const { return data_ != nullptr; }

    void* data() const { return data_.get(); }

    /// Calls `use` with a copy of `descriptor`, and copies the result back to `descriptor`. The
    /// copy lies at the head of the buffer, whose own bytes are restored afterwards. If a
    /// configuration or a file name declares a fixed-size tag a block, the service reads or writes
    /// the tag's size at this address, so it needs the room of the whole buffer.
    template <typename Use>
    void lendAsDescriptor(BlockParamDesc& descriptor, Use use) {
        char saved[sizeof(BlockParamDesc)];
        void* const head = data();
        std::memcpy(saved, head, sizeof(saved));
        auto* const lent = new (head) BlockParamDesc(descriptor);
        use(lent);
        descriptor = *lent;
        std::memcpy(head, saved, sizeof(saved));
    }

private:
    const std::unique_ptr<void, decltype(&std::free)> data_{std::calloc(1, kBytes), &std::free};
};
