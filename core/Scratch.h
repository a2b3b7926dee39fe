// The buffer through which the fixed-size values of one frame pass, one after the other.
#pragma once

#include "replay/BlockParamDesc.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

/// A zero-filled buffer that lives for one dump or replay call.
class ScratchBuffer {
public:
    static constexpr int kBytes = 512000;  ///< largest fixed-size value that can be carried

    ScratchBuffer() : data_(std::calloc(1, kBytes), &std::free) {}

    /// The buffer's kBytes bytes; null when it could not be allocated.
    void* data() { return data_.get(); }

    /// Lends the service a block descriptor with `descriptor`'s value and takes back what it holds
    /// after `use`. It stands at the head of the buffer, whose own bytes are put back: should a
    /// configuration or a file name call a fixed-size tag a block, the service reads or writes the
    /// tag's size at this address, and finds a whole buffer there.
    template <typename Use>
    void lendAsDescriptor(BlockParamDesc& descriptor, Use use) {
        char saved[sizeof(BlockParamDesc)];
        std::memcpy(saved, data(), sizeof(saved));
        auto* const lent = new (data()) BlockParamDesc(descriptor);
        use(lent);
        descriptor = *lent;
        std::memcpy(data(), saved, sizeof(saved));
    }

private:
    std::unique_ptr<void, decltype(&std::free)> data_;
};
