// Facts about a frame in the form that every viewer of pictures shows.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// What is known about how a picture was taken.
struct CaptureFacts {
    std::optional<uint64_t> exposureNs;
    std::optional<double> gain;  ///< 1 is ISO 100
    std::optional<double> biasEv;
    std::string taken;        ///< "2026:03:05 14:07:09", or "" where it is not known
    std::string description;  ///< the frame's identity, in ASCII
    std::string software;     ///< who made the file, in ASCII
};

/// The facts as a block of EXIF data, which begins with "Exif" and two zeros. Deterministic. Throws
/// std::bad_alloc.
std::vector<uint8_t> makeExif(const CaptureFacts& facts);

}  // namespace tyksim
