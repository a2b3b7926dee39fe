// The two kinds of line in a YUV4MPEG2 video: the header and the line in front of each frame.
#pragma once

#include "tags/Problem.h"
#include "tools/picture/FrameRate.h"
#include "tools/picture/Picture.h"

#include <optional>
#include <string>
#include <string_view>

namespace tyksim {

/// The most bytes that a line has, without its newline.
constexpr size_t kMaxY4mLine = 4096;

/// What a header says of the frames. They are progressive, with 8 bits a sample and one chroma
/// sample per 2 x 2 pixels: planes Y, U and V without gaps, chroma sides rounded up.
struct Y4mHeader {
    int width = 0;                     ///< pixels, 1 to kMaxWidth
    int height = 0;                    ///< pixels, 1 to kMaxHeight
    std::optional<FrameRate> rate;     ///< none: not said
    std::string chroma;                ///< as the header has it, such as "420jpeg"; "": not said
    const char* siting = "";           ///< where chroma samples lie, in words; "": not said
    std::optional<SampleRange> range;  ///< none: not said
    std::string aspect;                ///< of pixels, "10:11"; "": square, or not said
};

/// Reads a header, without its newline. Vendors' parameters (X...) other than the range and the
/// chroma are passed over. The problem of a video of another kind says how ffmpeg converts it.
tyktags::Result<Y4mHeader> parseY4mHeader(std::string_view line);

/// Checks the line in front of a frame, without its newline.
tyktags::Status checkY4mFrameLine(std::string_view line);

}  // namespace tyksim
