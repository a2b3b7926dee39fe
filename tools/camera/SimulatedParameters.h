// The parameters of a simulated camera, frame by frame.
#pragma once

#include "host/LiveValues.h"
#include "tools/camera/ExifFacts.h"
#include "tools/camera/GivenValues.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace tyksim {

/// The values from which one frame's parameters are made.
struct SimulatedFrame {
    int number;  ///< from 0
    int width;   ///< pixels
    int height;  ///< pixels
    uint64_t exposureNs;
    uint32_t iso;
    float biasEv;
};

/// The facts of a photograph, replaced by those in `given`. Threads: any.
ExifFacts overlaid(const ExifFacts& given, const ExifFacts& photo);

/// Frame `number`. A simulated exposure control chooses the values that `given` does not have.
/// Threads: any.
SimulatedFrame makeSimulatedFrame(int number, int width, int height, const ExifFacts& given);

/// Sets the parameter-set service's live values. Each tag's value, and the size of a block, change
/// from frame to frame. Only one object may exist at a time, and one thread at a time uses it.
class SimulatedParameters {
public:
    /// `tags` are the dumped tags, `cameras` the cameras of the dumped values.
    SimulatedParameters(std::vector<tyktags::TagEntry> tags, std::set<uint32_t> cameras);

    /// Sets the values of one frame. Values in the selected row of `given`, which may be null,
    /// replace simulated ones; a block keeps its simulated size, or grows to hold such a value. The
    /// service keeps the addresses of blocks, which are valid until the next call or the
    /// destruction of the object. Throws Failure when the service refuses a value.
    void set(const SimulatedFrame& frame, const GivenValues* given);

    /// The size in bytes of the value that set() last gave `tag`. None for a tag without a value,
    /// such as one that is too large for the library.
    std::optional<uint64_t> size(uint32_t tag) const;

private:
    void setBlock(const tyktags::TagEntry& tag, const std::vector<uint8_t>& block);

    std::vector<tyktags::TagEntry> tags_;
    std::set<uint32_t> cameras_;
    std::map<uint32_t, std::vector<uint8_t>> blocks_;
    std::map<uint32_t, uint64_t> sizes_;
};

}  // namespace tyksim
