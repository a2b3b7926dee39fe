// Makes a frame's pictures for the page: a thumbnail, a larger one, a window without loss, and the
// histograms of the planes.
#pragma once

#include "tools/picture/Encoders.h"
#include "tools/picture/PictureFile.h"
#include "tools/picture/PictureOptions.h"
#include "tools/sheet/PagePlan.h"
#include "tools/sheet/PixelWindow.h"
#include "tools/sheet/ReducedPicture.h"
#include "tree/read/FrameSelection.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace tyksim {

/// The pictures of the page, and the assumed format of images.
struct PicturePlan {
    PictureSizes sizes;
    AssumedPicture assumed;
    Effort effort = Effort::kFull;
    std::optional<PixelArea> window;  ///< place of the windows; none: the best place of each image
    tyktree::NumberRanges whole;      ///< frames whose window is the whole image
};

/// Statistics of a plane.
struct PlaneFigures {
    bool any = false;  ///< there are samples
    int least = 0;
    int most = 0;
    double mean = 0;
    double shareAt0 = 0;    ///< of samples
    double shareAt255 = 0;  ///< of samples
    double peak = 0;        ///< the largest share of samples at one value from 1 to 254
};

/// One line of the page's pictures, and statistics of the samples.
struct FramePicture {
    std::string problem;  ///< why there is no picture; else ""
    /// The number of bytes that a dump of the picture has but the file does not. Missing samples
    /// are not counted.
    uint64_t lacking = 0;
    SampleCounts held;                   ///< samples in the file
    std::array<PlaneFigures, 3> planes;  ///< y, u, v
    PixelArea window;                    ///< empty: no window

    // In Base64; "" if missing.
    std::string thumb;
    std::string large;
    std::string histograms;
    std::string pixels;  ///< the window

    /// The line in the page's form, without a newline.
    std::string line() const;
};

/// An image file of a frame.
struct FrameImage {
    std::string path;  ///< "": the frame has none
    PictureLayout layout;
    FramePicture picture;
};

/// Makes pictures one after the other. One thread at a time uses an object.
class FramePictureMaker {
public:
    /// `plan` must outlive the object.
    explicit FramePictureMaker(const PicturePlan& plan);

    /// Reads the image and makes its picture; without `drawn` only its statistics. Sets the problem
    /// of a file that cannot be read.
    void read(FrameImage& image, bool drawn);

    /// Adds the windows of two compared frames, or of one frame if `b` is null. With `whole`, a
    /// window is the whole image. A file that cannot be read has no window.
    void addWindows(FrameImage& a, FrameImage* b, bool whole);

    /// The sizes of the image's pictures on a page, with a window where it differs most from
    /// `other`, which may be null; none if the image cannot be read.
    std::optional<MeasuredPicture> measure(const FrameImage& image, const FrameImage* other);

private:
    void draw(const ReducedPicture& reduced, FramePicture& result);
    PixelArea windowOf(PictureFile& a, PictureFile* b, bool whole);
    std::string jpeg(const Picture& picture);  ///< in Base64

    const PicturePlan& plan_;
    ReducedPictureReader reader_;
    PixelWindows windows_;
    JpegEncoder encoder_;
};

}  // namespace tyksim
