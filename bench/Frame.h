// The frames that are dumped and replayed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What a frame consists of.
struct Shape {
    int fixedCount;
    int fixedBytes;  ///< of each
    int blockCount;
    int blockBytes;  ///< of each
    int width;       ///< pixels; 0: no image
    int height;
};

constexpr int kReqId = 42;
constexpr int kSofId = 17;
constexpr int kCamId = 0;
constexpr int kPipe = 1;
constexpr const char* kPipeName = "SNAPSHOT_TYPE";

/// A frame as the pipeline has it: registers its tags with the framework, replacing those of an
/// earlier frame, and fills values and image with bytes that are all over the place.
class Frame {
public:
    explicit Frame(const Shape& shape);

    const Shape& shape() const { return shape_; }
    bool hasImage() const { return shape_.width > 0; }
    void* image() { return image_.data(); }
    size_t imageBytes() const { return image_.size(); }
    int64_t bytes() const;
    int64_t blockBytes() const { return int64_t{shape_.blockCount} * shape_.blockBytes; }
    int fileCount() const { return shape_.fixedCount + shape_.blockCount + (hasImage() ? 1 : 0); }

    /// The file names of the frame, spelt out here a second time so that the library's are checked:
    /// one per tag in the order of their ids, then the image's.
    std::vector<std::string> fileNames() const;

    /// A dump configuration that asks for the tags in the order of their ids.
    static std::string configuration();

    /// Makes the framework forget what was published and read.
    static void clearPublished();

    /// Throws std::runtime_error, which names `side`, unless the framework was given every value,
    /// block and pixel of this frame.
    void requirePublished(const char* side) const;

private:
    Shape shape_;
    std::vector<unsigned char> image_;
};
