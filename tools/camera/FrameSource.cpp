// The endless sources of pictures: the test pattern and repeated photographs.
#include "tools/camera/FrameSource.h"

#include "tools/camera/TestPattern.h"

#include <utility>

namespace tyksim {

namespace {

/// Limit for decoded pictures in memory; a usual burst fits.
constexpr size_t kKeptBytes = size_t{256} * 1024 * 1024;
constexpr int kPatternFrames = 5;

class TestPatternSource : public FrameSource {
public:
    TestPatternSource(int width, int height) : width_(width), height_(height) {}

    const Photo* next() override {
        current_.image = drawTestPattern(width_, height_, number_++);
        return &current_;
    }

    std::optional<int> usualCount() const override { return kPatternFrames; }

private:
    const int width_;
    const int height_;
    int number_ = 0;
    Photo current_;
};

class PhotoSource : public FrameSource {
public:
    explicit PhotoSource(std::vector<std::string> paths) : paths_(std::move(paths)) {
        size_t bytes = 0;
        for (const std::string& path : paths_) {
            Photo photo = readPhoto(path);
            bytes += photo.image.bytes.size();
            if (bytes <= kKeptBytes) kept_.push_back(std::move(photo));
        }
    }

    const Photo* next() override {
        const size_t index = next_++ % paths_.size();
        if (index < kept_.size()) return &kept_[index];
        current_ = readPhoto(paths_[index]);
        return &current_;
    }

    std::optional<int> usualCount() const override { return static_cast<int>(paths_.size()); }

private:
    const std::vector<std::string> paths_;
    std::vector<Photo> kept_;  ///< the first of paths_, within the memory limit
    size_t next_ = 0;
    Photo current_;
};

}  // namespace

std::unique_ptr<FrameSource> makeTestPatternSource(int width, int height) {
    return std::make_unique<TestPatternSource>(width, height);
}

std::unique_ptr<FrameSource> makePhotoSource(std::vector<std::string> paths) {
    return std::make_unique<PhotoSource>(std::move(paths));
}

}  // namespace tyksim
