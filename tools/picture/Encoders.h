// Encodes pictures in common formats.
//
// An encoder reuses its memory; its result is valid until the next call. One thread at a time uses
// an object. Errors: Failure, and the exceptions of the source.
#pragma once

#include "tools/picture/FrameRate.h"
#include "tools/picture/Picture.h"

#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// JPEG with one chroma sample per 2 x 2 pixels, directly from the planes.
class JpegEncoder {
public:
    /// `quality` from 1 to 100.
    explicit JpegEncoder(int quality) : quality_(quality) {}

    /// Encodes a picture in JPEG's own colours; see inJpegColours(). `exif` comes from makeExif()
    /// and may be empty.
    std::string_view encode(const PictureSource& source, const std::vector<uint8_t>& exif);

    /// Encodes a plane as a grey picture.
    std::string_view encode(const Plane& plane, const std::vector<uint8_t>& exif);

private:
    std::string_view encode(const PictureSource& source, bool grey,
                            const std::vector<uint8_t>& exif);

    int quality_;
    SampleBuffer padded_;
    std::string file_;
};

/// PNG with three bytes per pixel, or one for a grey picture or a palette.
class PngEncoder {
public:
    std::string_view encode(const PictureSource& source, const ColourRule& rule,
                            const std::vector<uint8_t>& exif);
    std::string_view encode(const Plane& plane, const std::vector<uint8_t>& exif);

    /// Encodes `width` x `height` pixels of red, green and blue, without gaps.
    std::string_view encodeRgb(const uint8_t* pixels, int width, int height,
                               const std::vector<uint8_t>& exif);

    /// Encodes a plane of indices into `palette`, which has three bytes per colour.
    std::string_view encode(const Plane& plane, const std::vector<uint8_t>& palette,
                            const std::vector<uint8_t>& exif);

private:
    SampleBuffer rows_;
    std::string file_;
};

/// First line of a video in the YUV4MPEG2 format, with a newline. Chroma is centred between its
/// pixels; the format cannot store the matrix.
std::string y4mHeader(int width, int height, const FrameRate& rate, SampleRange range, bool grey);

}  // namespace tyksim
