// The parameters that a simulated camera reports, frame by frame.
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

/// The values that one frame's parameters are made from.
struct SimulatedFrame {
    int number;  ///< from 0
    int width;   ///< pixels
    int height;  ///< pixels
    uint64_t exposureNs;
    uint32_t iso;
    float biasEv;
};

/// Lays what is given by hand over what a photograph says.
ExifFacts overlaid(const ExifFacts& given, const ExifFacts& photo);

/// Frame `number`. A simulated exposure control makes up what `given` lacks.
SimulatedFrame makeSimulatedFrame(int number, int width, int height, const ExifFacts& given);

/// Sets the parameter-set service's live values; each tag's value changes from frame to frame, a
/// block's size too. One object at a time.
class SimulatedParameters {
public:
    /// `tags` are those that are dumped; `cameras` are those whose values are asked for.
    SimulatedParameters(std::vector<tyktags::TagEntry> tags, std::set<uint32_t> cameras);

    /// Sets the values of one frame. What the chosen row of `given`, where that is not null, gives
    /// replaces what is made up; a block of which it gives something has its tag's size. The
    /// service keeps the addresses of blocks; they are valid until the next call or the end of the
    /// object. Throws Failure when the service refuses a value.
    void set(const SimulatedFrame& frame, const GivenValues* given);

    /// Size in bytes of the value that set() gave `tag` last. None for a tag without a value, such
    /// as one that the library does not carry.
    std::optional<uint64_t> size(uint32_t tag) const;

private:
    void setBlock(const tyktags::TagEntry& tag, const std::vector<uint8_t>& block);

    std::vector<tyktags::TagEntry> tags_;
    std::set<uint32_t> cameras_;
    std::map<uint32_t, std::vector<uint8_t>> blocks_;
    std::map<uint32_t, uint64_t> sizes_;
};

}  // namespace tyksim
