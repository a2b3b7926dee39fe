// What a photograph says about its own exposure.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace tyksim {

/// Facts are missing where the photograph has none or damaged ones.
struct ExifFacts {
    std::optional<uint64_t> exposureNs;  ///< exposure time, nanoseconds; below 2^63
    std::optional<uint32_t> iso;         ///< sensitivity; never 0
    std::optional<float> biasEv;         ///< exposure bias
};

/// Reads the facts out of a JPEG file's bytes. Never fails.
ExifFacts readExifFacts(const std::vector<uint8_t>& jpeg);

}  // namespace tyksim
