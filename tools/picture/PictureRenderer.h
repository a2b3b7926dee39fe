// Renders image files in the requested form.
#pragma once

#include "tools/picture/Encoders.h"
#include "tools/picture/PictureFile.h"
#include "tools/picture/PictureMaker.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

enum class PictureFormat { kJpeg, kPng, kRgb, kNv21, kY4mFrame };

/// The form of a picture.
struct PictureStyle {
    PictureFormat format = PictureFormat::kJpeg;
    int quality = 90;              ///< of JPEG, 1 to 100
    ColourRule rule;               ///< meaning of the samples
    std::optional<PlaneId> plane;  ///< as a picture in grey; none: all of them in colour
    int divisor = 1;               ///< one pixel replaces a block of this many by this many
    int degrees = 0;               ///< clockwise
};

/// Width and height in pixels.
struct PictureSize {
    int width;
    int height;
};

/// Renders pictures one after the other and reuses its memory. One thread at a time uses an object.
class PictureRenderer {
public:
    explicit PictureRenderer(const PictureStyle& style) : style_(style), jpeg_(style.quality) {}

    /// The rendered size of a picture of `width` x `height`.
    PictureSize sizeOf(int width, int height) const;

    /// The file's picture in the style's format; valid until the next call. `exif` goes into JPEG
    /// and PNG. Throws the exceptions of PictureFile and the encoders.
    std::string_view render(PictureFile& file, const std::vector<uint8_t>& exif);

private:
    std::string_view renderPlane(const Plane& plane, const std::vector<uint8_t>& exif);
    /// For formats with planes.
    std::string_view renderPlanes(const PictureSource& source, const std::vector<uint8_t>& exif);
    /// For formats with pixels. It rotates the pixels and not the planes, so each pixel keeps its
    /// colour.
    std::string_view renderPixels(const PictureSource& source, const std::vector<uint8_t>& exif);

    PictureStyle style_;
    PictureMaker maker_;
    JpegEncoder jpeg_;
    PngEncoder png_;
    SampleBuffer pixels_;
    std::string raw_;
};

}  // namespace tyksim
