// Makes photographs for tests.
#pragma once

#include <turbojpeg.h>

#include <cstdint>
#include <string>

namespace tooltest {

/// Red throughout, as a JPEG file; `subsampling` is a TJSAMP.
std::string redJpeg(int width, int height, int subsampling, int pixelFormat = TJPF_RGB);

/// `jpeg` with EXIF data about its exposure: 1/`denominator` s, ISO `iso` in a number of type
/// `isoType` (3: 16 bits, 4: 32 bits), bias -1/2.
std::string withExif(const std::string& jpeg, uint32_t denominator, uint32_t isoType = 3,
                     uint32_t iso = 320);

}  // namespace tooltest
