// What the desktop's parameter-set service answers with: the tags it knows and the values that a
// simulated camera reports.
//
// Threads: every operation from any thread. Ownership: values are copied in; of a block that the
// caller keeps the service holds only the descriptor. Errors: std::bad_alloc, which leaves the
// service as it was.
#pragma once

#include "core/BlockParamDesc.h"
#include "tags/TagTable.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tykhost {

/// Replaces the tag table. The next registerPsTag() or, where the service was registered already,
/// the next getTagInfo() shows it. Live values and published values are forgotten. The entries are
/// not checked, so that a program can show the library impossible sizes (a negative one is what
/// getSize() gives, and no value travels); of several entries with one id the last counts.
void setTagTable(std::vector<tyktags::TagEntry> tags);

/// The tag table in force, in ascending order of id.
std::vector<tyktags::TagEntry> tagTable();

/// Sets the live value that getParam() answers with for camera `camId` and tag `tag`, whatever sof
/// id is asked for: on the pipe type `pipe` where one is given, else on all that have no value of
/// their own. Of a fixed-size tag `data` is padded with zeros or cut to the tag's size; of a block
/// tag the service keeps its own copy, which stays valid until the value is set again or the table
/// replaced. Returns false when there is no such tag, its size is negative, a block exceeds 4 GiB -
/// 1, or `data` is null and `size` is not 0.
bool setLiveValue(uint32_t camId, uint32_t tag, const void* data, size_t size,
                  std::optional<int> pipe = std::nullopt);

/// As above without a copy: the block at `data` is the caller's and must stay valid until it is
/// set again. Returns false when there is no such block tag.
bool setLiveBlock(uint32_t camId, uint32_t tag, const BlockParamDesc& block);

}  // namespace tykhost
