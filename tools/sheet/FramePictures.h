// A frame's pictures as the page holds them: a thumbnail, a larger one, and the luma's histogram.
#pragma once

#include "tools/picture/Encoders.h"
#include "tools/picture/PictureFile.h"
#include "tools/picture/PictureMaker.h"
#include "tools/picture/PictureOptions.h"
#include "tools/sheet/ReducedPicture.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// How large pictures are, and how many bytes of JPEG each may have.
struct PictureSizes {
    int thumbWidth = 256;
    size_t thumbBytes = 0;  ///< 0: any number
    int largeWidth = 0;     ///< 0: there are no larger pictures
    size_t largeBytes = 0;

    /// Sizes with which a page of so many pictures stays small enough to send and to open: larger
    /// pictures as long as there is room for them. `thumbWidth` 0: the usual one; another is kept,
    /// whatever the page comes to.
    static PictureSizes forPage(size_t pictures, int thumbWidth);
};

/// What pictures the page gets, and of which images.
struct PicturePlan {
    PictureSizes sizes;
    AssumedPicture assumed;
};

/// One line of the page's pictures, and what the luma's counts say.
struct FramePicture {
    std::string line = "- - -";  ///< without a newline
    std::string problem;         ///< why there is no picture; "" where there is one
    /// Bytes that a dump of the picture has and the file has not. What they would hold is drawn
    /// black or without colour and counts nowhere.
    uint64_t lacking = 0;
    // Of the luma; of some rows, evenly spread.
    int lowest = 0;
    int highest = 0;
    double mean = 0;
    double shareLowest = 0;   ///< of samples at 0
    double shareHighest = 0;  ///< of samples at 255
};

/// Makes them one after the other. One object serves one thread.
class FramePictureMaker {
public:
    explicit FramePictureMaker(const PicturePlan& plan);

    /// The picture of the image file at `path`, which has this name. A file that cannot be read
    /// gives a problem. Throws WrongUsage as AssumedPicture does.
    FramePicture make(const std::string& path, const ImageFileName& name);

private:
    void draw(PictureFile& file, FramePicture& result);
    std::string jpeg(const Picture& picture, size_t limit);

    PictureSizes sizes_;
    AssumedPicture assumed_;
    ReducedPictureReader reader_;
    PictureMaker thumbs_;
    std::vector<JpegEncoder> encoders_;
};

}  // namespace tyksim
