#include "tools/sheet/FramePictures.h"

#include "tools/json/Json.h"

#include <algorithm>
#include <cmath>

namespace tyksim {

namespace {

// The same quality for all pictures of all pages, so that compared pictures were compressed alike.
constexpr int kQuality = 82;

PlaneFigures figuresOf(const Histogram& counts) {
    PlaneFigures figures;
    const auto all = static_cast<double>(counts.total());
    if (all == 0) return figures;
    figures.any = true;
    figures.least = counts.least();
    figures.most = counts.most();
    figures.mean = counts.mean();
    figures.shareAt0 = static_cast<double>(counts.count(0)) / all;
    figures.shareAt255 = static_cast<double>(counts.count(Histogram::kValues - 1)) / all;
    uint64_t most = 0;
    for (size_t value = 1; value + 1 < Histogram::kValues; ++value) {
        most = std::max(most, counts.count(value));
    }
    figures.peak = static_cast<double>(most) / all;
    return figures;
}

/// Adds square roots of the counts relative to the largest from 1 to 254, as bytes, so that small
/// counts stay visible. Larger counts at 0 and 255 are cut.
void addRoots(const Histogram& counts, double peak, std::string& roots) {
    const double scale = std::max(1.0, peak * static_cast<double>(counts.total()));
    for (size_t value = 0; value < Histogram::kValues; ++value) {
        const double share = std::min(1.0, static_cast<double>(counts.count(value)) / scale);
        roots += static_cast<char>(static_cast<uint8_t>(std::lround(255 * std::sqrt(share))));
    }
}

bool isOpen(const FrameImage* image) {
    return image && !image->path.empty() && image->picture.problem.empty();
}

bool sameSize(const PictureLayout& a, const PictureLayout& b) {
    return a.width == b.width && a.height == b.height;
}

std::string pieceOf(const std::string& text) {
    return text.empty() ? "-" : text;
}

}  // namespace

std::string FramePicture::line() const {
    return pieceOf(thumb) + ' ' + pieceOf(large) + ' ' + pieceOf(histograms) + ' ' +
           pieceOf(pixels);
}

FramePictureMaker::FramePictureMaker(const PicturePlan& plan) : plan_(plan), encoder_(kQuality) {}

void FramePictureMaker::read(FrameImage& image, bool drawn) {
    FramePicture& result = image.picture;
    try {
        PictureFile file(image.path, image.layout);
        file.requireSamples();
        const int width = std::max({plan_.sizes.largeWidth, plan_.sizes.thumbWidth, 1});
        const ReducedPicture& reduced = reader_.read(file, width, plan_.effort);
        const uint64_t whole = image.layout.dumpedBytes();
        result.lacking = whole - std::min(whole, file.bytes());
        result.held = file.samples();
        const PlaneHistograms& counts = reduced.counts;
        result.planes = {figuresOf(counts.y), figuresOf(counts.u), figuresOf(counts.v)};
        if (drawn) draw(reduced, result);
    } catch (const NoPicture& problem) {
        result.problem = problem.reason();
    }
}

void FramePictureMaker::draw(const ReducedPicture& reduced, FramePicture& result) {
    if (plan_.sizes.largeWidth > 0 && reduced.picture.width() > plan_.sizes.thumbWidth) {
        result.large = jpeg(reduced.picture);
    }
    result.thumb = jpeg(reader_.reduced(reduced.picture, plan_.sizes.thumbWidth, plan_.effort));
    std::string roots;
    addRoots(reduced.counts.y, result.planes[0].peak, roots);
    addRoots(reduced.counts.u, result.planes[1].peak, roots);
    addRoots(reduced.counts.v, result.planes[2].peak, roots);
    result.histograms = base64(roots);
}

void FramePictureMaker::addWindows(FrameImage& a, FrameImage* b, bool whole) {
    if (!isOpen(&a)) {
        if (isOpen(b)) addWindows(*b, nullptr, whole);
        return;
    }
    if (isOpen(b) && !sameSize(a.layout, b->layout)) {
        addWindows(*b, nullptr, whole);
        b = nullptr;
    }
    try {
        PictureFile inA(a.path, a.layout);
        std::optional<PictureFile> inB;
        if (isOpen(b)) inB.emplace(b->path, b->layout);
        const PixelArea area = windowOf(inA, inB ? &*inB : nullptr, whole);
        if (area.empty()) return;
        a.picture.pixels = base64(windows_.png(inA, area));
        a.picture.window = area;
        if (!inB) return;
        b->picture.pixels = base64(windows_.png(*inB, area));
        b->picture.window = area;
    } catch (const NoPicture&) {
        return;  // read() has reported the file
    }
}

PixelArea FramePictureMaker::windowOf(PictureFile& a, PictureFile* b, bool whole) {
    const PictureLayout& layout = a.layout();
    if (whole) return {0, 0, layout.width, layout.height};
    if (plan_.window) return areaWithin(*plan_.window, layout);
    if (plan_.sizes.windowSide == 0) return {};
    return windows_.place(a, b, plan_.sizes.windowSide);
}

std::optional<MeasuredPicture> FramePictureMaker::measure(const FrameImage& image,
                                                          const FrameImage* other) {
    try {
        PictureFile file(image.path, image.layout);
        std::optional<PictureFile> second;
        if (isOpen(other) && sameSize(image.layout, other->layout)) {
            second.emplace(other->path, other->layout);
        }
        file.requireSamples();
        MeasuredPicture result;
        // With many pictures, none becomes that wide.
        const size_t widths = result.jpegs.size() - (plan_.effort == Effort::kQuick ? 1 : 0);
        for (size_t i = 0; i < widths; ++i) {
            // Directly from the image, like the page's larger pictures.
            const Picture picture =
                reader_.read(file, MeasuredPicture::kWidths[i], Effort::kFull).picture;
            result.jpegs[i].width = picture.width();
            result.jpegs[i].bytes = static_cast<double>(jpeg(picture).size());
        }
        const PixelArea area =
            windows_.place(file, second ? &*second : nullptr, MeasuredPicture::kWindowSide);
        result.windowArea = static_cast<double>(area.width) * area.height;
        result.pixels = static_cast<double>(image.layout.width) * image.layout.height;
        result.windowBytes = static_cast<double>(base64(windows_.png(file, area)).size());
        return result;
    } catch (const NoPicture&) {
        return std::nullopt;
    }
}

std::string FramePictureMaker::jpeg(const Picture& picture) {
    const PictureSource stored = sourceOf(picture);
    return base64(encoder_.encode(inJpegColours(stored, plan_.assumed.rule), {}));
}

}  // namespace tyksim
