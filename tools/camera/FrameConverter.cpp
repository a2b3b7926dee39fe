#include "tools/camera/FrameConverter.h"

namespace tyksim {

FrameConverter::FrameConverter(const ColourRule& rule)
    : given_{0, 0, [this](int, int) { return picture_; }},
      converted_(inJpegColours(given_, rule)) {}

void FrameConverter::convert(const Picture& picture, Nv21Image& frame) {
    if (frame.width != picture.width() || frame.height != picture.height()) {
        frame = Nv21Image(picture.width(), picture.height());
    }
    picture_ = picture;
    toNv21(converted_.rows(0, picture.height()), frame.bytes.data());
}

}  // namespace tyksim
