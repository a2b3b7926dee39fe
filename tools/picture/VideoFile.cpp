#include "tools/picture/VideoFile.h"

namespace tyksim {

VideoFile::VideoFile(const OutputRequest& output, const FrameRate& rate, const PictureStyle& style)
    : file_(output), rate_(rate), style_(style) {}

bool VideoFile::add(std::string_view frame, const PictureSize& size) {
    if (!size_) {
        size_ = size;
        file_.write(
            y4mHeader(size.width, size.height, rate_, style_.rule.range, style_.plane.has_value()));
    }
    if (size.width != size_->width || size.height != size_->height) return false;
    file_.write(frame);
    return true;
}

}  // namespace tyksim
