// How two frames differ, in words: what `diff` prints is what the sheet's page shows.
#pragma once

#include "tools/diff/FrameDifference.h"

#include <string>
#include <vector>

namespace tyksim {

/// One thing in which two frames differ. Control characters of names are escaped.
struct DifferenceText {
    std::string what;                           ///< "image", "scene record", a file's name
    std::string how;                            ///< "" where the members below say it
    const PictureDifference* planes = nullptr;  ///< compared; null where it is no image
    const std::vector<ValueDifference>* values = nullptr;
};

/// All of it, images first. Valid as long as the difference.
std::vector<DifferenceText> textsOf(const FrameDifference& difference);

/// The values of a difference, of a field's element or of a number of the scene record, in words.
std::string valueText(const tyktags::Value& value);

/// How a file or parameter differs.
std::string contentText(const ContentDifference& content);

/// "y 34.25 dB, max 31, mean 0.52, 123 pixels; u same; v not compared"
std::string planesText(const PictureDifference& picture);

/// "request 42", or the folder's name where it has no request id.
std::string frameText(const tyktree::FrameRef& frame);

}  // namespace tyksim
