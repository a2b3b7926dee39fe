// JPEG and PNG photographs as frames.
#pragma once

#include "tools/camera/ExifFacts.h"
#include "tools/picture/Nv21.h"

#include <string>

namespace tyksim {

struct Photo {
    Nv21Image image;
    ExifFacts facts;
};

/// Decodes the file at `path`: PNG as readPng() does, JPEG whatever its chroma subsampling,
/// grayscale included; it is not rotated. Failure when it cannot be read, is damaged or cut off, is
/// neither, is larger than kMaxWidth x kMaxHeight, or, of JPEG, is not stored as luma and chroma
/// (CMYK, RGB).
Photo readPhoto(const std::string& path);

}  // namespace tyksim
