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

/// Pictures one after the other. Memory does not grow with their number. One object serves one
/// thread.
class FrameSource {
public:
    FrameSource() = default;
    virtual ~FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    /// The next picture, valid until the next call. Null when there is none any more, and when the
    /// run is interrupted. Throws Failure when a photograph that was read before can no longer be
    /// read.
    virtual const Photo* next() = 0;

    /// Frames to record where the user names no number; none: as many as come.
    virtual std::optional<int> usualCount() const { return std::nullopt; }

    /// How many frames a second there are; none where nothing says that.
    virtual std::optional<FrameRate> rate() const { return std::nullopt; }

    /// What the samples are taken for, in a line; "" where there is nothing to say.
    virtual std::string description() const { return ""; }

    /// What could not be read since the last call: frames that are cut short, and input that
    /// cannot be read any further.
    std::vector<tyktags::Problem> takeProblems() { return std::exchange(problems_, {}); }

protected:
    void addProblem(tyktags::Problem problem) { problems_.push_back(std::move(problem)); }

private:
    std::vector<tyktags::Problem> problems_;
};

/// What the user says of samples; what is not said is the input's or usual.
struct GivenSamples {
    ColourMatrix matrix = ColourMatrix::kBt601;
    std::optional<SampleRange> range;
};

/// How bare pictures lie in a file, one behind the other.
struct RawFormat {
    enum class Planes { kNv21, kNv12, kI420 };
    Planes planes = Planes::kNv21;
    int width = 0;   ///< pixels, 1 to kMaxWidth
    int height = 0;  ///< pixels, 1 to kMaxHeight
    int stride = 0;  ///< bytes from one luma row to the next, at least `width`; 0: no gaps. Chroma
                     ///< rows of NV21 and NV12 have the same, those of I420 half of it, rounded up
};

/// The moving test pattern; it does not end.
std::unique_ptr<FrameSource> makeTestPatternSource(int width, int height);

/// Photographs, over and over. Every one is read before this returns, so that a damaged one is
/// known before anything is recorded. Throws as readPhoto() does.
std::unique_ptr<FrameSource> makePhotoSource(std::vector<std::string> paths);

/// A video in the YUV4MPEG2 format, `-` being standard input. Throws Failure when its header cannot
/// be read or is that of a video of another kind.
std::unique_ptr<FrameSource> makeY4mSource(const std::string& path, const GivenSamples& given);

/// Bare pictures; `-` is standard input. Throws Failure when a file cannot be opened.
std::unique_ptr<FrameSource> makeRawSource(std::vector<std::string> paths, const RawFormat& format,
                                           const GivenSamples& given);

}  // namespace tyksim
