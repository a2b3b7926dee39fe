#include "tools/console/Console.h"
#include "tools/files/OutputMark.h"
#include "tools/picture/Encoders.h"

namespace tyksim {

std::string y4mHeader(int width, int height, const std::string& rate, SampleRange range,
                      bool grey) {
    return text("YUV4MPEG2 W", width, " H", height, " F", rate, " Ip A1:1 ",
                grey ? "Cmono" : "C420jpeg XYSCSS=420JPEG",
                " XCOLORRANGE=", range == SampleRange::kFull ? "FULL" : "LIMITED", kVideoMark,
                "\n");
}

}  // namespace tyksim
