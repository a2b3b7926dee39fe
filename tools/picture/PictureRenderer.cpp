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

bool holdsPixels(PictureFormat format) {
    return format == PictureFormat::kPng || format == PictureFormat::kRgb;
}

}  // namespace

PictureSize PictureRenderer::sizeOf(int width, int height) const {
    if (style_.plane && *style_.plane != PlaneId::kY) {
        width = chromaLength(width);
        height = chromaLength(height);
    }
    PictureSize size{shrunkLength(width, style_.divisor), shrunkLength(height, style_.divisor)};
    if (style_.degrees % 180 != 0) std::swap(size.width, size.height);
    return size;
}

std::string_view PictureRenderer::render(PictureFile& file, const std::vector<uint8_t>& exif) {
    if (style_.plane) {
        const Plane plane = maker_.scaled(file.whole().plane(*style_.plane), style_.divisor);
        return renderPlane(maker_.turned(plane, style_.degrees), exif);
    }
    PictureSource source = file.source();
    if (style_.divisor > 1) source = sourceOf(maker_.scaled(file.whole(), style_.divisor));
    if (holdsPixels(style_.format)) return renderPixels(source, exif);
    if (style_.degrees == 0) return renderPlanes(source, exif);
    return renderPlanes(sourceOf(maker_.turned(wholeOf(source), style_.degrees)), exif);
}

std::string_view PictureRenderer::renderPlane(const Plane& plane,
                                              const std::vector<uint8_t>& exif) {
    if (style_.format == PictureFormat::kJpeg) return jpeg_.encode(plane, exif);
    if (style_.format == PictureFormat::kPng) return png_.encode(plane, exif);
    raw_ = style_.format == PictureFormat::kY4mFrame ? kY4mFrameLine : "";
    append(plane, raw_);
    return raw_;
}

std::string_view PictureRenderer::renderPlanes(const PictureSource& source,
                                               const std::vector<uint8_t>& exif) {
    if (style_.format == PictureFormat::kJpeg) {
        return jpeg_.encode(inJpegColours(source, style_.rule), exif);
    }
    const Picture picture = wholeOf(source);
    if (style_.format == PictureFormat::kNv21) {
        raw_.resize(nv21FullBytes(picture.width(), picture.height()));
        toNv21(picture, bytesOf(raw_));
        return raw_;
    }
    raw_ = kY4mFrameLine;
    append(picture.y, raw_);
    append(picture.u, raw_);
    append(picture.v, raw_);
    return raw_;
}

std::string_view PictureRenderer::renderPixels(const PictureSource& source,
                                               const std::vector<uint8_t>& exif) {
    const bool png = style_.format == PictureFormat::kPng;
    if (png && style_.degrees == 0) return png_.encode(source, style_.rule, exif);
    const size_t rowBytes = 3 * static_cast<size_t>(source.width);
    raw_.resize(rowBytes * static_cast<size_t>(source.height));
    for (int row = 0; row < source.height; row += kRowsAtOnce) {
        toRgb(source.rows(row, std::min(kRowsAtOnce, source.height - row)), style_.rule,
              bytesOf(raw_) + static_cast<size_t>(row) * rowBytes);
    }
    if (style_.degrees == 0) return raw_;
    PictureSize size{source.width, source.height};
    uint8_t* const turned = pixels_.reserve(raw_.size());
    turnRgb(bytesOf(raw_), size.width, size.height, style_.degrees, turned);
    if (style_.degrees % 180 != 0) std::swap(size.width, size.height);
    if (png) return png_.encodeRgb(turned, size.width, size.height, exif);
    return {reinterpret_cast<const char*>(turned), raw_.size()};
}

}  // namespace tyksim
