// Reads JPEG and PNG photographs as frames. Threads: any.
#pragma once

#include "tools/camera/ExifFacts.h"
#include "tools/picture/Nv21.h"

#include <string>

namespace tyksim {

struct Photo {
    Nv21Image image;
    ExifFacts facts;
};

/// Decodes the file at `path`: PNG like readPng(), JPEG with any chroma subsampling, including
/// greyscale, without rotation. Throws Failure when the file cannot be read, is damaged or cut off,
/// is neither JPEG nor PNG, is larger than kMaxWidth x kMaxHeight, or is a JPEG file that is not
/// stored as luma and chroma (CMYK, RGB).
Photo readPhoto(const std::string& path);

}  // namespace tyksim
