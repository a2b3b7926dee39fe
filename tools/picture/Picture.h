// Pictures as the tool looks at them: how they lie in an image file, and as planes.
//
// Nothing here owns samples but SampleBuffer; planes are valid as long as the memory that they were
// made from.
#pragma once

#include "tools/picture/Nv21.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace tyksim {

/// Memory that is used again from picture to picture.
class SampleBuffer {
public:
    /// At least `bytes` bytes, with arbitrary content; what reserve() returned before is gone.
    /// Throws std::bad_alloc.
    uint8_t* reserve(size_t bytes);

private:
    std::unique_ptr<uint8_t[]> memory_;
    size_t bytes_ = 0;
};

/// Which of the two chroma samples of a pair comes first: V in NV21, U in NV12.
enum class ChromaOrder { kNv21, kNv12 };

/// How luma and colour differences are made from red, green and blue.
enum class ColourMatrix { kBt601, kBt709 };

/// Full: 0 to 255. Limited: luma 16 to 235, chroma 16 to 240.
enum class SampleRange { kFull, kLimited };

/// What the samples mean. The default is what cameras write and JPEG is defined by.
struct ColourRule {
    ColourMatrix matrix = ColourMatrix::kBt601;
    SampleRange range = SampleRange::kFull;

    bool isJpegs() const { return matrix == ColourMatrix::kBt601 && range == SampleRange::kFull; }
};

/// Numbers of samples, by plane.
struct SampleCounts {
    uint64_t y = 0;
    uint64_t u = 0;
    uint64_t v = 0;
};

/// How a picture lies in the bytes of an image file.
struct PictureLayout {
    int width = 0;   ///< pixels, 1 to kMaxWidth
    int height = 0;  ///< pixels, 1 to kMaxHeight
    int stride = 0;  ///< bytes from one row to the next, luma and chroma alike; 0: no gaps
    ChromaOrder order = ChromaOrder::kNv21;

    size_t lumaStride() const;
    size_t chromaStride() const;
    size_t lumaBytes() const;  ///< from the first luma row to the first chroma row
    size_t bytes() const;      ///< of all rows with their gaps
    /// Up to the last sample: without the gap behind the last row.
    size_t usedBytes() const;
    /// Bytes that a dump of the picture has: the library leaves out the last chroma samples of a
    /// picture with an odd side.
    size_t dumpedBytes() const;
    /// Samples that the first `bytes` bytes of the file hold. A plane's samples come row by row, so
    /// these are its first ones.
    SampleCounts samplesIn(uint64_t bytes) const;
};

/// Samples of one kind; rows of `width` samples, `stride` bytes apart.
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
};

/// A picture that comes in strips, so that nobody needs all of it at once.
struct PictureSource {
    int width = 0;
    int height = 0;
    /// Rows `first` to `first + rows - 1` as a picture, valid until the next call. `first` is even,
    /// and so is `rows` but at the end of the picture. Throws what reading throws.
    std::function<Picture(int first, int rows)> rows;
};

/// The strips of a picture that is there. Samples are the picture's own.
PictureSource sourceOf(const Picture& picture);

/// The source's pictures in JPEG's own colours: from planes to planes. The source must outlive it.
PictureSource inJpegColours(const PictureSource& source, const ColourRule& rule);

/// The planes of a picture to be made, without gaps, in memory of a buffer.
struct NewPicture {
    /// Takes the buffer's memory: what it held before is gone. Throws std::bad_alloc.
    NewPicture(SampleBuffer& buffer, int width, int height);

    uint8_t* y;
    uint8_t* u;
    uint8_t* v;
    Picture picture;
};

/// The picture as R, G, B bytes without gaps; `out` has room for 3 x width x height bytes.
void toRgb(const Picture& picture, const ColourRule& rule, uint8_t* out);

/// The picture in NV21 without gaps; `out` has room for nv21FullBytes().
void toNv21(const Picture& picture, uint8_t* out);

}  // namespace tyksim
