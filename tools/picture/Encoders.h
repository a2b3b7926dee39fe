// Pictures as files that others can open.
//
// An encoder keeps its memory from one picture to the next; what it returns is valid until it is
// called again. One object serves one thread. Errors are a Failure; what a source throws comes out
// as it is.
#pragma once

#include "tools/picture/Picture.h"

#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// JPEG with one chroma sample per 2 x 2 pixels, straight from the planes.
class JpegEncoder {
public:
    /// `quality` from 1 to 100.
    explicit JpegEncoder(int quality) : quality_(quality) {}

    /// A picture in JPEG's own colours; see inJpegColours(). `exif` as makeExif() gives it; may be
    /// empty.
    std::string_view encode(const PictureSource& source, const std::vector<uint8_t>& exif);

    /// A plane as a picture in grey.
    std::string_view encode(const Plane& plane, const std::vector<uint8_t>& exif);

private:
    std::string_view encode(const PictureSource& source, bool grey,
                            const std::vector<uint8_t>& exif);

    int quality_;
    SampleBuffer padded_;
    std::string file_;
};

/// PNG with three bytes a pixel, one for a picture in grey or of a palette.
class PngEncoder {
public:
    std::string_view encode(const PictureSource& source, const ColourRule& rule,
                            const std::vector<uint8_t>& exif);
    std::string_view encode(const Plane& plane, const std::vector<uint8_t>& exif);

    /// Of `width` x `height` pixels of red, green and blue, without gaps.
    std::string_view encodeRgb(const uint8_t* pixels, int width, int height,
                               const std::vector<uint8_t>& exif);

    /// Of a plane that holds numbers of colours; the palette has three bytes for each.
    std::string_view encode(const Plane& plane, const std::vector<uint8_t>& palette,
                            const std::vector<uint8_t>& exif);

private:
    SampleBuffer rows_;
    std::string file_;
};

/// First line of a video in the YUV4MPEG2 format, with a newline. `rate` is a fraction such as
/// "30:1". Chroma lies in the middle of its pixels; the format has no word for the matrix.
std::string y4mHeader(int width, int height, const std::string& rate, SampleRange range, bool grey);

}  // namespace tyksim
