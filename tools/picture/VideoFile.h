// Pictures one after the other as a video that others can play.
#pragma once

#include "tools/files/OutputPath.h"
#include "tools/picture/PictureRenderer.h"

#include <optional>
#include <string>
#include <string_view>

namespace tyksim {

/// A video in the YUV4MPEG2 format: in a file that is made whole or not at all, or on standard
/// output.
class VideoFile {
public:
    /// `rate` is what rateOf() gives. Throws as OutputFile does.
    VideoFile(const OutputRequest& output, std::string rate, const PictureStyle& style);

    /// Adds a picture as PictureRenderer renders it for a video. False, and not added, where its
    /// size is not that of the first. Failure when it cannot be written, Interrupted when nobody
    /// reads standard output any more.
    bool add(std::string_view frame, const PictureSize& size);

    /// Size of the first picture.
    const PictureSize& size() const { return *size_; }

    /// Ends the video. Failure when it cannot be written.
    void commit() { file_.commit(); }

private:
    OutputFile file_;
    std::string rate_;
    PictureStyle style_;
    std::optional<PictureSize> size_;
};

/// "30", "29.97" or "30000/1001" as a fraction with a colon. Throws WrongUsage for another.
std::string rateOf(const std::string& given);

}  // namespace tyksim
