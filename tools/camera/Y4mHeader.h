// Parses the two kinds of lines in a YUV4MPEG2 video: the header and the line before each frame.
// Threads: any.
#pragma once

#include "tags/Problem.h"
#include "tools/picture/FrameRate.h"
#include "tools/picture/Picture.h"

#include <optional>
#include <string>
#include <string_view>

namespace tyksim {

/// The limit of a line's bytes, without its newline.
constexpr size_t kMaxY4mLine = 4096;

/// The format of frames. They are progressive, with 8 bits per sample and one chroma sample per 2 x
/// 2 pixels: planes Y, U and V without gaps, chroma sides rounded up.
struct Y4mHeader {
    int width = 0;                     ///< pixels, 1 to kMaxWidth
    int height = 0;                    ///< pixels, 1 to kMaxHeight
    std::optional<FrameRate> rate;     ///< none: unknown
    std::string chroma;                ///< the header's text, such as "420jpeg"; "": unknown
    const char* siting = "";           ///< positions of chroma samples, as text; "": unknown
    std::optional<SampleRange> range;  ///< none: unknown
    std::string aspect;                ///< of pixels, "10:11"; "": square or unknown
};

/// Parses a header without its newline. Ignores vendors' parameters (X...) other than the range and
/// the chroma. The problem of an unsupported video has the ffmpeg command to convert it.
tyktags::Result<Y4mHeader> parseY4mHeader(std::string_view line);

/// Checks the line before a frame, without its newline.
tyktags::Status checkY4mFrameLine(std::string_view line);

}  // namespace tyksim
