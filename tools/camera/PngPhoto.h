// PNG files as frames.
#pragma once

#include "tools/camera/Photo.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// Whether a file begins as a PNG file does.
bool isPng(const std::vector<uint8_t>& file);

/// Decodes a PNG file of any colour type and depth: BT.601 in full range with the mean of each 2 x
/// 2 pixels as their chroma; samples of 16 bits are scaled to 8. The file's gamma and colour
/// profile are not applied. `path` is for messages. Throws Failure when the file is damaged or cut
/// off, has transparent pixels, or is larger than kMaxWidth x kMaxHeight.
Photo readPng(const std::vector<uint8_t>& file, const std::string& path);

}  // namespace tyksim
