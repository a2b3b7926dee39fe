// Image files as arrays, and arrays as pictures.
#include "python/src/Images.h"

#include "python/src/Errors.h"
#include "python/src/Text.h"
#include "python/src/Unlocked.h"
#include "tools/picture/Encoders.h"
#include "tools/picture/PictureFile.h"
#include "tools/picture/PictureMaker.h"

#include <algorithm>
#include <fmt/format.h>
#include <libyuv/planar_functions.h>
#include <pybind11/numpy.h>
#include <string>

namespace py = pybind11;

namespace tykpython {

namespace {

using tyksim::ChromaOrder;
using tyksim::Picture;
using tyksim::PictureFile;
using tyksim::PictureLayout;
using tyksim::PictureSource;
using Samples = py::array_t<uint8_t, py::array::c_style>;

constexpr int kRowsAtOnce = 64;

/// The layout of an image in its file.
struct StoredImage {
    std::string path;
    PictureLayout layout;
    bool filled;  ///< samples that the file lacks are filled in
};

StoredImage storedImage(const py::str& path, int width, int height, int stride, bool uFirst,
                        bool filled) {
    if (stride > 0 && stride < width) {
        throw py::value_error(fmt::format(
            "stride: expected at least the {} bytes of a row, found {}", width, stride));
    }
    return {bytesOf(path),
            {width, height, stride, uFirst ? ChromaOrder::kNv12 : ChromaOrder::kNv21},
            filled};
}

/// Samples of one kind in a file: rows of `wide` bytes, `apart` bytes apart, from `offset` on.
struct StoredPlane {
    uint64_t offset;
    size_t apart;
    size_t wide;
    size_t rows;
    uint8_t otherwise;  ///< the value for samples that the file lacks

