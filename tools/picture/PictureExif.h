// Facts about a frame as EXIF data, which viewers of pictures show. Threads: any.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// Facts about the capture of a picture.
struct CaptureFacts {
    std::optional<uint64_t> exposureNs;
    std::optional<double> gain;  ///< 1 is ISO 100
    std::optional<double> biasEv;
    std::string taken;        ///< "2026:03:05 14:07:09", or "" if unknown
    std::string description;  ///< the frame's identity, in ASCII
    std::string software;     ///< the program that made the file, in ASCII
};

/// The facts as a block of EXIF data, which begins with "Exif" and two zeros. Equal facts give
/// equal bytes. Throws std::bad_alloc.
std::vector<uint8_t> makeExif(const CaptureFacts& facts);

}  // namespace tyksim
