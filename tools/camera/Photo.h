// JPEG photographs as frames.
#pragma once

#include "tools/camera/ExifFacts.h"
#include "tools/picture/Nv21.h"

#include <string>

namespace tyksim {

struct Photo {
    Nv21Image image;
    ExifFacts facts;
};

/// Decodes the JPEG file at `path`, whatever its chroma subsampling, grayscale included; it is not
/// rotated. Failure when it cannot be read, is damaged or cut off, is not stored as luma and
/// chroma (CMYK, RGB), or is larger than kMaxWidth x kMaxHeight.
Photo readPhoto(const std::string& path);

}  // namespace tyksim
