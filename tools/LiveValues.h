// The parameters that a simulated camera reports, frame by frame.
#pragma once

#include "host/ParamService.h"
#include "tools/ExifFacts.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace tyksim {

/// What one frame's parameters are made of.
struct FrameFacts {
    int number;  ///< from 0
    int width;   ///< pixels
    int height;  ///< pixels
    uint64_t exposureNs;
    uint32_t iso;
    float biasEv;
};

/// The facts of frame `number`: those of a photograph, and where it has none a simulated exposure
/// control's.
FrameFacts makeFrameFacts(int number, int width, int height, const ExifFacts& exif);

/// Sets the parameter-set service's live values; each tag's value changes from frame to frame, a
/// block's size too.
class LiveValues {
public:
    /// `tags` is the table in force; `cameras` are those whose values are asked for.
    LiveValues(std::vector<tykhost::TagEntry> tags, std::set<uint32_t> cameras);

    /// Sets the values of one frame.
    void set(const FrameFacts& facts);

    /// Bytes of the value that set() gave `tag` last; 0 for a tag that is not in the table.
    size_t size(uint32_t tag) const;

private:
    std::vector<tykhost::TagEntry> tags_;
    std::set<uint32_t> cameras_;
    std::map<uint32_t, size_t> sizes_;
};

}  // namespace tyksim