    uint64_t end() const { return offset + apart * (rows - 1) + wide; }
};

/// Reads a plane into `out`, which has no gaps. If the file ends early, fills in the other samples
/// or throws Damaged.
void readPlane(const StoredImage& image, const StoredPlane& plane, uint8_t* out) {
    const PictureFile file(image.path, image.layout);
    if (!image.filled && file.bytes() < plane.end()) {
        throw Damaged(
            {image.path, fmt::format("{} bytes", plane.end()), fmt::to_string(file.bytes())});
    }
    const bool isDense = plane.apart == plane.wide;
    const size_t rows = isDense ? 1 : plane.rows;
    const size_t wide = isDense ? plane.wide * plane.rows : plane.wide;
    for (size_t row = 0; row < rows; ++row) {
        uint8_t* const to = out + row * wide;
        const size_t had = file.read(to, wide, plane.offset + row * plane.apart);
        if (had < wide && !image.filled) {
            throw Damaged({image.path, fmt::format("{} bytes", plane.end()),
                           fmt::to_string(plane.offset + row * plane.apart + had)});
        }
        std::fill(to + had, to + wide, plane.otherwise);
    }
}

Samples readLuma(const StoredImage& image) {
    constexpr uint8_t kBlack = 0;
    const auto width = static_cast<size_t>(std::max(image.layout.width, 1));
    const auto height = static_cast<size_t>(std::max(image.layout.height, 1));
    Samples samples({height, width});
    uint8_t* const out = samples.mutable_data();
    const Unlocked unlocked;
    readPlane(image, {0, image.layout.lumaStride(), width, height, kBlack}, out);
    return samples;
}

/// Pairs of V and U; the file may have the other order.
Samples readChroma(const StoredImage& image) {
    constexpr uint8_t kNoColour = 128;
    const auto pairs = static_cast<size_t>(tyksim::chromaLength(std::max(image.layout.width, 1)));
    const auto rows = static_cast<size_t>(tyksim::chromaLength(std::max(image.layout.height, 1)));
    Samples samples({rows, pairs, size_t{2}});
    uint8_t* const out = samples.mutable_data();
    const Unlocked unlocked;
    readPlane(image,
              {image.layout.lumaBytes(), image.layout.chromaStride(), 2 * pairs, rows, kNoColour},
              out);
    if (image.layout.order == ChromaOrder::kNv12) {
        for (size_t i = 0; i < 2 * pairs * rows; i += 2) std::swap(out[i], out[i + 1]);
    }
    return samples;
}

/// Strips of a picture in arrays, which must outlive the object.
PictureSource sourceOf(const Samples& luma, const Samples& chroma, tyksim::SampleBuffer& buffer) {
    const auto height = static_cast<int>(luma.shape(0));
    const auto width = static_cast<int>(luma.shape(1));
    const uint8_t* const y = luma.data();
    const uint8_t* const vu = chroma.data();
    return {width, height, [=, &buffer](int first, int rows) {
                const int pairs = tyksim::chromaLength(width);
                const int chromaRows = tyksim::chromaLength(rows);
                const size_t bytes = static_cast<size_t>(pairs) * static_cast<size_t>(chromaRows);
                uint8_t* const v = buffer.reserve(2 * bytes);
                uint8_t* const u = v + bytes;
                libyuv::SplitUVPlane(vu + static_cast<ptrdiff_t>(first / 2) * 2 * pairs, 2 * pairs,
                                     v, pairs, u, pairs, pairs, chromaRows);
                return Picture{{y + static_cast<ptrdiff_t>(first) * width, width, width, rows},
                               {u, pairs, pairs, chromaRows},
                               {v, pairs, pairs, chromaRows}};
            }};
}

void requirePicture(const Samples& luma, const Samples& chroma) {
    const bool isLuma = luma.ndim() == 2 && luma.shape(0) > 0 && luma.shape(1) > 0 &&
                        luma.shape(0) <= tyksim::kMaxHeight && luma.shape(1) <= tyksim::kMaxWidth;
    if (!isLuma) {
        throw py::value_error("y: expected shape (H, W) of 1 to 12288 rows and 1 to 16384 columns");
    }
    const int rows = tyksim::chromaLength(static_cast<int>(luma.shape(0)));
    const int pairs = tyksim::chromaLength(static_cast<int>(luma.shape(1)));
    const bool isChroma = chroma.ndim() == 3 && chroma.shape(0) == rows &&
                          chroma.shape(1) == pairs && chroma.shape(2) == 2;
    if (!isChroma) {
        throw py::value_error("vu: expected shape (" + std::to_string(rows) + ", " +
                              std::to_string(pairs) + ", 2), half of y in both directions");
    }
}

/// Red, green and blue of shape (H, W, 3); one pixel for `divisor` x `divisor`.
Samples toRgb(const Samples& luma, const Samples& chroma, const tyksim::ColourRule& rule,
              int divisor) {
    requirePicture(luma, chroma);
    const int width = tyksim::shrunkLength(static_cast<int>(luma.shape(1)), divisor);
    const int height = tyksim::shrunkLength(static_cast<int>(luma.shape(0)), divisor);
    Samples pixels({height, width, 3});
    uint8_t* const out = pixels.mutable_data();
    const Unlocked unlocked;
    tyksim::SampleBuffer buffer;
    tyksim::PictureMaker maker;
    PictureSource source = sourceOf(luma, chroma, buffer);
    if (divisor > 1) {
        source = tyksim::sourceOf(maker.scaled(source.rows(0, source.height), divisor));
    }
    for (int row = 0; row < height; row += kRowsAtOnce) {
        const Picture strip = source.rows(row, std::min(kRowsAtOnce, height - row));
        tyksim::toRgb(strip, rule, out + 3 * static_cast<ptrdiff_t>(row) * width);
    }
    return pixels;
}

/// A PNG of pixels of shape (H, W, 3).
py::bytes toPng(const Samples& pixels) {
    if (pixels.ndim() != 3 || pixels.shape(2) != 3 || pixels.size() == 0) {
        throw py::value_error("rgb: expected shape (H, W, 3)");
    }
    const uint8_t* const samples = pixels.data();
    const auto width = static_cast<int>(pixels.shape(1));
    const auto height = static_cast<int>(pixels.shape(0));
    tyksim::PngEncoder encoder;
    std::string_view png;
    {
        const Unlocked unlocked;
        png = encoder.encodeRgb(samples, width, height, {});
    }
    return {png.data(), png.size()};
}

}  // namespace

void bindImages(py::module_& module) {
    using tyksim::ColourMatrix;
    using tyksim::SampleRange;
    module.def("read_luma", [](const py::str& path, int width, int height, int stride, bool uFirst,
                               bool filled) {
        return readLuma(storedImage(path, width, height, stride, uFirst, filled));
    });
    module.def("read_chroma", [](const py::str& path, int width, int height, int stride,
                                 bool uFirst, bool filled) {
        return readChroma(storedImage(path, width, height, stride, uFirst, filled));
    });
    module.def("rgb", [](const Samples& luma, const Samples& chroma, bool bt709, bool limited,
                         int divisor) {
        return toRgb(luma, chroma,
                     {bt709 ? ColourMatrix::kBt709 : ColourMatrix::kBt601,
                      limited ? SampleRange::kLimited : SampleRange::kFull},
                     divisor);
    });
    module.def("png", &toPng);
    module.def("require_picture", &requirePicture);
}

}  // namespace tykpython
