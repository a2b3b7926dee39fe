// Compares a scene record that arrived in a replay with the one that was dumped.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// Where `arrived` is not what a folder replay makes of `dumped`: named fields (with the value
/// dumped and the value that arrived, for that is how an edit of iSceneInfo.xml shows), bytes of
/// the two blocks, and bytes elsewhere that are not 0. Both hold kSceneRecordBytes bytes; `dumped`
/// may be empty when nobody knows it, and then only the last can be told.
std::vector<std::string> compareSceneRecords(const std::vector<uint8_t>& dumped,
                                             const std::vector<uint8_t>& arrived);

/// The named fields, one line each.
std::vector<std::string> describeSceneRecord(const std::vector<uint8_t>& record);

}  // namespace tyksim
