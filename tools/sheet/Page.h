// The page without its data, embedded by the build. The document consists of the start, lines of
// pictures, the middle, values as JSON, and the end. page/data.js describes the pictures and
// values. Constants, for any thread.
#pragma once

#include <string_view>

namespace tyksim {

extern const std::string_view kPageStart;
extern const std::string_view kPageMiddle;
extern const std::string_view kPageEnd;

}  // namespace tyksim
