// The page without its data, as the build embeds it: the document is the start, lines of pictures,
// the middle, values as JSON, and the end. model.js says what is in the two.
#pragma once

#include <string_view>

namespace tyksim {

extern const std::string_view kPageStart;
extern const std::string_view kPageMiddle;
extern const std::string_view kPageEnd;

}  // namespace tyksim
