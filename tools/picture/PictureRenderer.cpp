#include "tools/picture/PictureRenderer.h"

#include <algorithm>
#include <utility>

namespace tyksim {

namespace {

constexpr const char* kY4mFrameLine = "FRAME\n";
constexpr int kRowsAtOnce = 64;

void append(const Plane& plane, std::string& out) {
    for (int row = 0; row < plane.height; ++row) {
        const uint8_t* const samples =
            plane.samples + static_cast<size_t>(row) * static_cast<size_t>(plane.stride);
        out.append(reinterpret_cast<const char*>(samples), static_cast<size_t>(plane.width));
    }
}

uint8_t* bytesOf(std::string& text) {
    return reinterpret_cast<uint8_t*>(text.data());
}

Picture wholeOf(const PictureSource& source) {
    return source.rows(0, source.height);
}

}  // namespace

PictureSize PictureRenderer::sizeOf(int width, int height) const {
    const auto shrunk = [this](int length) {
        return (length + style_.divisor - 1) / style_.divisor;
    };
    PictureSize size{shrunk(width), shrunk(height)};
    if (style_.degrees % 180 != 0) std::swap(size.width, size.height);
    if (style_.plane == 'u' || style_.plane == 'v') {
        size = {chromaLength(size.width), chromaLength(size.height)};
    }
    return size;
}

std::string_view PictureRenderer::render(PictureFile& file, const std::vector<uint8_t>& exif) {
    PictureSource source = file.source();
    if (style_.divisor > 1 || style_.degrees != 0) {
        const Picture small = maker_.scaled(file.whole(), style_.divisor);
        source = sourceOf(maker_.turned(small, style_.degrees));
    }
    if (style_.plane == 0) return renderColour(source, exif);
    const Picture picture = wholeOf(source);
    if (style_.plane == 'y') return renderPlane(picture.y, exif);
    return renderPlane(style_.plane == 'u' ? picture.u : picture.v, exif);
}

std::string_view PictureRenderer::renderPlane(const Plane& plane,
                                              const std::vector<uint8_t>& exif) {
    if (style_.format == PictureFormat::kJpeg) return jpeg_.encode(plane, exif);
    if (style_.format == PictureFormat::kPng) return png_.encode(plane, exif);
    raw_ = style_.format == PictureFormat::kY4mFrame ? kY4mFrameLine : "";
    append(plane, raw_);
    return raw_;
}

std::string_view PictureRenderer::renderColour(const PictureSource& source,
                                               const std::vector<uint8_t>& exif) {
    switch (style_.format) {
        case PictureFormat::kJpeg:
            return jpeg_.encode(inJpegColours(source, style_.rule), exif);
        case PictureFormat::kPng:
            return png_.encode(source, style_.rule, exif);
        case PictureFormat::kRgb: {
            const size_t rowBytes = 3 * static_cast<size_t>(source.width);
            raw_.resize(rowBytes * static_cast<size_t>(source.height));
            for (int row = 0; row < source.height; row += kRowsAtOnce) {
                toRgb(source.rows(row, std::min(kRowsAtOnce, source.height - row)), style_.rule,
                      bytesOf(raw_) + static_cast<size_t>(row) * rowBytes);
            }
            return raw_;
        }
        case PictureFormat::kNv21:
            raw_.resize(nv21FullBytes(source.width, source.height));
            toNv21(wholeOf(source), bytesOf(raw_));
            return raw_;
        case PictureFormat::kY4mFrame:
            break;
    }
    const Picture picture = wholeOf(source);
    raw_ = kY4mFrameLine;
    append(picture.y, raw_);
    append(picture.u, raw_);
    append(picture.v, raw_);
    return raw_;
}

}  // namespace tyksim
