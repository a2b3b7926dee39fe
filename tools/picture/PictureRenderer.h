// Image files in the form that a user asked for.
#pragma once

#include "tools/picture/Encoders.h"
#include "tools/picture/PictureFile.h"
#include "tools/picture/PictureMaker.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

enum class PictureFormat { kJpeg, kPng, kRgb, kNv21, kY4mFrame };

/// What is made of a picture.
struct PictureStyle {
    PictureFormat format = PictureFormat::kJpeg;
    int quality = 90;  ///< of JPEG, 1 to 100
    ColourRule rule;   ///< what the samples mean
    char plane = 0;    ///< 'y', 'u' or 'v' as a picture in grey; 0: all of them in colour
    int divisor = 1;   ///< one pixel for so many by so many
    int degrees = 0;   ///< clockwise
};

/// Width and height in pixels.
struct PictureSize {
    int width;
    int height;
};

/// Renders pictures one after the other; keeps its memory. One object serves one thread.
class PictureRenderer {
public:
    explicit PictureRenderer(const PictureStyle& style) : style_(style), jpeg_(style.quality) {}

    /// Size of what becomes of a picture of `width` x `height`.
    PictureSize sizeOf(int width, int height) const;

    /// The file's picture in the style's format; valid until the next call. `exif` goes into JPEG
    /// and PNG. Throws what PictureFile and the encoders throw.
    std::string_view render(PictureFile& file, const std::vector<uint8_t>& exif);

private:
    std::string_view renderPlane(const Plane& plane, const std::vector<uint8_t>& exif);
    /// Formats that hold a picture's planes.
    std::string_view renderPlanes(const PictureSource& source, const std::vector<uint8_t>& exif);
    /// Formats that hold pixels. Those are turned and not the planes: each keeps its colour.
    std::string_view renderPixels(const PictureSource& source, const std::vector<uint8_t>& exif);

    PictureStyle style_;
    PictureMaker maker_;
    JpegEncoder jpeg_;
    PngEncoder png_;
    SampleBuffer pixels_;
    std::string raw_;
};

}  // namespace tyksim
