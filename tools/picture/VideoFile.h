// Writes pictures as a video. One thread at a time uses an object.
#pragma once

#include "tools/files/OutputPath.h"
#include "tools/picture/FrameRate.h"
#include "tools/picture/PictureRenderer.h"

#include <optional>
#include <string_view>

namespace tyksim {

/// A video in the YUV4MPEG2 format: a file that is made completely or not at all, or standard
/// output.
class VideoFile {
public:
    /// Throws like ResultFile.
    VideoFile(const OutputRequest& output, const FrameRate& rate, const PictureStyle& style);

    /// Adds a picture in the form of PictureRenderer's video format. Returns false and does not add
    /// it if its size differs from that of the first. Throws Failure when it cannot be written, and
    /// Interrupted when standard output's reader has ended.
    bool add(std::string_view frame, const PictureSize& size);

    /// Size of the first picture.
    const PictureSize& size() const { return *size_; }

    /// Ends the video. Throws Failure when it cannot be written.
    void commit() { file_.commit(); }

private:
    ResultFile file_;
    FrameRate rate_;
    PictureStyle style_;
    std::optional<PictureSize> size_;
};

}  // namespace tyksim
