// The exposure of a photograph, from its EXIF data. Threads: any.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace tyksim {

/// Members are none if the photograph has no such data or damaged data.
struct ExifFacts {
    std::optional<uint64_t> exposureNs;  ///< exposure time, nanoseconds; below 2^63
    std::optional<uint32_t> iso;         ///< sensitivity; never 0
    std::optional<float> biasEv;         ///< exposure bias
};

/// Reads the facts from a JPEG file's bytes. Does not fail on damaged data.
ExifFacts readExifFacts(const std::vector<uint8_t>& jpeg);

}  // namespace tyksim
