// The pictures of a simulated camera. One thread at a time uses an object.
#pragma once

#include "tags/Problem.h"
#include "tools/camera/Photo.h"
#include "tools/picture/FrameRate.h"
#include "tools/picture/Picture.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// A sequence of pictures. Memory does not grow with their number. One thread at a time uses an
/// object.
class FrameSource {
public:
    FrameSource() = default;
    virtual ~FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    /// The next picture, valid until the next call. Null after the last one, and when the run is
    /// interrupted. Throws Failure when a photograph can no longer be read.
    virtual const Photo* next() = 0;

    /// The default number of frames; none: all pictures.
    virtual std::optional<int> usualCount() const { return std::nullopt; }

    /// The frame rate; none if unknown.
    virtual std::optional<FrameRate> rate() const { return std::nullopt; }

    /// The assumed meaning of samples, in a line; may be "".
    virtual std::string description() const { return ""; }

    /// The problems since the last call: incomplete frames, and input that cannot be read any
    /// further.
    std::vector<tyktags::Problem> takeProblems() { return std::exchange(problems_, {}); }

protected:
    void addProblem(tyktags::Problem problem) { problems_.push_back(std::move(problem)); }

private:
    std::vector<tyktags::Problem> problems_;
};

/// The user's options for samples; without them the input or the defaults count.
struct GivenSamples {
    ColourMatrix matrix = ColourMatrix::kBt601;
    std::optional<SampleRange> range;
};

/// The layout of bare pictures in a file, one after the other.
struct RawFormat {
    enum class Planes { kNv21, kNv12, kI420 };
    Planes planes = Planes::kNv21;
    int width = 0;   ///< pixels, 1 to kMaxWidth
    int height = 0;  ///< pixels, 1 to kMaxHeight
    int stride = 0;  ///< bytes from one luma row to the next, at least `width`; 0: no gaps. Chroma
                     ///< rows of NV21 and NV12 have the same, those of I420 half of it, rounded up
};

/// Makes the endless moving test pattern.
std::unique_ptr<FrameSource> makeTestPatternSource(int width, int height);

/// Makes a source of repeated photographs. Reads all of them, so that a damaged one is reported
/// before recording begins. Throws like readPhoto().
std::unique_ptr<FrameSource> makePhotoSource(std::vector<std::string> paths);

/// Makes a source from a video in the YUV4MPEG2 format; `-` is standard input. Throws Failure when
/// its header cannot be read or its kind is not supported.
std::unique_ptr<FrameSource> makeY4mSource(const std::string& path, const GivenSamples& given);

/// Makes a source of bare pictures; `-` is standard input. Throws Failure when a file cannot be
/// opened.
std::unique_ptr<FrameSource> makeRawSource(std::vector<std::string> paths, const RawFormat& format,
                                           const GivenSamples& given);

}  // namespace tyksim
