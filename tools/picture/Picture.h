// Pictures: their layout in an image file, and their planes.
//
// Only SampleBuffer owns samples; planes are valid as long as the memory to which they point.
#pragma once

#include "tools/picture/Nv21.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace tyksim {

/// Memory that pictures reuse. One thread at a time uses an object.
class SampleBuffer {
public:
    /// Returns at least `bytes` bytes with arbitrary content, and invalidates earlier results.
    /// Throws std::bad_alloc.
    uint8_t* reserve(size_t bytes);

private:
    std::unique_ptr<uint8_t[]> memory_;
    size_t bytes_ = 0;
};

/// Which of the two chroma samples of a pair comes first: V in NV21, U in NV12.
enum class ChromaOrder { kNv21, kNv12 };

/// The conversion between red, green and blue and luma and colour differences.
enum class ColourMatrix { kBt601, kBt709 };

/// Full: 0 to 255. Limited: luma 16 to 235, chroma 16 to 240.
enum class SampleRange { kFull, kLimited };

/// The meaning of samples. The default is that of cameras and of JPEG.
struct ColourRule {
    ColourMatrix matrix = ColourMatrix::kBt601;
    SampleRange range = SampleRange::kFull;

    bool isJpegs() const { return matrix == ColourMatrix::kBt601 && range == SampleRange::kFull; }
};

/// Numbers of samples by plane.
struct SampleCounts {
    uint64_t y = 0;
    uint64_t u = 0;
    uint64_t v = 0;
};

/// The layout of a picture in an image file.
struct PictureLayout {
    int width = 0;   ///< pixels, 1 to kMaxWidth
    int height = 0;  ///< pixels, 1 to kMaxHeight
    int stride = 0;  ///< bytes from one row to the next, luma and chroma alike; 0: no gaps
    ChromaOrder order = ChromaOrder::kNv21;

    size_t lumaStride() const;
    size_t chromaStride() const;
    size_t lumaBytes() const;  ///< from the first luma row to the first chroma row
    size_t bytes() const;      ///< of all rows with their gaps
    /// Bytes up to the last sample, without the gap after the last row.
    size_t usedBytes() const;
    /// Bytes of a dump of the picture: the library omits the last chroma samples of a picture with
    /// an odd side.
    size_t dumpedBytes() const;
    /// The numbers of samples in the first `bytes` bytes of the file. The samples of a plane are
    /// stored row by row, so these are its first ones.
    SampleCounts samplesIn(uint64_t bytes) const;
};

enum class PlaneId { kY, kU, kV };

/// Samples of one kind: rows of `width` samples, `stride` bytes apart.
struct Plane {
    const uint8_t* samples = nullptr;
    int stride = 0;
    int width = 0;
    int height = 0;
};

/// A picture of three planes; chroma has one sample per 2 x 2 pixels, rounded up.
struct Picture {
    Plane y;
    Plane u;
    Plane v;

    int width() const { return y.width; }
    int height() const { return y.height; }

    const Plane& plane(PlaneId id) const;
};

/// A picture in strips, so that it need not be in memory as a whole.
struct PictureSource {
    int width = 0;
    int height = 0;
    /// Rows `first` to `first + rows - 1` as a picture, valid until the next call. `first` and
    /// `rows` must be even, except that `rows` may be odd at the end of the picture. Throws the
    /// exceptions of reading.
    std::function<Picture(int first, int rows)> rows;
};

/// The strips of a picture in memory, which must outlive them.
PictureSource sourceOf(const Picture& picture);

/// Converts the source's planes to JPEG's own colours. The source must outlive the result.
PictureSource inJpegColours(const PictureSource& source, const ColourRule& rule);

/// The planes of a new picture, without gaps, in a buffer's memory.
struct NewPicture {
    /// Takes the buffer's memory, which invalidates its content. Throws std::bad_alloc.
    NewPicture(SampleBuffer& buffer, int width, int height);

    uint8_t* y;
    uint8_t* u;
    uint8_t* v;
    Picture picture;
};

/// Stores the picture as R, G, B bytes without gaps in `out`, which must have 3 x width x height
/// bytes.
void toRgb(const Picture& picture, const ColourRule& rule, uint8_t* out);

/// Stores the picture in NV21 without gaps in `out`, which must have nv21FullBytes() bytes.
void toNv21(const Picture& picture, uint8_t* out);

}  // namespace tyksim
