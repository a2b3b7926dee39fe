// The buffer through which the fixed-size values of one frame pass, one after the other.
#pragma once

#include "core/Limits.h"
#include "replay/BlockParamDesc.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

/// A zero-filled buffer that lives for one dump or replay call.
class ScratchBuffer {
public:
    static constexpr int kBytes = kMaxFixedBytes;

    /// A dump says how much of the buffer it is going to use, and saves the time that clearing the
    /// rest takes. What is replayed is read as far as its reader likes.
    enum class Clearing { kAtOnce, kAsUsed };

    explicit ScratchBuffer(Clearing clearing)
        : data_(clearing == Clearing::kAtOnce ? std::calloc(1, kBytes) : std::malloc(kBytes),
                &std::free),
          cleared_(clearing == Clearing::kAtOnce ? kBytes : 0) {}

    /// Whether it could be allocated.
    bool exists() const { return data_ != nullptr; }

    /// The kBytes bytes of the buffer. The first `used` hold what was stored in them, or zeros.
    void* data(size_t used) {
        if (used > cleared_) {
            std::memset(static_cast<char*>(data_.get()) + cleared_, 0, used - cleared_);
            cleared_ = used;
        }
        return data_.get();
    }

    /// Lends the service a block descriptor with `descriptor`'s value and takes back what it holds
    /// after `use`. It stands at the head of the buffer, whose own bytes are put back: should a
    /// configuration or a file name call a fixed-size tag a block, the service reads or writes the
    /// tag's size at this address, and finds a whole buffer there.
    template <typename Use>
    void lendAsDescriptor(BlockParamDesc& descriptor, Use use) {
        char saved[sizeof(BlockParamDesc)];
        void* const head = data(sizeof(saved));
        std::memcpy(saved, head, sizeof(saved));
        auto* const lent = new (head) BlockParamDesc(descriptor);
        use(lent);
        descriptor = *lent;
        std::memcpy(head, saved, sizeof(saved));
    }

private:
    std::unique_ptr<void, decltype(&std::free)> data_;
    size_t cleared_;  ///< bytes from the start that were given a value
};
