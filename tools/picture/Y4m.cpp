#include "tools/console/Console.h"
#include "tools/files/OutputMark.h"
#include "tools/picture/Encoders.h"

#include <fmt/format.h>

namespace tyksim {

std::string y4mHeader(int width, int height, const FrameRate& rate, SampleRange range, bool grey) {
    return fmt::format("YUV4MPEG2 W{} H{} F{}:{} Ip A1:1 {} XCOLORRANGE={}{}\n", width, height,
                       rate.frames, rate.seconds, grey ? "Cmono" : "C420jpeg XYSCSS=420JPEG",
                       range == SampleRange::kFull ? "FULL" : "LIMITED", kVideoMark);
}

}  // namespace tyksim
