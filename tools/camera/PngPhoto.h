// Reads PNG files as frames. Threads: any.
#pragma once

#include "tools/camera/Photo.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// Whether a file begins like a PNG file.
bool isPng(const std::vector<uint8_t>& file);

/// Decodes a PNG file of any colour type and depth to BT.601 in full range, with the mean of each 2
/// x 2 pixels as their chroma; scales samples of 16 bits to 8. Does not apply the file's gamma and
/// colour profile. `path` is for messages. Throws Failure when the file is damaged or cut off, has
/// transparent pixels, or is larger than kMaxWidth x kMaxHeight.
Photo readPng(const std::vector<uint8_t>& file, const std::string& path);

}  // namespace tyksim
