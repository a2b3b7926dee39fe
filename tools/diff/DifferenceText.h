// The differences between two frames as text, for `diff` and for the sheet's page. Threads: any,
// for differences of their own.
#pragma once

#include "tools/diff/FrameDifference.h"

#include <string>
#include <vector>

namespace tyksim {

/// One difference between two frames. Control characters of names are escaped.
struct DifferenceText {
    std::string what;                           ///< "image", "scene record", a file's name
    std::string how;                            ///< "" if the members below have it
    const PictureDifference* planes = nullptr;  ///< of an image that was compared; else null
    const std::vector<ValueDifference>* values = nullptr;
};

/// The text of an image, with its camera if the frame has `several`. Valid as long as the
/// difference.
DifferenceText textOf(const ImageDifference& image, bool several = false);

/// All differences, images first. Valid as long as `difference`.
std::vector<DifferenceText> textsOf(const FrameDifference& difference);

/// The text of a value of a field's element or of the scene record.
std::string valueText(const tyktags::Value& value);

/// The text of a difference of a file or parameter.
std::string contentText(const ContentDifference& content);

/// "y 34.25 dB, max 31, mean 0.52, 123 pixels; u same; v not compared"
std::string planesText(const PictureDifference& picture);

/// "request 42", or the folder's name if it has no request id.
std::string frameText(const tyktree::FrameRef& frame);

}  // namespace tyksim
