#include "tools/camera/FrameSource.h"

#include "tools/camera/TestPattern.h"

#include <utility>

namespace tyksim {

namespace {

/// Pictures that are kept decoded; a burst of usual size fits.
constexpr size_t kKeptBytes = size_t{256} * 1024 * 1024;

}  // namespace

FrameSource::FrameSource(int width, int height) : width_(width), height_(height) {}

FrameSource::FrameSource(std::vector<std::string> paths) : paths_(std::move(paths)) {
    size_t bytes = 0;
    for (const std::string& path : paths_) {
        Photo photo = readPhoto(path);
        bytes += photo.image.bytes.size();
        if (bytes <= kKeptBytes) kept_.push_back(std::move(photo));
    }
}

const Photo& FrameSource::frame(int number) {
    if (paths_.empty()) {
        current_.image = drawTestPattern(width_, height_, number);
        return current_;
    }
    const size_t index = static_cast<size_t>(number) % paths_.size();
    if (index < kept_.size()) return kept_[index];
    current_ = readPhoto(paths_[index]);
    return current_;
}

}  // namespace tyksim
